// Loading and saving.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include "tests/unit/Configuration/ConfigurationFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ConfigurationFileTest = ConfigurationFixture;

// As on a full disk: files can be made and take no byte. Each attempt raises a signal first.
class NoBytesInFiles {
public:
    explicit NoBytesInFiles(void (*whenTried)(int) = SIG_IGN) : mSignalBefore(std::signal(SIGXFSZ, whenTried)) {
        ::getrlimit(RLIMIT_FSIZE, &mBefore);
        const rlimit none{.rlim_cur = 0, .rlim_max = mBefore.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &none);
    }
    ~NoBytesInFiles() {
        ::setrlimit(RLIMIT_FSIZE, &mBefore);
        std::signal(SIGXFSZ, mSignalBefore);
    }
    NoBytesInFiles(const NoBytesInFiles&) = delete;
    NoBytesInFiles& operator=(const NoBytesInFiles&) = delete;

private:
    void (*mSignalBefore)(int);
    rlimit mBefore{};
};

// A file that is taken away, or has a folder put in its place, as soon as something is written to it.
class UnsteadyFile {
public:
    UnsteadyFile(std::string file, std::string folder) {
        sFile = std::move(file);
        sFolder = std::move(folder);
    }
    ~UnsteadyFile() {
        sFile.clear();
        sFolder.clear();
    }
    UnsteadyFile(const UnsteadyFile&) = delete;
    UnsteadyFile& operator=(const UnsteadyFile&) = delete;

    static void TakeAway(int) { ::unlink(sFile.c_str()); }
    static void MakeFolder(int) {
        ::unlink(sFile.c_str());
        ::rename(sFolder.c_str(), sFile.c_str());
    }

private:
    inline static std::string sFile;
    inline static std::string sFolder;
};

TEST_F(ConfigurationFileTest, AMissingFileIsMadeWithAnEmptyObject) {
    OpenConfiguration store(mFolder.Path("settings.json"), false);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("file does not exist.  Creating file /settings.json")));
    EXPECT_EQ(mFolder.Read("settings.json"), "{\n}");
    EXPECT_TRUE(store.mFileOkay);
    EXPECT_EQ(store.mFileSpec, mFolder.Path("settings.json"));
    EXPECT_EQ(Document(store), "{}");
}

TEST_F(ConfigurationFileTest, AMissingFileThatCannotBeMade) {
    OpenConfiguration store(mFolder.Path("no/folder/settings.json"), false);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("file does not exist.  Creating file /no/folder/settings.json"),
                                         Warning("Could not create /no/folder/settings.json"),
                                         Error("Unable to open /no/folder/settings.json"),
                                         Error("Load() resulted in null cJson pointer.")));
    EXPECT_FALSE(store.mFileOkay);
    EXPECT_EQ(store.mp_cJson, nullptr);
}

TEST_F(ConfigurationFileTest, AFileJustMadeThatStaysEmptyIsAnEmptyObject) {
    auto noBytes = std::make_optional<NoBytesInFiles>();
    OpenConfiguration store(mFolder.Path("settings.json"), false);
    noBytes.reset();
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("file does not exist.  Creating file /settings.json"),
                                         Error("Unable to save config.  Invalid cJson.")));
    EXPECT_TRUE(store.mFileOkay);
    EXPECT_EQ(Document(store), "{}");
    EXPECT_EQ(mFolder.Read("settings.json"), "");
}

TEST_F(ConfigurationFileTest, AFileJustMadeThatCannotBeOpenedIsAnEmptyObject) {
    const UnsteadyFile file(mFolder.Path("settings.json"), "");
    auto noBytes = std::make_optional<NoBytesInFiles>(&UnsteadyFile::TakeAway);
    OpenConfiguration store(mFolder.Path("settings.json"), false);
    noBytes.reset();
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Error("file does not exist.  Creating file /settings.json"),
                            Error("Unable to open /settings.json"), Error("Unable to save config.  Invalid cJson.")));
    EXPECT_TRUE(store.mFileOkay);
    EXPECT_EQ(Document(store), "{}");
}

