// A settings store: one flat JSON object in memory, backed by one file.
//
// Only the top-level keys are handled, and their case counts. Booleans are stored as the numbers 0 and 1 and are read
// back from numbers only. Set and Remove change the memory alone; Save() writes the file, in place. No lock inside:
// one thread at a time. Every failure is logged and shows in the result.
#pragma once

#include <string>

struct cJSON;

class Configuration {
public:
    // Loads the file at `path`, which is used as it is; a file that is missing is made, with an empty object.
    // `verbose` also prints its text.
    Configuration(const std::string& path, bool verbose);
    ~Configuration();
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;

    // Load the file anew: the object's own, or the one at `path` into `doc` (which the caller then frees with
    // cJSON_Delete). What the document pointer held before is freed for a new document, or for none (null) when the
    // text is no JSON; where no text could be read it stays.
    bool Load(bool verbose);
    bool Load(cJSON*& doc, const std::string& path, bool verbose);

    // Refused unless the last Load worked. A failure in the middle leaves a truncated file.
    bool Save();

    bool KeyExists(const std::string& key);

    // Deletes every item with that key. The result is false in any case and means nothing.
    bool Remove(const std::string& key);

    // False when the key is missing or its value is not a string.
    bool Get(const std::string& key, std::string& value);

    // Any type: `type` is cJSON's number for it. `value` points to the value, for reading only, until the next change:
    // const char* for texts, double for numbers, bool for true and false, the first child (cJSON) for arrays and
    // objects; null for null.
    bool Get(const std::string& key, void*& value, int& type);

    // Numbers only; as a bool every number but 0 is true.
    bool Get(const std::string& key, double& value);
    bool bGet(const std::string& key, bool& value);

    // Make the key hold the value. True when it did already; false when something was changed, and on failure. A
    // string does not replace an item that is no string: the key is then held twice, and the older item is found first.
    bool Set(const std::string& key, const std::string& value);
    bool Set(const std::string& key, double value);
    bool bSet(const std::string& key, bool value);

    // True for a number other than 0 and for the strings "true" and "enable" in any case of letters.
    bool IsEnabled(const std::string& key);

    // Takes over the numbers and strings of another file, saving after each; an empty string removes the key. False
    // when that file could not be loaded or holds no item.
    bool MergeFromFile(const std::string& path);

protected:
    bool GetNumber(const std::string& key, double& value);
    bool SetNumber(const std::string& key, double value, int verbosity);
    void MergeItem(const cJSON& item);

    // The number behind what Get gave as pointer and type.
    static bool NumberFrom(const std::string& key, const void* value, int type, double& number);

    cJSON* mp_cJson = nullptr;  // owned; null when nothing could be loaded
    bool mFileOkay = false;
    std::string mFileSpec;
};
