#include "support/EnvironmentGuard.h"

#include "settings/PreferencesStore.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace ferrydeck;
using namespace ferrydeck::test;

TEST(PreferencesStore, FileLocationFollowsTheEnvironment)
{
    EnvironmentGuard home("HOME", "/home/operator/");
    {
        EnvironmentGuard xdg("XDG_CONFIG_HOME", nullptr);
        EnvironmentGuard explicitDir("FERRYDECK_CONFIG_DIR", nullptr);
        EXPECT_EQ(PreferencesStore::defaultFilePath(), "/home/operator/.config/ferrydeck/preferences.json");
    }
    {
        EnvironmentGuard xdg("XDG_CONFIG_HOME", "/xdg");
        EnvironmentGuard explicitDir("FERRYDECK_CONFIG_DIR", nullptr);
        EXPECT_EQ(PreferencesStore::defaultFilePath(), "/xdg/ferrydeck/preferences.json");
        EnvironmentGuard relative("XDG_CONFIG_HOME", "relative/config");
        EXPECT_EQ(PreferencesStore::defaultFilePath(), "/home/operator/.config/ferrydeck/preferences.json");
    }
    EnvironmentGuard explicitDir("FERRYDECK_CONFIG_DIR", "/etc/ferrydeck-station");
    EXPECT_EQ(PreferencesStore::defaultFilePath(), "/etc/ferrydeck-station/preferences.json");
}

TEST(PreferencesStore, FirstStartIsEmptyAndSaveCreatesThePrivateFile)
{
    TempDir dir;
    PreferencesStore store(dir / "config/ferrydeck/preferences.json");
    EXPECT_TRUE(store.load());
    EXPECT_TRUE(store.keys().empty());

    store.setObject("presets", {{"ejectCard", true}, {"renameText", "Ünïcode"}});
    store.setObject("destination_0", {{"destinationPath", "/a"}, {"inUse", true}});
    ASSERT_TRUE(store.save());
    EXPECT_EQ(listFolder(dir / "config/ferrydeck"), std::vector<std::string>{"preferences.json"});
    EXPECT_EQ(statOf(store.filePath()).st_mode & 0777, 0600u);

    PreferencesStore reloaded(store.filePath());
    EXPECT_TRUE(reloaded.load());
    EXPECT_EQ(reloaded.keys(), (std::vector<std::string>{"presets", "destination_0"}));
    EXPECT_EQ(reloaded.objectForKey("presets")->at("renameText"), "Ünïcode");
    reloaded.removeObject("presets");
    EXPECT_EQ(reloaded.objectForKey("presets"), std::nullopt);
}

// Damaged, special or oversized files give defaults at once; only a regular
// file is moved aside, and the next save succeeds without touching it.
TEST(PreferencesStore, UnusableFilesGiveDefaultsAndOnlyARegularOneIsMovedAside)
{
    TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "fifo.json").c_str(), 0600), 0);
    writeFile(dir / "huge.json", "{}");
    ASSERT_EQ(::truncate((dir / "huge.json").c_str(), PreferencesStore::kMaximumFileSize + 1), 0);
    std::vector<std::pair<std::string, bool>> cases{
        {dir / "fifo.json", false}, {"/dev/zero", false}, {dir / "huge.json", true}};
    for (const std::string &damaged : {std::string("{\"presets\": {\"ejectCard\": tr"), std::string("not json at all"),
                                       std::string("[1, 2, 3]"), std::string(), std::string("\x00\xff\xfe", 3)}) {
        cases.emplace_back(dir / ("damaged" + std::to_string(cases.size()) + ".json"), true);
        writeFile(cases.back().first, damaged);
    }
    for (const auto &[file, movedAside] : cases) {
        SCOPED_TRACE(file);
        const std::string content = movedAside ? readFile(file) : "";
        PreferencesStore store(file);
        store.setObject("stale", 1);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(store.load());
        EXPECT_NE(testing::internal::GetCapturedStderr().find(movedAside ? file + ".bad" : file), std::string::npos);
        EXPECT_TRUE(store.keys().empty());
        EXPECT_EQ(exists(file + ".bad"), movedAside);
        // A reader that never repairs refuses the same way; a file moved aside is a first start.
        PreferencesStore reader(file);
        testing::internal::CaptureStderr();
        EXPECT_EQ(reader.loadWithoutRepair(), movedAside);
        testing::internal::GetCapturedStderr();
        if (!movedAside) continue;
        EXPECT_FALSE(exists(file));
        EXPECT_EQ(readFile(file + ".bad"), content);
        store.setObject("presets", 1);
        EXPECT_TRUE(store.save());
        EXPECT_EQ(readFile(file + ".bad"), content);
    }
    EXPECT_TRUE(S_ISFIFO(statOf(dir / "fifo.json").st_mode));
}

TEST(PreferencesStore, FailedSaveReportsKeepsTheOldFileAndTheValuesInMemory)
{
    TempDir dir;
    // The folder cannot be made: its parent is a regular file.
    writeFile(dir / "plainfile", "x");
    PreferencesStore underFile(dir / "plainfile/ferrydeck/preferences.json");
    underFile.setObject("presets", {{"ejectCard", true}});
    testing::internal::CaptureStderr();
    EXPECT_FALSE(underFile.save());
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("plainfile/ferrydeck"), std::string::npos) << errors;
    EXPECT_EQ(underFile.objectForKey("presets")->at("ejectCard"), true);

    // The target is a folder with contents: the rename fails even for root,
    // and no temporary file is left behind.
    writeFile(dir / "blocked/preferences.json/keep", "mine");
    PreferencesStore blocked(dir / "blocked/preferences.json");
    blocked.setObject("presets", 1);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(blocked.save());
    errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("previous file is unchanged"), std::string::npos) << errors;
    EXPECT_EQ(listFolder(dir / "blocked"), std::vector<std::string>{"preferences.json"});
    EXPECT_EQ(readFile(dir / "blocked/preferences.json/keep"), "mine");
    EXPECT_EQ(blocked.objectForKey("presets"), Dictionary(1));
}
