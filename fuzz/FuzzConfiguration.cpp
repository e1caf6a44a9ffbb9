// The settings store: a file, then a sequence of operations, each compared with a plain model; what is saved is what is
// read, be it an object, a list or a single value.
//
//   up to 0xFF        the settings file; "-" for none
//   up to 0xFF        the file that is merged
//   then, again and again, an operation: one byte, a key (a byte that picks a usual one, or from 0x80 on a text up to a
//   zero byte) and its value
#include "Common/Configuration/Configuration.h"
#include "fuzz/SettingsModel.h"
#include "fuzz/Support/ByteSource.h"
#include "fuzz/Support/Check.h"
#include "fuzz/Support/Surroundings.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

namespace {

constexpr const char* kFile = "/Veltrix/settings.json";
constexpr const char* kOtherFile = "/Veltrix/merge.json";
constexpr unsigned int kMostOperations = 64;

const std::array<std::string, 6> kKeys = {"Core", "Debug", "a", "b", "c", ""};
constexpr std::array<double, 8> kNumbers = {0.0, -0.0, 1.0, 2.5, 1e300, -1e-300, 0.1, 16777217.0};

class ProbedConfiguration : public Configuration {
public:
    using Configuration::Configuration;
    const cJSON* Document() const { return mp_cJson; }
};

using DocumentPointer = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

// The item behind a key is what the file says of it. The JSON writer's own limits: a number agrees to the last bit but
// one, and one that is not finite is written as null.
bool IsReadBack(const cJSON* saved, const cJSON* read) {
    const int savedType = saved->type & 0xFF;
    const int readType = read->type & 0xFF;
    if (savedType == cJSON_Number && !std::isfinite(saved->valuedouble)) {
        return readType == cJSON_NULL;
    }
    if (savedType != readType) {
        return false;
    }
    if (savedType == cJSON_Number) {
        const double larger = std::max(std::fabs(saved->valuedouble), std::fabs(read->valuedouble));
        return std::fabs(saved->valuedouble - read->valuedouble) <= larger * DBL_EPSILON;
    }
    return savedType != cJSON_String || std::strcmp(saved->valuestring, read->valuestring) == 0;
}

bool IsSameKey(const cJSON* one, const cJSON* other) {
    return one->string == nullptr || other->string == nullptr ? one->string == other->string
                                                              : std::strcmp(one->string, other->string) == 0;
}

// What was set on a list is saved without its key, and what was set on a single value is not saved.
bool AreReadBack(const cJSON* saved, const cJSON* read) {
    if (!IsReadBack(saved, read)) {
        return false;
    }
    const bool isObject = cJSON_IsObject(saved) != 0;
    const cJSON* left = isObject || cJSON_IsArray(saved) != 0 ? saved->child : nullptr;
    const cJSON* right = read->child;
    for (; left != nullptr && right != nullptr; left = left->next, right = right->next) {
        if ((isObject && !IsSameKey(left, right)) || !AreReadBack(left, right)) {
            return false;
        }
    }
    return left == right;
}

// One store, its model, and the operations of an input on both.
class SettingsRun {
public:
    SettingsRun(std::string otherContent, const std::string& path)
        : mOther(std::move(otherContent)), mStore(path, true) {
        Adopt();
    }

    void Operate(Fuzz::ByteSource& source) {
        const std::uint8_t operation = source.Byte();
        const std::string key = ReadKey(source);
        switch (operation % 13) {
            case 0:
                SetText(key, WithoutZero(source.Text(source.Byte() % 32U)));
                break;
            case 1:
                SetNumber(key, ReadNumber(source));
                break;
            case 2:
                SetFlag(key, source.Flag());
                break;
            case 3:
                FUZZ_CHECK(!mStore.Remove(key));
                if (mModel) {
                    mModel->Remove(key);
                }
                break;
            case 4:
                Save();
                break;
            case 5:
                mStore.Load(false);
                Adopt();
                break;
            case 6:
                Merge();
                break;
            default:
                break;  // the queries below are all there is to it
        }
        CheckQueries(key);
    }

