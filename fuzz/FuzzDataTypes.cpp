// The JSON form of the bus data types, in both directions.
//
//   byte 0     the data type; from 0x80 on an object is filled from the rest and written, below the rest is read
//
// What was written is one JSON object by the grammar, is read back without a problem and equal, and writes the same
// again. What is one by the grammar is taken for one.
#include "fuzz/Support/BusTypes.h"
#include "fuzz/Support/Check.h"
#include "fuzz/Support/JsonGrammar.h"
#include "fuzz/Support/Surroundings.h"

#include <Veltrix/DataTypeFields.h>

#include <cmath>
#include <string>
#include <variant>

namespace {

bool HasUnwritableNumber(const VeltrixDataTypeBase& object) {
    for (const VeltrixDetail::FieldInfo& field : object.Fields()) {
        const auto value = field.read(object);
        if (const double* const* const number = std::get_if<const double*>(&value); number != nullptr) {
            if (!std::isfinite(**number)) {
                return true;
            }
        } else if (const auto* const nested = std::get_if<const VeltrixDataTypeBase*>(&value); nested != nullptr) {
            if (HasUnwritableNumber(**nested)) {
                return true;
            }
        }
    }
    return false;
}

// `hasOddTexts`: texts that are no UTF-8 come back with replacement characters.
void CheckWriting(const VeltrixDataTypeBase& object, std::size_t type, bool hasOddTexts) {
    const std::string json = object.ToJson();
    FUZZ_CHECK(!json.empty());
    FUZZ_CHECK(Fuzz::IsJsonObject(json));
    const auto again = Fuzz::MakeBusObject(type);
    const JsonReport report = again->ReadJson(json);
    FUZZ_CHECK(report.problem.empty() && report.remark.empty());
    if (HasUnwritableNumber(object)) {
        return;  // left out, so the field is missing and at its default
    }
    FUZZ_CHECK(report.isComplete && again->ToJson() == json);
    FUZZ_CHECK(Fuzz::AreEqual(object, *again, hasOddTexts));
}

void CheckReading(std::size_t type, const std::string& text) {
    const auto object = Fuzz::MakeBusObject(type);
    const JsonReport report = object->ReadJson(text);
    FUZZ_CHECK(!report.isComplete || !report.problem.starts_with("no JSON object"));
    FUZZ_CHECK(!Fuzz::IsJsonObject(text) || !report.problem.starts_with("no JSON object"));
    const auto same = Fuzz::MakeBusObject(type);
    FUZZ_CHECK(same->FromJson(text) == report.isComplete);
    FUZZ_CHECK(Fuzz::AreEqual(*object, *same, false));
    FUZZ_CHECK(Fuzz::AreEqual(*object, *object->Clone(), false));
    CheckWriting(*object, type, !report.remark.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::ByteSource source(data, size);
    const std::uint8_t first = source.Byte();
    const std::size_t type = first % 0x80U;
    if (first < 0x80) {
        CheckReading(type, source.RestText());
        return 0;
    }
    const auto object = Fuzz::MakeBusObject(type);
    Fuzz::Fill(*object, source);
    CheckWriting(*object, type, true);
    return 0;
}
