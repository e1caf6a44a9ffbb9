#include "Common/Configuration/Configuration.h"

#include <cjson/cJSON.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Common/Helper/CommonHelperFunctions.h"
#include "Common/Helper/DiskFile.h"
#include "Common/Helper/RootedPath.h"
#include "Common/Logging/HalLog.h"

namespace {

constexpr std::size_t kLargestFile = 64U * 1024 * 1024;  // settings are a few hundred bytes; this bounds the memory
constexpr int kTypeMask = 0xFF;                          // above it cJSON keeps flags

const bool kFalse = false;
const bool kTrue = true;

enum class WriteResult { Done, NotOpened, NotWritten };

WriteResult WriteFile(const std::string& path, std::string_view text) {
    std::FILE* const file = std::fopen(path.c_str(), "we");
    if (file == nullptr) {
        return WriteResult::NotOpened;
    }
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const bool closed = std::fclose(file) == 0;
    return written && closed ? WriteResult::Done : WriteResult::NotWritten;
}

// The file's text with a closing zero, or nothing: it cannot be opened or read, which is logged, or is empty.
std::optional<std::vector<char>> ReadText(const std::string& path) {
    DiskFile file;
    if (!file.OpenForReading(path)) {
        HalLog::Error("Unable to open {}", DisplayPath(path));
        return std::nullopt;
    }
    const std::size_t size = DiskFile::Size(path);
    if (size == 0) {
        return std::nullopt;
    }
    if (size <= kLargestFile) {
        std::vector<char> text(size + 1, '\0');
        if (file.Read(reinterpret_cast<std::uint8_t*>(text.data()), size) == size) {
            return text;
        }
    }
    HalLog::Error("Unable to read {}", DisplayPath(path));
    return std::nullopt;
}

bool MakeFile(const std::string& path) {
    HalLog::Error("file does not exist.  Creating file {}", DisplayPath(path));
    if (WriteFile(path, "{\n}") == WriteResult::NotOpened) {
        HalLog::Warning("Could not create {}", DisplayPath(path));
        return false;
    }
    return true;
}

cJSON* ItemOf(const cJSON* document, const std::string& key) {
    return cJSON_GetObjectItemCaseSensitive(document, key.c_str());
}

void ReportAdded(const cJSON* item, const std::string& key) {
    if (item == nullptr) {
        HalLog::Error("Out of memory when adding key = {}", key);
    }
}

// Letters of the C locale only, whatever the process's locale.
std::string LowerCase(std::string text) {
    for (char& character : text) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
    return text;
}

}  // namespace

Configuration::Configuration(const std::string& path, bool verbose) : mFileSpec(path) {
    Load(verbose);
}

Configuration::~Configuration() {
    cJSON_Delete(mp_cJson);
}

bool Configuration::Load(bool verbose) {
    mFileOkay = Load(mp_cJson, mFileSpec, verbose);
    if (mp_cJson == nullptr) {
        HalLog::Error("Load() resulted in null cJson pointer.");
    }
    return mFileOkay;
}

bool Configuration::Load(cJSON*& doc, const std::string& path, bool verbose) {
    const bool justCreated = !DoesThisFileExist(path) && MakeFile(path);
    const auto text = ReadText(path);
    if (!text) {
        if (justCreated) {
            // Kept on purpose: on the very first load Save() still refuses, as nothing has been loaded yet; the load
            // works all the same, and the next Save() tries the file again.
            cJSON_Delete(doc);
            doc = cJSON_CreateObject();
            Save();
        }
        return justCreated;
    }
    if (verbose) {
        HalLog::Print(0, "configBuffer:\n{}", text->data());
    }
    cJSON_Delete(doc);
    doc = cJSON_Parse(text->data());
    if (doc == nullptr) {
        HalLog::Error("Unable to parse {}", DisplayPath(path));
        HalLog::Print(0, "Unable to parse.  Buffer contents:\n\n{}", text->data());
        return false;
    }
    return true;
}

