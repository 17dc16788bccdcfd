#include "support/EnvironmentGuard.h"

#include "settings/FerrydeckSettings.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

using namespace ferrydeck;
using ferrydeck::test::EnvironmentGuard;

// Earlier preference files hold these keys: the spellings that differ from
// the field names and the defaults that are not zero can break unnoticed.
TEST(FerrydeckSettings, NewObjectStoresItsInitialValuesUnderTheTwentySixKeys)
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
    EXPECT_EQ(settings.minimumThreads(), 1);
    EXPECT_EQ(settings.maximumThreads(), 10);

    const auto memberKeys = *settings.findMemberKeys();
    std::set<std::string> presetKeys;
    for (const auto &[key, value] : presets.items())
        presetKeys.insert(key);
    EXPECT_EQ(memberKeys.size(), 26u);
    EXPECT_EQ(std::set<std::string>(memberKeys.begin(), memberKeys.end()), presetKeys);
    EXPECT_EQ(memberKeys[6], "renameCounter");
    EXPECT_EQ(memberKeys[7], "renameText");
}

TEST(FerrydeckSettings, LoadReadsNeighbouringKindsAndSkipsUnreadableEntries)
{
    FerrydeckSettings settings(4);
    const Dictionary presets = {{"ejectCard", "1"},
                                {"renameCounter", {1, 2}},
                                {"playSound", "no"},
                                {"formatCard", 2},
                                {"renameText", 42},
                                {"prefixText", "PRE_"},
                                {"numberingValue", "17 and more"},
                                {"amountOfThreads", 16},
                                {"selectedLogIndex", 2.9},
                                {"conventionIndex", nullptr},
                                {"logOptionIndex", {{"nested", 1}}},
                                {"textPrefix", "field names are not keys"},
                                {"warnBeforeFormatting", false}};
    settings.retrieveKeyValuesFromDictionary(&presets);
    EXPECT_TRUE(settings.ejectCard());
    EXPECT_EQ(settings.renameCounter(), 1);
    EXPECT_FALSE(settings.playSound());
    EXPECT_TRUE(settings.formatCard());
    EXPECT_EQ(settings.textRenameCard(), "");
    EXPECT_EQ(settings.textPrefix(), "PRE_");
    EXPECT_EQ(settings.valueConsecutiveNumbering(), 17);
    EXPECT_EQ(settings.amountOfCopyThreads(), 16); // not bounded by a load
    EXPECT_EQ(settings.selectedLogOption(), 2);
    EXPECT_EQ(settings.namingConventionIndex(), 0);
    EXPECT_EQ(settings.logOptionIndex(), 1);
    EXPECT_FALSE(settings.warnBeforeFormatting());

    const Dictionary before = *settings.createPresetDictionary();
    const Dictionary unknownOnly = {{"somethingElse", true}};
    settings.retrieveKeyValuesFromDictionary(&unknownOnly);
    settings.retrieveKeyValuesFromDictionary(nullptr);
    const Dictionary notAnObject = Dictionary::array({1, 2});
    settings.retrieveKeyValuesFromDictionary(&notAnObject);
    EXPECT_EQ(*settings.createPresetDictionary(), before);
}

TEST(FerrydeckSettings, RoundTripsEveryFieldThroughItsDictionary)
{
    // Every stored value moved off its default, each by its own kind.
    Dictionary changed = *FerrydeckSettings(3).createPresetDictionary();
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
