// The system configuration file and the arc-start threshold in it.
//
//   bytes 0, 1   a new threshold, low byte first
//   the rest     the file
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"
#include "fuzz/Support/ByteSource.h"
#include "fuzz/Support/Check.h"
#include "fuzz/Support/Surroundings.h"

#include <Veltrix/DataTypeFields.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr const char* kFile = "/Veltrix/system.config";
constexpr std::uint16_t kBefore = 4711;

// The file as the platform's reader of JSON sees it, which is the stricter one.
class StoredThreshold : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(StoredThreshold, (Required, std::int64_t, ArcStartAmps))
};

class SilentPort : public IBufferedSerial {
public:
    bool ReadByte(std::uint8_t& /*byte*/) override { return false; }
    void WriteBytes(const std::uint8_t* /*data*/, std::uint16_t /*length*/) override { FUZZ_CHECK(false); }
};

class ProbedCarrier : public CarrierCommInterface {
public:
    using CarrierCommInterface::CarrierCommInterface;
    static void SetThreshold(std::uint16_t amps) { mArcMinThreshold = amps; }
    static std::uint16_t Threshold() { return mArcMinThreshold; }
};

ProbedCarrier& Carrier() {
    static SilentPort port;
    static EventClient client("fuzz");
    static ProbedCarrier& carrier = *new ProbedCarrier(port, client);
    return carrier;
}

// The parser of the file gives up on numbers of more than 63 characters and on a depth of 1000: there the two readers
// may differ.
bool IsModest(const std::string& content) {
    constexpr std::size_t kLongestNumber = 60;
    constexpr std::size_t kLargestFile = 900;
    std::size_t number = 0;
    std::size_t longest = 0;
    for (const char character : content) {
        const bool isOfNumber = std::string_view("0123456789+-.eE").find(character) != std::string_view::npos;
        number = isOfNumber ? number + 1 : 0;
        longest = std::max(longest, number);
    }
    return longest <= kLongestNumber && content.size() <= kLargestFile;
}

// The number in a file of the two usual shapes, told without any parser.
std::optional<unsigned long> PlainThreshold(std::string_view content) {
    struct Shape {
        std::string_view head;
        std::string_view tail;
    };
    constexpr Shape kShapes[] = {{"{\"ArcStartAmps\":", "}"}, {"{\n\t\"ArcStartAmps\":\t", "\n}"}};
    constexpr std::size_t kMostDigits = 10;
    for (const auto& [head, tail] : kShapes) {
        if (!content.starts_with(head) || !content.ends_with(tail) || content.size() <= head.size() + tail.size()) {
            continue;
        }
        const auto digits = content.substr(head.size(), content.size() - head.size() - tail.size());
        if (digits.size() <= kMostDigits && digits.find_first_not_of("0123456789") == std::string_view::npos) {
            return std::stoul(std::string(digits));
        }
    }
    return std::nullopt;
}

void CheckReading(const std::string& content) {
    Fuzz::WriteRootedFile(kFile, content);
    std::uint16_t amps = kBefore;
    Carrier().ReadStoredConfig(amps);
    const auto plain = PlainThreshold(content);
    FUZZ_CHECK(!plain || amps == (*plain <= 65535 ? *plain : kBefore));
    StoredThreshold expected;
    if (!IsModest(content) || !expected.ReadJson(content).isComplete) {
        return;
    }
    const std::int64_t value = expected.get_ArcStartAmps();
    const bool fits = value >= 0 && value <= std::numeric_limits<std::uint16_t>::max();
    FUZZ_CHECK(amps == (fits ? value : kBefore));
}

void CheckUpdate(std::uint16_t amps) {
    Carrier().UpdateStoredConfig(amps);
    const std::uint16_t expected = amps == 0 ? kBefore : std::max(amps, std::uint16_t{8});
    FUZZ_CHECK(ProbedCarrier::Threshold() == expected);
    std::uint16_t read = 0;
    Carrier().ReadStoredConfig(read);
    FUZZ_CHECK(read == expected);
    std::ifstream file(Fuzz::Root() + kFile);
    StoredThreshold stored;
    FUZZ_CHECK(stored.FromJson({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()}));
    FUZZ_CHECK(stored.get_ArcStartAmps() == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::ByteSource source(data, size);
    const std::uint16_t amps = source.Word();
    Carrier();  // the first time it reads the file
    ProbedCarrier::SetThreshold(kBefore);
    CheckReading(source.RestText());
    CheckUpdate(amps);
    Fuzz::RemoveRooted(kFile);
    std::uint16_t untouched = kBefore;
    Carrier().ReadStoredConfig(untouched);
    FUZZ_CHECK(untouched == kBefore);
    return 0;
}