bool Configuration::Save() {
    if (!mFileOkay || mp_cJson == nullptr) {
        HalLog::Error("Unable to save config.  Invalid cJson.");
        return false;
    }
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_Print(mp_cJson), &cJSON_free);
    const auto result = text == nullptr ? WriteResult::NotWritten : WriteFile(mFileSpec, text.get());
    if (result == WriteResult::NotOpened) {
        HalLog::Error("Unable to open {} for saving", DisplayPath(mFileSpec));
    } else if (result == WriteResult::NotWritten) {
        HalLog::Error("Error writing to open {}", DisplayPath(mFileSpec));
    }
    return result == WriteResult::Done;
}

bool Configuration::KeyExists(const std::string& key) {
    if (mp_cJson == nullptr) {
        HalLog::Error("cJson is nullptr in Get(string, string)");
        return false;
    }
    return ItemOf(mp_cJson, key) != nullptr;
}

bool Configuration::Remove(const std::string& key) {
    if (mp_cJson == nullptr) {
        HalLog::Error("cJson is nullptr in Remove(key)");
        return false;
    }
    while (KeyExists(key)) {
        HalLog::Print(0, "Removing instance of {}", key);
        cJSON_DeleteItemFromObjectCaseSensitive(mp_cJson, key.c_str());
    }
    return false;
}

bool Configuration::Get(const std::string& key, std::string& value) {
    if (mp_cJson == nullptr) {
        HalLog::Error("cJson is nullptr in Get(string, string)");
        return false;
    }
    const cJSON* const item = ItemOf(mp_cJson, key);
    if (item == nullptr) {
        HalLog::Print(0, "Configuration setting {} was not found", key);
        return false;
    }
    if ((item->type & kTypeMask) != cJSON_String) {
        HalLog::Warning("cJSON type was not cJSON_string. key: {}", key);
        return false;
    }
    value = item->valuestring == nullptr ? "" : item->valuestring;
    return true;
}

bool Configuration::Get(const std::string& key, void*& value, int& type) {
    if (mp_cJson == nullptr) {
        HalLog::Error("cJson is nullptr in Get(string, string)");
        return false;
    }
    cJSON* const item = ItemOf(mp_cJson, key);
    if (item == nullptr) {
        HalLog::Print(0, "Configuration setting {} was not found", key);
        return false;
    }
    type = item->type & kTypeMask;
    switch (type) {
        case cJSON_False:
            value = const_cast<bool*>(&kFalse);
            return true;
        case cJSON_True:
            value = const_cast<bool*>(&kTrue);
            return true;
        case cJSON_NULL:
            value = nullptr;
            return true;
        case cJSON_Number:
            value = &item->valuedouble;
            return true;
        case cJSON_String:
        case cJSON_Raw:
            value = item->valuestring;
            return true;
        case cJSON_Array:
        case cJSON_Object:
            value = item->child;
            return true;
        case cJSON_Invalid:
            HalLog::Error("cJSON type is invalid in Get() method. key = {}", key);
            return false;
        default:
            HalLog::Error("cJSON type is unknown in Get() method. key = {}", key);
            return false;
    }
}

bool Configuration::NumberFrom(const std::string& key, const void* value, int type, double& number) {
    if (type != cJSON_Number) {
        HalLog::Error("Invalid type {} when getting numeric value with key = {}", type, key);
        return false;
    }
    if (value == nullptr) {
        HalLog::Error("Get() returned a nullptr for a numeric object. key = {}", key);
        return false;
    }
    number = *static_cast<const double*>(value);
    return true;
}

bool Configuration::GetNumber(const std::string& key, double& value) {
    void* item = nullptr;
    int type = cJSON_Invalid;
    return Get(key, item, type) && NumberFrom(key, item, type, value);
}

bool Configuration::Get(const std::string& key, double& value) {
    return GetNumber(key, value);
}

bool Configuration::bGet(const std::string& key, bool& value) {
    double number = 0.0;
    if (!GetNumber(key, number)) {
        return false;
    }
    value = number != 0.0;
    return true;
}

