#include "settings/FerrydeckSettings.h"
#include "settings/PreferencesStore.h"
#include "support/EnvironmentGuard.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <limits>
#include <set>

using namespace ferrydeck;
using namespace ferrydeck::test;

TEST(PreferencesStore, FileLocationFollowsTheEnvironment)
{
    EnvironmentGuard home("HOME", "/home/operator/");
    const struct {
        const char *xdg, *explicitDir, *file;
    } cases[] = {{nullptr, nullptr, "/home/operator/.config/ferrydeck/preferences.json"},
                 {"/xdg", nullptr, "/xdg/ferrydeck/preferences.json"},
                 {"relative/config", nullptr, "/home/operator/.config/ferrydeck/preferences.json"},
                 {"/xdg", "/etc/ferrydeck-station", "/etc/ferrydeck-station/preferences.json"}};
    for (const auto &c : cases) {
        EnvironmentGuard xdg("XDG_CONFIG_HOME", c.xdg);
        EnvironmentGuard explicitDir("FERRYDECK_CONFIG_DIR", c.explicitDir);
        EXPECT_EQ(PreferencesStore::defaultFilePath(), c.file);
    }
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

// Earlier preference files hold these keys: the spellings that differ from
// the field names and the defaults that are not zero can break unnoticed.
TEST(FerrydeckSettings, NewObjectStoresItsInitialValuesUnderTheTwentySixKeysAndEachChangedValueComesBack)
{
    EnvironmentGuard home("HOME", "/home/operator");
    const FerrydeckSettings settings(4);
    const Dictionary presets = *settings.createPresetDictionary();
    const std::vector<std::pair<std::string, Dictionary>> odd = {{"renameText", ""},
                                                                 {"renameCounter", 1},
                                                                 {"selectedLogIndex", 1},
                                                                 {"logOptionIndex", 1},
                                                                 {"warnBeforeFormatting", true},
                                                                 {"alertWhenFormatFails", true},
                                                                 {"alertWhenLogsNotSaved", true},
                                                                 {"amountOfThreads", 4},
                                                                 {"numberingValue", 1},
                                                                 {"customNamingConvention", ""},
                                                                 {"logText", "/home/operator"}};
    for (const auto &[key, value] : odd)
        EXPECT_EQ(settings.findValueForKey(key), value) << key;
    // Field names are not keys.
    EXPECT_EQ(settings.findValueForKey("textRenameCard"), std::nullopt);
    EXPECT_EQ(settings.findValueForKey("minimumThreads"), std::nullopt);

    const auto memberKeys = *settings.findMemberKeys();
    std::set<std::string> presetKeys;
    for (const auto &[key, value] : presets.items())
        presetKeys.insert(key);
    EXPECT_EQ(memberKeys.size(), 26u);
    EXPECT_EQ(std::set<std::string>(memberKeys.begin(), memberKeys.end()), presetKeys);
    EXPECT_EQ(memberKeys[6], "renameCounter");
    EXPECT_EQ(memberKeys[7], "renameText");

    // Every stored value moved off its default, each by its own kind, comes back.
    Dictionary changed = presets;
    for (auto it = changed.begin(); it != changed.end(); ++it) {
        if (it->is_boolean()) *it = !it->get<bool>();
        else if (it->is_number()) *it = it->get<int>() + 2;
        else *it = it->get<std::string>() + "_B";
    }
    FerrydeckSettings loaded(1);
    loaded.retrieveKeyValuesFromDictionary(&changed);
    EXPECT_EQ(*loaded.createPresetDictionary(), changed);
    EXPECT_EQ(loaded.textCustomName(), changed["customNamingConvention"]);
    EXPECT_EQ(loaded.amountOfCopyThreads(), changed["amountOfThreads"]);
}

// How each kind is read is DictionaryValues' table; an unreadable array and an
// unbounded thread count are DefaultsPersistence's
// DamagedOrGappedListLoadsWhatCanBeReadAndTheNextSaveRewritesIt
// and ThreadCountIsStoredAsSetAndBoundedInMemoryOnlyAfterSaving.
TEST(FerrydeckSettings, LoadReadsNeighbouringKindsAndSkipsUnreadableEntries)
{
    FerrydeckSettings settings(4);
    const Dictionary presets = {{"ejectCard", "1"},
                                {"playSound", "no"},
                                {"renameText", 42},
                                {"prefixText", "PRE_"},
                                {"numberingValue", "17 x"},
                                {"selectedLogIndex", 2.9},
                                {"conventionIndex", nullptr},
                                {"logOptionIndex", {{"nested", 1}}},
                                {"textPrefix", "field names are not keys"}};
    settings.retrieveKeyValuesFromDictionary(&presets);
    EXPECT_TRUE(settings.ejectCard());
    EXPECT_FALSE(settings.playSound());
    EXPECT_EQ(settings.textRenameCard(), "");
    EXPECT_EQ(settings.textPrefix(), "PRE_");
    EXPECT_EQ(settings.valueConsecutiveNumbering(), 17);
    EXPECT_EQ(settings.selectedLogOption(), 2);
    EXPECT_EQ(settings.namingConventionIndex(), 0);
    EXPECT_EQ(settings.logOptionIndex(), 1);

    const Dictionary before = *settings.createPresetDictionary();
    const Dictionary unknownOnly = {{"somethingElse", true}};
    const Dictionary notAnObject = Dictionary::array({1, 2});
    for (const Dictionary *odd : {&unknownOnly, static_cast<const Dictionary *>(nullptr), &notAnObject})
        settings.retrieveKeyValuesFromDictionary(odd);
    EXPECT_EQ(*settings.createPresetDictionary(), before);
}

struct Reading {
    Dictionary value;
    std::optional<bool> asBool;
    std::optional<int32_t> asInt;
};

TEST(DictionaryValues, ReadsValuesTheWayStoredPropertyListsWereRead)
{
    constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
    constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
    const std::vector<Reading> cases = {
        {true, true, 1},
        {0, false, 0},
        {-3, true, -3},
        {2.9, true, 2},
        {-2.9, true, -2},
        {1e12, true, kMax},
        {-1e12, true, kMin},
        {int64_t{5000000000}, true, kMax},
        {"1", true, 1},
        {"  +0042x", true, 42},
        {"-7", true, -7},
        {"0", false, 0},
        {"000", false, 0},
        {"YES", true, 0},
        {"true", true, 0},
        {"no", false, 0},
        {"", false, 0},
        {"99999999999", true, kMax},
        {nullptr, std::nullopt, std::nullopt},
        {Dictionary::array({1}), std::nullopt, std::nullopt},
        {Dictionary::object(), std::nullopt, std::nullopt},
    };
    for (const Reading &reading : cases) {
        EXPECT_EQ(DictionaryValues::boolValue(reading.value), reading.asBool) << reading.value.dump();
        EXPECT_EQ(DictionaryValues::intValue(reading.value), reading.asInt) << reading.value.dump();
    }
}
