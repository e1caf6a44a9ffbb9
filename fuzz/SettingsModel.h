// What a settings store must hold after each operation, kept as a plain list beside it.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct cJSON;

class SettingsModel {
public:
    // The items of a document in order, each with its key: one JSON object, or a document without any items.
    explicit SettingsModel(const cJSON& document);

    // The same operations as the store's, with the same results; `type` is cJSON's number for it.
    bool Set(const std::string& key, const std::string& text);
    bool Set(const std::string& key, double number);
    void Remove(const std::string& key);
    bool IsEnabled(const std::string& key) const;
    std::optional<int> Type(const std::string& key) const;
    std::optional<std::string> Text(const std::string& key) const;
    std::optional<double> Number(const std::string& key) const;

    // Takes over the numbers and texts of another model; an empty text removes the key.
    void Merge(const SettingsModel& other);
    bool IsEmpty() const { return mItems.empty(); }

    // Whether a document holds just these items in this order. Lists and objects count by their number of items.
    bool IsHeldBy(const cJSON& document) const;

private:
    struct Item {
        std::string key;
        int type;
        std::string text;
        double number;
        int children;
    };

    const Item* Find(const std::string& key) const;
    static Item ToItem(const cJSON& item);

    std::vector<Item> mItems;
};