    void Save() {
        const bool isSaved = mStore.Save();
        FUZZ_CHECK(isSaved == (mStore.Document() != nullptr));
        if (!isSaved) {
            return;
        }
        const ProbedConfiguration again(Fuzz::Root() + kFile, false);
        FUZZ_CHECK(again.Document() != nullptr);
        FUZZ_CHECK(AreReadBack(mStore.Document(), again.Document()));
    }

private:
    static std::string WithoutZero(const std::string& text) { return text.substr(0, text.find('\0')); }

    static std::string ReadKey(Fuzz::ByteSource& source) {
        const std::uint8_t kind = source.Byte();
        return kind < 0x80 ? kKeys[kind % kKeys.size()] : source.TextUntil(0);
    }

    // JSON has no others than finite ones.
    static double ReadNumber(Fuzz::ByteSource& source) {
        const std::uint8_t kind = source.Byte();
        const double number = kind < 0x80 ? kNumbers[kind % kNumbers.size()] : std::bit_cast<double>(source.Number(8));
        return std::isfinite(number) ? number : 0.5;
    }

    // There is no model of a file that cannot be read, and of a list whose elements have no keys: nothing is found
    // there.
    void Adopt() {
        mModel.reset();
        if (mStore.Document() != nullptr &&
            (cJSON_IsObject(mStore.Document()) != 0 || mStore.Document()->child == nullptr)) {
            mModel.emplace(*mStore.Document());
        }
    }

    void SetText(const std::string& key, const std::string& text) {
        const bool wasThere = mStore.Set(key, text);
        FUZZ_CHECK(wasThere == (mModel && mModel->Set(key, text)));
    }

    void SetNumber(const std::string& key, double number) {
        const bool wasThere = mStore.Set(key, number);
        FUZZ_CHECK(wasThere == (mModel && mModel->Set(key, number)));
    }

    void SetFlag(const std::string& key, bool flag) {
        const bool wasThere = mStore.bSet(key, flag);
        FUZZ_CHECK(wasThere == (mModel && mModel->Set(key, flag ? 1.0 : 0.0)));
    }

    void Merge() {
        Fuzz::WriteRootedFile(kOtherFile, mOther);
        const DocumentPointer other(mOther.empty() ? nullptr : cJSON_Parse(mOther.c_str()), &cJSON_Delete);
        const bool isMerged = mStore.MergeFromFile(Fuzz::Root() + kOtherFile);
        FUZZ_CHECK(isMerged == (other != nullptr && other->child != nullptr));
        if (mModel && isMerged && cJSON_IsObject(other.get()) != 0) {
            mModel->Merge(SettingsModel(*other));
        }
    }

    void CheckQueries(const std::string& key) {
        void* value = nullptr;
        int type = cJSON_Invalid;
        std::string text;
        double number = 0.0;
        bool flag = false;
        const bool exists = mStore.KeyExists(key);
        FUZZ_CHECK(mStore.Get(key, value, type) == exists);
        const bool isText = mStore.Get(key, text);
        const bool isNumber = mStore.Get(key, number);
        FUZZ_CHECK(mStore.bGet(key, flag) == isNumber && (!isNumber || flag == (number != 0.0)));
        const bool isEnabled = mStore.IsEnabled(key);
        if (!mModel) {
            FUZZ_CHECK(!exists && !isText && !isNumber && !isEnabled);
            return;
        }
        FUZZ_CHECK(mModel->IsHeldBy(*mStore.Document()));
        FUZZ_CHECK(mModel->Type(key) == (exists ? std::optional(type) : std::nullopt));
        FUZZ_CHECK(mModel->Text(key) == (isText ? std::optional(text) : std::nullopt));
        FUZZ_CHECK(mModel->Number(key) == (isNumber ? std::optional(number) : std::nullopt) || std::isnan(number));
        FUZZ_CHECK(mModel->IsEnabled(key) == isEnabled);
    }

    const std::string mOther;
    ProbedConfiguration mStore;
    std::optional<SettingsModel> mModel;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::ByteSource source(data, size);
    const std::string content = source.TextUntil(0xFF);
    Fuzz::WriteRootedFile(kFile, content);
    if (content == "-") {
        Fuzz::RemoveRooted(kFile);
    }
    SettingsRun run(source.TextUntil(0xFF), Fuzz::Root() + kFile);
    for (unsigned int i = 0; i < kMostOperations && !source.IsEmpty(); ++i) {
        run.Operate(source);
    }
    run.Save();
    return 0;
}
