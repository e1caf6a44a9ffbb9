// What everything that travels on the bus has in common: a list of named fields and a JSON form.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace VeltrixDetail {
struct FieldInfo;
}

// What reading a JSON text into an object came to.
struct JsonReport {
    // Every field that is not optional was present and well formed.
    bool isComplete = false;
    // Empty, or what was ill-formed and why: no JSON object at all, or the first field, in the order of the class, of
    // the wrong type or with a number that does not fit. A missing field is not ill-formed.
    std::string problem;
    // Empty, or something odd that was put up with: a field given twice (the first one counts), text that is no UTF-8.
    std::string remark;
};

// Objects are plain values without locks: one thread at a time.
class VeltrixDataTypeBase {
public:
    virtual ~VeltrixDataTypeBase() = default;

    // One JSON object. Optional fields that were never set and numbers that are not finite are left out; each byte
    // that is no UTF-8 becomes U+FFFD; a text ends at its first NUL. Empty when memory is short.
    virtual std::string ToJson() const noexcept;

    // Reads one JSON object and white space around it. True when every field that is not optional was present and well
    // formed. What could be read stays and other fields keep their values; unknown fields are ignored. A text
    // that is no JSON object changes nothing. Numbers pass through a double: whole ones must not lie beyond 2^53.
    virtual bool FromJson(const std::string& text);

    // FromJson that also says what was wrong.
    JsonReport ReadJson(std::string_view text);

    // A copy of the whole object.
    virtual std::unique_ptr<VeltrixDataTypeBase> Clone() const = 0;

    // The table of fields that reading and writing walk through; made by VELTRIX_FIELDS.
    virtual std::span<const VeltrixDetail::FieldInfo> Fields() const = 0;

protected:
    VeltrixDataTypeBase() = default;
    VeltrixDataTypeBase(const VeltrixDataTypeBase&) = default;
    VeltrixDataTypeBase(VeltrixDataTypeBase&&) = default;
    VeltrixDataTypeBase& operator=(const VeltrixDataTypeBase&) = default;
    VeltrixDataTypeBase& operator=(VeltrixDataTypeBase&&) = default;
};
