#include "CliRun.h"
#include "support/CardFixtures.h"
#include "support/ChildProcess.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <cstdio>

using namespace ferrydeck::test;

// The ingest station asked to reformat: a card whose copy fails must keep
// every file, and the station goes on serving.
TEST(WatchFaults, ACardWhoseCopyFailsIsNeverReformattedOrEjected)
{
    TempDir dir;
    for (const char *folder : {"media", "dest"})
        makeDirectory(dir / folder);
    std::map<std::string, std::string> environment{{"FERRYDECK_MEDIA_ROOT", dir / "media"},
                                                   {"XDG_STATE_HOME", dir / "state"}};
    for (const std::string &entry : faultEnvironment("write-enospc", "*/dest/CARD/*", 10)) {
        const auto equals = entry.find('=');
        environment[entry.substr(0, equals)] = entry.substr(equals + 1);
    }
    ChildProcess watch({FERRYDECK_CLI_PATH, "watch", "--dest", dir / "dest", "--verify", "contents", "--reformat",
                        "--yes", "--eject", "--json"},
                       environment, dir.path());
    ASSERT_TRUE(waitFor([&] { return watch.standardError().find("Watching") != std::string::npos; }))
        << watch.standardError();

    const BuiltCard staged = buildCard(CardKind::CanonEos, dir / "staging/CARD");
    std::vector<std::string> originals;
    for (const std::string &clip : staged.clips)
        originals.push_back(readFile(clip));
    ASSERT_EQ(std::rename(staged.root.c_str(), (dir / "media/CARD").c_str()), 0);
    ASSERT_TRUE(waitFor([&] { return !watch.standardOutput().empty() || !watch.running(); }));
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 1) << watch.standardError();

    const auto job = nlohmann::json::parse(watch.standardOutput());
    EXPECT_EQ(job["status"], "Error");
    for (size_t i = 0; i < staged.clips.size(); ++i) {
        const std::string onCard = dir / "media/CARD" + staged.clips[i].substr(staged.root.size());
        EXPECT_EQ(readFile(onCard), originals[i]) << onCard;
    }
    EXPECT_FALSE(exists(dir / "media/.ejected"));
    EXPECT_EQ(watch.standardError().find("Reformat Warning"), std::string::npos);
}
