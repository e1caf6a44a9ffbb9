#include "libVeltrix/src/JsonWriter.h"

#include <Veltrix/DataTypeFields.h>
#include <fmt/format.h>

#include <cmath>
#include <new>
#include <type_traits>

#include "libVeltrix/src/JsonDocument.h"
#include "libVeltrix/src/Utf8.h"

namespace VeltrixDetail {
namespace {

void AddFields(cJSON* json, const VeltrixDataTypeBase& object);

// Null when memory is short. Numbers go in as text: cJSON's own form of them drops digits.
template <typename T>
cJSON* AddValue(cJSON* parent, const char* name, const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return cJSON_AddBoolToObject(parent, name, value ? 1 : 0);
    } else if constexpr (std::is_arithmetic_v<T>) {
        return cJSON_AddRawToObject(parent, name, fmt::format("{}", value).c_str());
    } else if constexpr (std::is_same_v<T, std::string>) {
        return cJSON_AddStringToObject(parent, name, ToUtf8(value).c_str());
    } else if constexpr (std::is_same_v<T, DateTime>) {
        return cJSON_AddStringToObject(parent, name, value.ToISO8601String().c_str());
    } else {
        cJSON* const nested = cJSON_AddObjectToObject(parent, name);
        if (nested != nullptr) {
            AddFields(nested, value);
        }
        return nested;
    }
}

bool IsWritten(const FieldInfo& field, const VeltrixDataTypeBase& object) {
    if (!field.isSet(object)) {
        return false;
    }
    const ConstFieldPointer value = field.read(object);
    const double* const* const number = std::get_if<const double*>(&value);
    return number == nullptr || std::isfinite(**number);
}

void AddFields(cJSON* json, const VeltrixDataTypeBase& object) {
    for (const FieldInfo& field : object.Fields()) {
        if (!IsWritten(field, object)) {
            continue;
        }
        const auto add = [json, &field](const auto* value) { return AddValue(json, field.name, *value); };
        if (std::visit(add, field.read(object)) == nullptr) {
            throw std::bad_alloc();
        }
    }
}

}  // namespace

std::string WriteJson(const VeltrixDataTypeBase& object) {
    const JsonDocument document(cJSON_CreateObject());
    if (document == nullptr) {
        throw std::bad_alloc();
    }
    AddFields(document.get(), object);
    const JsonText text(cJSON_PrintUnformatted(document.get()));
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    return text.get();
}

}  // namespace VeltrixDetail
