#include "support/EnvironmentGuard.h"

#include "controller/DefaultsPersistence.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

using List = DefaultsPersistence::DestinationList;

// One run of the application: a fresh store, settings and list, loaded from
// the file as at start-up.
struct AppRun {
    explicit AppRun(const std::string &file)
        : store(file)
    {
        store.load();
        destinations = DefaultsPersistence::loadDefaults(store, settings, {});
    }
    PreferencesStore store;
    FerrydeckSettings settings{4};
    List destinations;
};

std::vector<std::string> pathsOf(const List &list)
{
    std::vector<std::string> paths;
    for (const auto &destination : list)
        paths.push_back(destination->destinationPath());
    return paths;
}

class Defaults : public ::testing::Test {
protected:
    std::string file() const { return m_dir / "ferrydeck/preferences.json"; }
    Dictionary onDisk() const { return Dictionary::parse(readFile(file())); }

    TempDir m_dir;
    EnvironmentGuard m_home{"HOME", "/home/operator"};
};

} // namespace

TEST_F(Defaults, FirstStartLoadsNothingAndShowsTheInitialTexts)
{
    AppRun run(file());
    EXPECT_TRUE(run.destinations.empty());
    EXPECT_EQ(*run.settings.createPresetDictionary(), *FerrydeckSettings(4).createPresetDictionary());
    const auto texts = DefaultsPersistence::windowTexts(run.settings);
    EXPECT_EQ(texts.logDirectory, "/home/operator");
    EXPECT_EQ(texts.renameCard, "");

    // What was already in the controller's list stays first.
    const List existing{std::make_shared<OffloadDestination>("/already")};
    EXPECT_EQ(pathsOf(DefaultsPersistence::loadDefaults(run.store, run.settings, existing)),
              std::vector<std::string>{"/already"});
}

// An unreadable record is still a destination, as the record makes it; a gap ends the list.
TEST_F(Defaults, DamagedOrGappedListLoadsWhatCanBeReadAndTheNextSaveRewritesIt)
{
    writeFile(file(), R"({"destination_4": {"destinationPath": "/e"}, "destination_1": "not a record",
                          "destination_0": {"destinationPath": "/a", "inUse": false},
                          "destination_2": {"destinationPath": "/c"}, "my destinations note": "stale",
                          "presets": {"ejectCard": true, "renameCounter": [1, 2], "logText": "/logs"}})");
    AppRun run(file());
    ASSERT_EQ(pathsOf(run.destinations), (std::vector<std::string>{"/a", "", "/c"}));
    EXPECT_FALSE(run.destinations[0]->inUse());
    EXPECT_TRUE(run.destinations[1]->inUse());
    EXPECT_TRUE(run.settings.ejectCard());
    EXPECT_EQ(run.settings.renameCounter(), 1);
    EXPECT_EQ(run.settings.textLogDirectory(), "/logs");

    ASSERT_TRUE(DefaultsPersistence::saveDefaults(run.store, run.settings, run.destinations, std::nullopt));
    const Dictionary saved = onDisk();
    std::vector<std::string> keys;
    for (const auto &[key, value] : saved.items())
        keys.push_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"presets", "destination_0", "destination_1", "destination_2"}));
    EXPECT_EQ(saved["destination_0"], (Dictionary{{"destinationPath", "/a"}, {"inUse", false}}));
}

TEST_F(Defaults, ThreadCountIsStoredAsSetAndBoundedInMemoryOnlyAfterSaving)
{
    AppRun run(file());
    run.settings.setAmountOfCopyThreads(16);
    const DefaultsPersistence::WindowTexts texts{"A001_", "Shoot", "PRE_", "_SUF", "/srv/logs"};
    ASSERT_TRUE(DefaultsPersistence::saveDefaults(run.store, run.settings, {}, texts));
    EXPECT_EQ(onDisk()["presets"]["amountOfThreads"], 16);
    EXPECT_EQ(run.settings.amountOfCopyThreads(), 10);
    EXPECT_EQ(run.settings.textPrefix(), "PRE_");

    AppRun next(file());
    EXPECT_EQ(next.settings.amountOfCopyThreads(), 16);
    const auto shown = DefaultsPersistence::windowTexts(next.settings);
    EXPECT_EQ(std::tie(shown.renameCard, shown.customName, shown.prefix, shown.suffix, shown.logDirectory),
              std::tie(texts.renameCard, texts.customName, texts.prefix, texts.suffix, texts.logDirectory));
}
