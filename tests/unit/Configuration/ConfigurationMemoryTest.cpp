// What becomes of the settings when memory runs short at any point of the way.
#include <string>

#include "tests/support/ShortMemory.h"
#include "tests/unit/Configuration/ConfigurationFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ConfigurationMemoryTest = ConfigurationFixture;

constexpr int kMoreThanEnough = 1000;

TEST_F(ConfigurationMemoryTest, AValueIsStoredOrReported) {
    const struct {
        bool (*set)(Configuration& store);
        const char* document;
    } rows[] = {{[](Configuration& store) { return store.Set("k", "text"); }, R"({"k":"text"})"},
                {[](Configuration& store) { return store.Set("k", 2.5); }, R"({"k":2.5})"},
                {[](Configuration& store) { return store.bSet("k", true); }, R"({"k":1})"}};
    for (const auto& row : rows) {
        const auto store = Over("{}");
        int failures = 0;
        for (; failures < kMoreThanEnough; ++failures) {
            {
                const ShortMemory memory(failures);
                EXPECT_FALSE(row.set(*store));
            }
            if (store->KeyExists("k")) {
                break;
            }
            EXPECT_THAT(mLog.Take(), ElementsAre(Error("Out of memory when adding key = k"))) << failures;
            EXPECT_EQ(Document(*store), "{}") << failures;
        }
        EXPECT_EQ(Document(*store), row.document);
        EXPECT_GT(failures, 1) << row.document;
        EXPECT_THAT(mLog.Take(), IsEmpty()) << row.document;
    }
}

TEST_F(ConfigurationMemoryTest, SavingWritesAllOrLeavesTheFileAsItIs) {
    const std::string text(300, 'x');  // more than fits into the first piece of memory
    const std::string before = R"({"a":")" + text + R"("})";
    const auto store = Over(before);
    ASSERT_FALSE(store->Set("b", 2));
    int failures = 0;
    for (bool isSaved = false; failures < kMoreThanEnough; ++failures) {
        {
            const ShortMemory memory(failures);
            isSaved = store->Save();
        }
        if (isSaved) {
            break;
        }
        EXPECT_THAT(mLog.Take(), ElementsAre(Error("Error writing to open /settings.json"))) << failures;
        EXPECT_EQ(mFolder.Read("settings.json"), before) << failures;
    }
    EXPECT_EQ(mFolder.Read("settings.json"), "{\n\t\"a\":\t\"" + text + "\",\n\t\"b\":\t2\n}");
    EXPECT_GT(failures, 1);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(ConfigurationMemoryTest, LoadingGivesAllOrNothing) {
    const auto store = Over(R"({"a":1,"b":"text"})");
    int failures = 0;
    for (bool isLoaded = false; failures < kMoreThanEnough; ++failures) {
        {
            const ShortMemory memory(failures);
            isLoaded = store->Load(false);
        }
        EXPECT_EQ(store->mFileOkay, isLoaded) << failures;
        if (isLoaded) {
            break;
        }
        EXPECT_EQ(store->mp_cJson, nullptr) << failures;
        EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unable to parse /settings.json"),
                                             Error("Load() resulted in null cJson pointer.")))
            << failures;
    }
    EXPECT_EQ(Document(*store), R"({"a":1,"b":"text"})");
    EXPECT_GT(failures, 1);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

}  // namespace