TEST_F(ConfigurationFileTest, AFileJustMadeThatCannotBeReadIsAnEmptyObject) {
    mFolder.Write("folder/file", "");  // some file systems give an empty folder the size 0
    const UnsteadyFile file(mFolder.Path("settings.json"), mFolder.Path("folder"));
    auto noBytes = std::make_optional<NoBytesInFiles>(&UnsteadyFile::MakeFolder);
    OpenConfiguration store(mFolder.Path("settings.json"), false);
    noBytes.reset();
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Error("file does not exist.  Creating file /settings.json"),
                            Error("Unable to read /settings.json"), Error("Unable to save config.  Invalid cJson.")));
    EXPECT_TRUE(store.mFileOkay);
    EXPECT_EQ(Document(store), "{}");
}

TEST_F(ConfigurationFileTest, AFileThatVanishedAndStaysEmptyIsAnEmptyObjectWhichSaveTriesToWrite) {
    const auto store = Over(R"({"a":1})");
    ASSERT_EQ(::unlink(mFolder.Path("settings.json").c_str()), 0);
    auto noBytes = std::make_optional<NoBytesInFiles>();
    EXPECT_TRUE(store->Load(false));
    noBytes.reset();
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("file does not exist.  Creating file /settings.json"),
                                         Error("Error writing to open /settings.json")));
    EXPECT_EQ(Document(*store), "{}");
    EXPECT_TRUE(store->Save());
    EXPECT_EQ(mFolder.Read("settings.json"), "{\n}");
}

TEST_F(ConfigurationFileTest, AnEmptyFileDoesNotLoad) {
    OpenConfiguration store(mFolder.Write("settings.json", ""), false);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Load() resulted in null cJson pointer.")));
    EXPECT_FALSE(store.mFileOkay);
    EXPECT_EQ(store.mp_cJson, nullptr);
    EXPECT_FALSE(store.Save());
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unable to save config.  Invalid cJson.")));
}

TEST_F(ConfigurationFileTest, AFileThatCannotBeOpened) {
    // A link to itself can be neither followed nor made, so examining it fails as well.
    ASSERT_EQ(::symlink(mFolder.Path("settings.json").c_str(), mFolder.Path("settings.json").c_str()), 0);
    OpenConfiguration store(mFolder.Path("settings.json"), false);
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Error("file does not exist.  Creating file /settings.json"),
                            Warning("Could not create /settings.json"), Error("Unable to open /settings.json"),
                            Error("Load() resulted in null cJson pointer.")));
}

TEST_F(ConfigurationFileTest, AFolderCannotBeRead) {
    ASSERT_TRUE(std::filesystem::create_directory(mFolder.Path("settings.json")));
    mFolder.Write("settings.json/file", "");  // some file systems give an empty folder the size 0
    OpenConfiguration store(mFolder.Path("settings.json"), false);
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Error("Unable to read /settings.json"), Error("Load() resulted in null cJson pointer.")));
    EXPECT_FALSE(store.mFileOkay);
}

TEST_F(ConfigurationFileTest, AFileBeyondAllReasonIsNotRead) {
    ASSERT_EQ(::truncate(mFolder.Write("settings.json", "{").c_str(), 64L * 1024 * 1024 + 1), 0);
    OpenConfiguration store(mFolder.Path("settings.json"), false);
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Error("Unable to read /settings.json"), Error("Load() resulted in null cJson pointer.")));
}

TEST_F(ConfigurationFileTest, TextThatIsNoJsonIsShown) {
    const std::string path = mFolder.Write("settings.json", "{\"a\": {} {0} %s");
    EXPECT_EQ(Printed([&] {
                  const OpenConfiguration store(path, false);
                  EXPECT_FALSE(store.mFileOkay);
                  EXPECT_EQ(store.mp_cJson, nullptr);
              }),
              "Unable to parse.  Buffer contents:\n\n{\"a\": {} {0} %s\n");
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Error("Unable to parse /settings.json"), Error("Load() resulted in null cJson pointer.")));
}

TEST_F(ConfigurationFileTest, TextThatIsNoJsonIsNotShownBelowTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    const std::string path = mFolder.Write("settings.json", "nonsense");
    EXPECT_EQ(Printed([&] { const OpenConfiguration store(path, true); }), "");
}

TEST_F(ConfigurationFileTest, TheVerboseLoadShowsTheText) {
    const std::string path = mFolder.Write("settings.json", "{\"Core\":1}\n");
    EXPECT_EQ(Printed([&] { const OpenConfiguration store(path, true); }), "configBuffer:\n{\"Core\":1}\n\n");
    EXPECT_EQ(Printed([&] { const OpenConfiguration store(path, false); }), "");
}

