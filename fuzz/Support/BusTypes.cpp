#include "fuzz/Support/BusTypes.h"

#include <Veltrix/DataTypeFields.h>
#include <Veltrix/DataTypes.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <variant>

namespace Fuzz {
namespace {

using Maker = std::unique_ptr<VeltrixDataTypeBase> (*)();

template <typename DataType>
std::unique_ptr<VeltrixDataTypeBase> Make() {
    return std::make_unique<DataType>();
}

// The order is that of the corpus's first bytes: new ones go to the end.
constexpr std::array<Maker, 20> kMakers = {
    Make<HALInfo>,          Make<RequestType>,         Make<HALStatus>,        Make<ProcessReady>,
    Make<SystemHealth>,     Make<PowerDownStatus>,     Make<CarrierFileInfo>,  Make<FirmwareUpdateEnd>,
    Make<CarrierInfo>,      Make<ErrorLogType>,        Make<SystemLedStatus>,  Make<LedSettings>,
    Make<TessimorSettings>, Make<AdminAccessSettings>, Make<IncomingCommands>, Make<TimeSyncType>,
    Make<DeviceSettings>,   Make<WeldTriggerStart>,    Make<WeldTraceData>,    Make<WeldTriggerEnd>};

// Texts that mean something somewhere.
const std::array<std::string, 8> kTexts = {
    "2027-01-31T23:59:59.999Z",    "2027-01-31", "N/A", "HAL", "", "531726R", std::string("a\0b", 3),
    "\xC3\xA4\xF0\x9F\x94\xA5\xFF"};

constexpr std::array<double, 8> kNumbers = {0.0,
                                            -0.0,
                                            7.5,
                                            254.0,
                                            254.5,
                                            65536.0,
                                            std::numeric_limits<double>::max(),
                                            std::numeric_limits<double>::denorm_min()};

constexpr std::int64_t kLargestWhole = std::int64_t{1} << 53;
constexpr std::int64_t kFirstSecond = -62'167'219'200;
constexpr std::int64_t kLastSecond = 253'402'300'799;

void SetValue(bool& value, ByteSource& source) {
    value = source.Flag();
}

template <typename Whole>
requires std::is_integral_v<Whole>
void SetValue(Whole& value, ByteSource& source) {
    value = static_cast<Whole>(source.Number(sizeof(Whole)));
    if constexpr (sizeof(Whole) == 8) {
        value %= kLargestWhole + 1;
    }
}

void SetValue(double& value, ByteSource& source) {
    const std::uint8_t kind = source.Byte();
    value = kind < 0xF0 ? std::bit_cast<double>(source.Number(8)) : kNumbers[kind % kNumbers.size()];
}

void SetValue(std::string& value, ByteSource& source) {
    const std::uint8_t kind = source.Byte();
    value = kind < 0xF0 ? source.Text(kind) : kTexts[kind % kTexts.size()];
    // The JSON form ends a text at a NUL.
    value.resize(std::min(value.find('\0'), value.size()));
}

void SetValue(DateTime& value, ByteSource& source) {
    constexpr std::int64_t kSpan = kLastSecond - kFirstSecond + 1;
    const auto seconds = static_cast<std::int64_t>(source.Number(5)) % kSpan + kFirstSecond;
    value = DateTime(seconds, source.Word() % 1000);
}

void SetValue(VeltrixDataTypeBase& value, ByteSource& source) {
    Fill(value, source);
}

bool IsEqual(double one, double other) {
    return std::bit_cast<std::uint64_t>(one) == std::bit_cast<std::uint64_t>(other);
}

template <typename T>
bool IsEqual(const T& one, const T& other) {
    return one == other;
}

bool AreFieldsEqual(const VeltrixDetail::FieldInfo& field, const VeltrixDataTypeBase& one,
                    const VeltrixDataTypeBase& other, bool skipTexts) {
    return std::visit(
        [skipTexts, right = field.read(other)](const auto* left) {
            const auto* const same = std::get<std::remove_const_t<decltype(left)>>(right);
            using Value = std::remove_cvref_t<decltype(*left)>;
            if constexpr (std::is_same_v<Value, VeltrixDataTypeBase>) {
                return AreEqual(*left, *same, skipTexts);
            } else if constexpr (std::is_same_v<Value, std::string>) {
                return skipTexts || *left == *same;
            } else {
                return IsEqual(*left, *same);
            }
        },
        field.read(one));
}

}  // namespace

std::unique_ptr<VeltrixDataTypeBase> MakeBusObject(std::size_t index) {
    return kMakers[index % kMakers.size()]();
}

void Fill(VeltrixDataTypeBase& object, ByteSource& source) {
    for (const VeltrixDetail::FieldInfo& field : object.Fields()) {
        if (field.isOptional && source.Flag()) {
            continue;
        }
        std::visit([&source](auto* value) { SetValue(*value, source); }, field.write(object));
        field.markSet(object);
    }
}

bool AreEqual(const VeltrixDataTypeBase& one, const VeltrixDataTypeBase& other, bool skipTexts) {
    for (const VeltrixDetail::FieldInfo& field : one.Fields()) {
        if (field.isSet(one) != field.isSet(other) || !AreFieldsEqual(field, one, other, skipTexts)) {
            return false;
        }
    }
    return true;
}

}  // namespace Fuzz