bool Configuration::Set(const std::string& key, const std::string& value) {
    if (mp_cJson == nullptr) {
        HalLog::Error("cJson is nullptr in Set(string, string)");
        return false;
    }
    std::string old;
    if (Get(key, old)) {
        HalLog::Print(0, "Key {} exists - value: {}", key, old);
        if (old == value) {
            HalLog::Print(0, "Key, {}, values are identical", key);
            return true;
        }
        HalLog::Print(0, "Key, {}, values are different.  Removing {} and replacing whith {}", key, old, value);
        Remove(key);
    } else {
        // Kept on purpose: an item of another type stays, and stays the one that Get finds.
        HalLog::Print(0, "Key {} does not exists", key);
    }
    ReportAdded(cJSON_AddStringToObject(mp_cJson, key.c_str(), value.c_str()), key);
    return false;
}

bool Configuration::SetNumber(const std::string& key, double value, int verbosity) {
    if (mp_cJson == nullptr) {
        HalLog::Error("cJson is nullptr in Set(string, string)");
        return false;
    }
    void* item = nullptr;
    int type = cJSON_Invalid;
    if (Get(key, item, type) && type == cJSON_Number) {
        const double old = *static_cast<const double*>(item);
        HalLog::Print(verbosity, "Key {} exists - value: {:g}", key, old);
        if (old == value) {
            HalLog::Print(verbosity, "Key, {}, values are identical", key);
            return true;
        }
        HalLog::Print(verbosity, "Key, {}, values are different.  Removing {:g} and replacing whith {:g}", key, old,
                      value);
        Remove(key);
    } else {
        Remove(key);
        HalLog::Print(verbosity, "Set(): Key {} does not exists creating new", key);
    }
    ReportAdded(cJSON_AddNumberToObject(mp_cJson, key.c_str(), value), key);
    return false;
}

bool Configuration::Set(const std::string& key, double value) {
    return SetNumber(key, value, 2);
}

bool Configuration::bSet(const std::string& key, bool value) {
    return SetNumber(key, value ? 1.0 : 0.0, 0);
}

bool Configuration::IsEnabled(const std::string& key) {
    bool enabled = false;
    if (bGet(key, enabled)) {
        return enabled;
    }
    std::string text;
    if (!Get(key, text)) {
        HalLog::Print(0, "Key not found in file");
        return false;
    }
    HalLog::Print(0, "\r\n*** key:{}, value:{} ***\r\n", key, text);
    text = LowerCase(text);
    HalLog::Print(0, "value converted to lower: \"{}\"", text);
    return text == "true" || text == "enable";
}

void Configuration::MergeItem(const cJSON& item) {
    const int type = item.type & kTypeMask;
    const std::string key = item.string == nullptr ? "" : item.string;
    if (type == cJSON_Number) {
        Set(key, item.valuedouble);
        Save();
    } else if (type == cJSON_String) {
        const std::string text = item.valuestring == nullptr ? "" : item.valuestring;
        if (text.empty()) {
            HalLog::Print(0, "Removing: {}", key);
            Remove(key);
        } else {
            HalLog::Print(0, "Inserting: {}value:\"{}\"", key, text);
            Set(key, text);
        }
        Save();
    }
}

bool Configuration::MergeFromFile(const std::string& path) {
    cJSON* loaded = nullptr;
    const bool isLoaded = Load(loaded, path, false);
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> document(loaded, &cJSON_Delete);
    if (!isLoaded) {
        HalLog::Error("Failed to Load() {}", DisplayPath(path));
        return false;
    }
    HalLog::Print(0, "About to start processing values");
    if (document == nullptr || document->child == nullptr) {
        HalLog::Error("cJson is null in Load() {}", DisplayPath(path));
        return false;
    }
    int iteration = 0;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, document.get()) {
        HalLog::Print(0, "Iteration : {}", iteration++);
        // The elements of an array have no key to be stored under.
        if (item->string != nullptr) {
            MergeItem(*item);
        }
    }
    return true;
}
