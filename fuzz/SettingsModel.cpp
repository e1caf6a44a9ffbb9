#include "fuzz/SettingsModel.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdint>

namespace {

bool IsSameNumber(double one, double other) {
    return std::bit_cast<std::uint64_t>(one) == std::bit_cast<std::uint64_t>(other);
}

}  // namespace

SettingsModel::SettingsModel(const cJSON& document) {
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, &document) {
        mItems.push_back(ToItem(*item));
    }
}

SettingsModel::Item SettingsModel::ToItem(const cJSON& item) {
    const int type = item.type & 0xFF;
    const bool isList = type == cJSON_Array || type == cJSON_Object;
    return {item.string, type, type == cJSON_String ? item.valuestring : "",
            type == cJSON_Number ? item.valuedouble : 0.0, isList ? cJSON_GetArraySize(&item) : 0};
}

const SettingsModel::Item* SettingsModel::Find(const std::string& key) const {
    const auto found = std::find_if(mItems.begin(), mItems.end(), [&](const Item& item) { return item.key == key; });
    return found == mItems.end() ? nullptr : &*found;
}

bool SettingsModel::Set(const std::string& key, const std::string& text) {
    const auto old = Text(key);
    if (old == text) {
        return true;
    }
    if (old) {
        Remove(key);
    }
    mItems.push_back({key, cJSON_String, text, 0.0, 0});
    return false;
}

bool SettingsModel::Set(const std::string& key, double number) {
    if (const auto old = Number(key); old && *old == number) {
        return true;
    }
    Remove(key);
    mItems.push_back({key, cJSON_Number, "", number, 0});
    return false;
}

void SettingsModel::Remove(const std::string& key) {
    std::erase_if(mItems, [&](const Item& item) { return item.key == key; });
}

bool SettingsModel::IsEnabled(const std::string& key) const {
    if (const auto number = Number(key)) {
        return *number != 0.0;
    }
    std::string text = Text(key).value_or("");
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text == "true" || text == "enable";
}

std::optional<int> SettingsModel::Type(const std::string& key) const {
    const Item* const item = Find(key);
    return item == nullptr ? std::nullopt : std::optional(item->type);
}

std::optional<std::string> SettingsModel::Text(const std::string& key) const {
    const Item* const item = Find(key);
    return item == nullptr || item->type != cJSON_String ? std::nullopt : std::optional(item->text);
}

std::optional<double> SettingsModel::Number(const std::string& key) const {
    const Item* const item = Find(key);
    return item == nullptr || item->type != cJSON_Number ? std::nullopt : std::optional(item->number);
}

void SettingsModel::Merge(const SettingsModel& other) {
    for (const Item& item : other.mItems) {
        if (item.type == cJSON_Number) {
            Set(item.key, item.number);
        } else if (item.type == cJSON_String && item.text.empty()) {
            Remove(item.key);
        } else if (item.type == cJSON_String) {
            Set(item.key, item.text);
        }
    }
}

bool SettingsModel::IsHeldBy(const cJSON& document) const {
    const SettingsModel held(document);
    return std::equal(mItems.begin(), mItems.end(), held.mItems.begin(), held.mItems.end(),
                      [](const Item& one, const Item& other) {
                          return one.key == other.key && one.type == other.type && one.text == other.text &&
                                 IsSameNumber(one.number, other.number) && one.children == other.children;
                      });
}
