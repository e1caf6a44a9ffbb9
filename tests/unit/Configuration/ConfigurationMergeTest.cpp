// Taking over another file's keys.
#include "tests/unit/Configuration/ConfigurationFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ConfigurationMergeTest = ConfigurationFixture;

TEST_F(ConfigurationMergeTest, RemovesEmptyStringsAndSetsTheRest) {
    const auto store = Over(R"({"a":"gone","b":"old","keep":true})");
    const std::string path = mFolder.Write("merge.json", R"({"a":"","b":"v","c":3})");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(store->MergeFromFile(path)); }),
              "About to start processing values\n"
              "Iteration : 0\n"
              "Removing: a\n"
              "Removing instance of a\n"
              "Iteration : 1\n"
              "Inserting: bvalue:\"v\"\n"
              "Key b exists - value: old\n"
              "Key, b, values are different.  Removing old and replacing whith v\n"
              "Removing instance of b\n"
              "Iteration : 2\n"
              "Configuration setting c was not found\n");
    EXPECT_EQ(Document(*store), R"({"keep":true,"b":"v","c":3})");
    EXPECT_EQ(mFolder.Read("settings.json"), "{\n\t\"keep\":\ttrue,\n\t\"b\":\t\"v\",\n\t\"c\":\t3\n}");
    EXPECT_EQ(mFolder.Read("merge.json"), R"({"a":"","b":"v","c":3})");
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(ConfigurationMergeTest, SavesAfterEachItemThatItTakes) {
    const auto store = Over(R"({"a":1})");
    store->mFileOkay = false;
    const std::string path =
        mFolder.Write("merge.json", R"({"a":2,"b":"","c":"v","t":true,"f":false,"n":null,"l":[1],"o":{"x":1}})");
    EXPECT_TRUE(store->MergeFromFile(path));
    const LogLine refused = Error("Unable to save config.  Invalid cJson.");
    EXPECT_THAT(mLog.Take(), ElementsAre(refused, refused, refused));
    EXPECT_EQ(Document(*store), R"({"a":2,"c":"v"})");
}

TEST_F(ConfigurationMergeTest, OtherTypesAreCountedAndSkipped) {
    const auto store = Over("{}");
    const std::string path = mFolder.Write("merge.json", R"({"t":true,"l":[1]})");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(store->MergeFromFile(path)); }),
              "About to start processing values\nIteration : 0\nIteration : 1\n");
    EXPECT_EQ(Document(*store), "{}");
    EXPECT_EQ(mFolder.Read("settings.json"), "{}");
}

TEST_F(ConfigurationMergeTest, IsQuietBelowTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    const auto store = Over(R"({"a":"gone"})");
    const std::string path = mFolder.Write("merge.json", R"({"a":"","b":"v","c":3})");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(store->MergeFromFile(path)); }), "");
    EXPECT_EQ(Document(*store), R"({"b":"v","c":3})");
}

TEST_F(ConfigurationMergeTest, AnArraysElementsHaveNoKeys) {
    const auto store = Over("{}");
    EXPECT_TRUE(store->MergeFromFile(mFolder.Write("merge.json", R"([1,"v",""])")));
    EXPECT_EQ(Document(*store), "{}");
}

TEST_F(ConfigurationMergeTest, AFileThatDoesNotLoad) {
    const auto store = Over(R"({"a":1})");
    EXPECT_FALSE(store->MergeFromFile(mFolder.Write("merge.json", "nonsense")));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unable to parse /merge.json"), Error("Failed to Load() /merge.json")));
    EXPECT_FALSE(store->MergeFromFile(mFolder.Write("merge.json", "")));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Failed to Load() /merge.json")));
    EXPECT_EQ(Document(*store), R"({"a":1})");
    EXPECT_TRUE(store->mFileOkay);
}

TEST_F(ConfigurationMergeTest, AFileWithoutItems) {
    const auto store = Over(R"({"a":1})");
    const std::string path = mFolder.Write("merge.json", "{}");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->MergeFromFile(path)); }), "About to start processing values\n");
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("cJson is null in Load() /merge.json")));
}

TEST_F(ConfigurationMergeTest, AMissingFileIsMadeAndHoldsNothing) {
    const auto store = Over(R"({"a":1})");
    EXPECT_FALSE(store->MergeFromFile(mFolder.Path("merge.json")));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("file does not exist.  Creating file /merge.json"),
                                         Error("cJson is null in Load() /merge.json")));
    EXPECT_EQ(mFolder.Read("merge.json"), "{\n}");
}

TEST_F(ConfigurationMergeTest, AFileOutsideThePrefixIsNamedInFull) {
    const auto store = Over("{}");
    EXPECT_FALSE(store->MergeFromFile("/dev/null"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Failed to Load() /dev/null")));
}

TEST_F(ConfigurationMergeTest, WithoutADocumentNothingIsTaken) {
    const auto store = Over("");
    EXPECT_TRUE(store->MergeFromFile(mFolder.Write("merge.json", R"({"c":3})")));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("cJson is nullptr in Set(string, string)"),
                                         Error("Unable to save config.  Invalid cJson.")));
    EXPECT_EQ(mFolder.Read("settings.json"), "");
}

}  // namespace
