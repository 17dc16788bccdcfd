// What a new user tries first: a fresh window's preferences.
#include "controller/DefaultsPersistence.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace ferrydeck;
using namespace ferrydeck::test;

// A window opened once and closed writes its defaults: custom naming with no
// name, which copies straight into the destination, as the window does.
TEST(CliHabits, SavedPreferencesOfAFreshWindowOffloadAsTheWindowWould)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    makeDirectory(dir / "dest");
    makeDirectory(dir / "config");
    PreferencesStore store(dir / "config/preferences.json");
    FerrydeckSettings fresh(2);
    ASSERT_TRUE(DefaultsPersistence::saveDefaults(store, fresh, {std::make_shared<OffloadDestination>(dir / "dest")},
                                                  DefaultsPersistence::windowTexts(fresh)));

    const CliRun::Result run = runCli({"offload", dir / "card", "--saved", "--json"},
                                      {{"FERRYDECK_CONFIG_DIR", dir / "config"}, {"XDG_STATE_HOME", dir / "state"}});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto jobs = jsonLines(run.out);
    ASSERT_EQ(jobs.size(), 1u);
    EXPECT_EQ(jobs[0]["destination"], dir / "dest/card");
    EXPECT_EQ(readFile(dir / "dest/card/A.MOV"), "a");
    // Asked for on the command line, the custom scheme still needs its name.
    EXPECT_EQ(runCli({"offload", dir / "card", "--dest", dir / "dest", "--scheme", "custom"}).exitCode, 2);
}
