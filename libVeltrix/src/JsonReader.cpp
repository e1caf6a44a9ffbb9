#include "libVeltrix/src/JsonReader.h"

#include <Veltrix/DataTypeFields.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include "libVeltrix/src/JsonDocument.h"
#include "libVeltrix/src/Utf8.h"

namespace VeltrixDetail {
namespace {

// Beyond it doubles skip whole numbers, and every JSON number passes through one.
constexpr double kLargestWhole = 9007199254740992.0;

bool IsTwice(const cJSON& first) {
    const cJSON* other = first.next;
    while (other != nullptr && std::string_view(other->string) != first.string) {
        other = other->next;
    }
    return other != nullptr;
}

// Reads a document into an object, field by field.
class ObjectReader {
public:
    explicit ObjectReader(JsonReport& report) : mReport(report) {}

    // True when all fields that are not optional were there and well formed. `path` stands before field names in
    // messages.
    bool Read(const cJSON& json, VeltrixDataTypeBase& object, const std::string& path) {
        bool isComplete = true;
        for (const FieldInfo& field : object.Fields()) {
            const cJSON* const item = cJSON_GetObjectItemCaseSensitive(&json, field.name);
            if (item == nullptr) {
                isComplete = isComplete && field.isOptional;
                continue;
            }
            if (IsTwice(*item)) {
                Remark(path + field.name, "is given twice, the first one counts");
            }
            const bool isGood = ReadField(*item, object, field, path + field.name);
            isComplete = isComplete && (isGood || field.isOptional);
        }
        return isComplete;
    }

private:
    // A nested object that is merely incomplete is set all the same.
    bool ReadField(const cJSON& item, VeltrixDataTypeBase& object, const FieldInfo& field, const std::string& path) {
        const FieldPointer pointer = field.write(object);
        const bool isNested = std::holds_alternative<VeltrixDataTypeBase*>(pointer) && cJSON_IsObject(&item) != 0;
        const bool isGood =
            std::visit([this, &item, &path](auto* value) { return ReadValue(item, *value, path); }, pointer);
        if (isGood || isNested) {
            field.markSet(object);
        }
        return isGood;
    }

    bool ReadValue(const cJSON& item, bool& value, const std::string& path) {
        if (cJSON_IsBool(&item) == 0) {
            return Problem(path, "is not true or false");
        }
        value = cJSON_IsTrue(&item) != 0;
        return true;
    }

    template <typename Whole>
    requires std::is_integral_v<Whole>
    bool ReadValue(const cJSON& item, Whole& value, const std::string& path) {
        using Limits = std::numeric_limits<Whole>;
        if (cJSON_IsNumber(&item) == 0) {
            return Problem(path, "is not a number");
        }
        const double number = item.valuedouble;
        if (std::trunc(number) != number) {
            return Problem(path, "is not a whole number");
        }
        if (number < std::max(static_cast<double>(Limits::min()), -kLargestWhole) ||
            number > std::min(static_cast<double>(Limits::max()), kLargestWhole)) {
            return Problem(path, "is out of range");
        }
        value = static_cast<Whole>(number);
        return true;
    }

    bool ReadValue(const cJSON& item, double& value, const std::string& path) {
        if (cJSON_IsNumber(&item) == 0) {
            return Problem(path, "is not a number");
        }
        if (!std::isfinite(item.valuedouble)) {
            return Problem(path, "is out of range");
        }
        value = item.valuedouble;
        return true;
    }

    bool ReadValue(const cJSON& item, std::string& value, const std::string& path) {
        if (cJSON_IsString(&item) == 0) {
            return Problem(path, "is not text");
        }
        value = item.valuestring;
        if (!IsUtf8(value)) {
            Remark(path, "is not UTF-8");
        }
        return true;
    }

    bool ReadValue(const cJSON& item, DateTime& value, const std::string& path) {
        const bool isTime = cJSON_IsString(&item) != 0 && value.FromISO8601String(item.valuestring);
        return isTime || Problem(path, "is not a time");
    }

    bool ReadValue(const cJSON& item, VeltrixDataTypeBase& value, const std::string& path) {
        if (cJSON_IsObject(&item) == 0) {
            return Problem(path, "is not an object");
        }
        return Read(item, value, path + ".");
    }

    bool Problem(const std::string& path, std::string_view what) {
        Note(mReport.problem, path, what);
        return false;
    }

    void Remark(const std::string& path, std::string_view what) { Note(mReport.remark, path, what); }

    static void Note(std::string& text, const std::string& path, std::string_view what) {
        if (text.empty()) {
            text = fmt::format("\"{}\" {}", path, what);
        }
    }

    JsonReport& mReport;
};

}  // namespace

JsonReport ReadJson(std::string_view text, VeltrixDataTypeBase& object) {
    JsonReport report;
    // A copy with a NUL behind it: releases of cJSON before 1.7.18 look one byte past a text that ends at a comma.
    const std::string terminated(text);
    const char* end = terminated.c_str();
    const JsonDocument document(cJSON_ParseWithLengthOpts(terminated.c_str(), terminated.size(), &end, 0));
    const auto endAt = static_cast<std::size_t>(end - terminated.c_str());
    if (document == nullptr) {
        report.problem = fmt::format("no JSON object: ill-formed at byte {}", endAt);
    } else if (cJSON_IsObject(document.get()) == 0) {
        report.problem = "no JSON object";
    } else if (const std::size_t more = terminated.find_first_not_of(" \t\r\n", endAt); more != std::string::npos) {
        report.problem = fmt::format("no JSON object: more text behind the object at byte {}", more);
    } else {
        report.isComplete = ObjectReader(report).Read(*document, object, "");
    }
    return report;
}

}  // namespace VeltrixDetail
