// The offload command as scripts meet it: saved preferences, a fresh window's too.
#include "controller/DefaultsPersistence.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

CliRun::Result offload(const TempDir &dir, std::vector<std::string> args)
{
    args.insert(args.begin(), "offload");
    return runCli(args, {{"FERRYDECK_CONFIG_DIR", dir / "config"}, {"XDG_STATE_HOME", dir / "state"}});
}

std::string savePreferences(const TempDir &dir)
{
    makeDirectory(dir / "config");
    PreferencesStore store(dir / "config/preferences.json");
    FerrydeckSettings settings(2);
    settings.setNamingConventionIndex(2); // card name, in the popup's order
    settings.setVerificationOption(FerrydeckSettings::kVerifyByContents);
    settings.setAutoSaveLogs(true);
    settings.setLogOptionIndex(1); // into the copy
    settings.setAddPrefix(true);
    settings.setTextPrefix("P_");
    auto ticked = std::make_shared<OffloadDestination>(dir / "one");
    auto unticked = std::make_shared<OffloadDestination>(dir / "two");
    unticked->setInUse(false);
    EXPECT_TRUE(DefaultsPersistence::saveDefaults(store, settings, {ticked, unticked}, std::nullopt));
    return readFile(store.filePath());
}

} // namespace

TEST(OffloadSession, SavedPreferencesGiveDestinationsAndOptionsAndAreNeverWritten)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    makeDirectory(dir / "one");
    makeDirectory(dir / "two");
    makeDirectory(dir / "three");
    const std::string before = savePreferences(dir);
    const ino_t inode = statOf(dir / "config/preferences.json").st_ino;

    auto run = offload(dir, {dir / "card", "--saved", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    auto jobs = jsonLines(run.out);
    ASSERT_EQ(jobs.size(), 1u); // the unticked destination is left out
    EXPECT_EQ(jobs[0]["destination"], dir / "one/P_card/card");
    EXPECT_EQ(jobs[0]["log"], dir / "one/P_card/card/card.txt");

    // A flag given on the command line wins; --dest adds to the saved list.
    run = offload(dir, {dir / "card", "--saved", "--scheme", "none", "--dest", dir / "three", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    jobs = jsonLines(run.out);
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[0]["destination"], dir / "one/card");
    EXPECT_EQ(jobs[1]["destination"], dir / "three/card");

    EXPECT_EQ(readFile(dir / "config/preferences.json"), before);
    EXPECT_EQ(statOf(dir / "config/preferences.json").st_ino, inode);
}

TEST(OffloadSession, DamagedSavedPreferencesAreLeftWhereTheyAre)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    writeFile(dir / "config/preferences.json", "{ not json");
    const auto run = offload(dir, {dir / "card", "--saved"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find("no destination given"), std::string::npos) << run.err;
    EXPECT_EQ(readFile(dir / "config/preferences.json"), "{ not json");
    EXPECT_FALSE(exists(dir / "config/preferences.json.bad"));
}

// A window opened once and closed writes its defaults: custom naming with no
// name, which copies straight into the destination, as the window does.
TEST(OffloadSession, AFreshWindowsPreferencesOffloadAsTheWindowWould)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    makeDirectory(dir / "dest");
    makeDirectory(dir / "config");
    PreferencesStore store(dir / "config/preferences.json");
    FerrydeckSettings fresh(2);
    ASSERT_TRUE(DefaultsPersistence::saveDefaults(store, fresh, {std::make_shared<OffloadDestination>(dir / "dest")},
                                                  DefaultsPersistence::windowTexts(fresh)));
    const CliRun::Result run = offload(dir, {dir / "card", "--saved", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto jobs = jsonLines(run.out);
    ASSERT_EQ(jobs.size(), 1u);
    EXPECT_EQ(jobs[0]["destination"], dir / "dest/card");
    EXPECT_EQ(readFile(dir / "dest/card/A.MOV"), "a");
}