TEST_F(ConfigurationFileTest, TheLoadOfAPathIsUsedWithoutChangingTheStore) {
    const auto store = Over(R"({"a":1})");
    const std::string path = mFolder.Write("other.json", R"({"b":2})");
    cJSON* document = nullptr;
    ASSERT_TRUE(store->Load(document, path, false));
    EXPECT_NE(cJSON_GetObjectItemCaseSensitive(document, "b"), nullptr);
    EXPECT_EQ(Document(*store), R"({"a":1})");
    mFolder.Write("other.json", R"({"c":3})");
    ASSERT_TRUE(store->Load(document, path, false));
    EXPECT_NE(cJSON_GetObjectItemCaseSensitive(document, "c"), nullptr);
    cJSON_Delete(document);
}

TEST_F(ConfigurationFileTest, LoadingAgainTakesTheFileAsItIsNow) {
    const auto store = Over(R"({"a":1})");
    mFolder.Write("settings.json", R"({"b":2})");
    EXPECT_TRUE(store->Load(false));
    EXPECT_EQ(Document(*store), R"({"b":2})");
    mFolder.Write("settings.json", "{");
    EXPECT_FALSE(store->Load(false));
    EXPECT_FALSE(store->mFileOkay);
    EXPECT_EQ(store->mp_cJson, nullptr);
}

TEST_F(ConfigurationFileTest, LoadingAgainKeepsTheDocumentWhereThereIsNoText) {
    const auto store = Over(R"({"a":1})");
    mFolder.Write("settings.json", "");
    EXPECT_FALSE(store->Load(false));
    EXPECT_FALSE(store->mFileOkay);
    EXPECT_EQ(Document(*store), R"({"a":1})");
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_FALSE(store->Save());
    EXPECT_EQ(mFolder.Read("settings.json"), "");
}

TEST_F(ConfigurationFileTest, LoadingAgainMakesAFileThatIsGone) {
    const auto store = Over(R"({"a":1})");
    std::filesystem::remove(mFolder.Path("settings.json"));
    EXPECT_TRUE(store->Load(false));
    EXPECT_EQ(Document(*store), "{}");
}

TEST_F(ConfigurationFileTest, SaveWritesTheIndentedDocumentInPlace) {
    const auto store =
        Over(R"({"a":1,"b":"text","c":{"d":[true,null]},"long":"0123456789012345678901234567890123456789"})");
    struct stat before {};
    ASSERT_EQ(::stat(mFolder.Path("settings.json").c_str(), &before), 0);
    store->Remove("long");
    EXPECT_TRUE(store->Save());
    EXPECT_EQ(mFolder.Read("settings.json"),
              "{\n\t\"a\":\t1,\n\t\"b\":\t\"text\",\n\t\"c\":\t{\n\t\t\"d\":\t[true, null]\n\t}\n}");
    struct stat after {};
    ASSERT_EQ(::stat(mFolder.Path("settings.json").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(ConfigurationFileTest, SaveIsRefusedAfterAFailedLoad) {
    const auto store = Over(R"({"a":1})");
    store->mFileOkay = false;
    EXPECT_FALSE(store->Save());
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unable to save config.  Invalid cJson.")));
    EXPECT_EQ(mFolder.Read("settings.json"), R"({"a":1})");
    store->Set("b", 2);
    EXPECT_EQ(Document(*store), R"({"a":1,"b":2})");
}

TEST_F(ConfigurationFileTest, SaveToAPlaceThatCannotBeOpened) {
    const auto store = Over("{}");
    store->mFileSpec = mFolder.Path("no/settings.json");
    EXPECT_FALSE(store->Save());
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unable to open /no/settings.json for saving")));
}

TEST_F(ConfigurationFileTest, SaveToADeviceThatIsFull) {
    const auto store = Over("{}");
    store->mFileSpec = "/dev/full";
    EXPECT_FALSE(store->Save());
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Error writing to open /dev/full")));
}

TEST_F(ConfigurationFileTest, ADocumentThatIsNoObjectLoadsAndHoldsNoKeys) {
    const auto store = Over("[1, 2]");
    EXPECT_TRUE(store->mFileOkay);
    EXPECT_FALSE(store->KeyExists("a"));
}

TEST_F(ConfigurationFileTest, TheFileIsClosedAgain) {
    const auto countOpen = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    const auto before = countOpen();
    for (int i = 0; i < 3; ++i) {
        const auto store = Over(R"({"a":1})");
        store->Save();
        store->Load(false);
    }
    EXPECT_EQ(countOpen(), before);
}

}  // namespace
