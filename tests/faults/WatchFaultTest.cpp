#include "support/CardFixtures.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>

using namespace ferrydeck::test;

// The ingest station asked to reformat: a card whose copy fails must keep
// every file, and the station goes on serving.
TEST(WatchFaults, ACardWhoseCopyFailsIsNeverReformattedOrEjected)
{
    TempDir dir;
    makeDirectory(dir / "dest");
    const auto watch =
        startWatch(dir, {"--dest", dir / "dest", "--verify", "contents", "--reformat", "--yes", "--eject", "--json"},
                   faultEnvironment("write-enospc", "*/dest/CARD/*", 10));
    const BuiltCard reference = buildCard(CardKind::CanonEos, dir / "reference");
    const BuiltCard card = insertCard(CardKind::CanonEos, dir / "staging/CARD", dir / "media/CARD");
    ASSERT_TRUE(waitFor([&] { return !watch->out().empty() || !watch->running(); }));
    watch->signal(SIGINT);
    const CliRun::Result result = watch->wait();
    EXPECT_EQ(result.exitCode, 1) << result.err;

    EXPECT_EQ(nlohmann::json::parse(result.out)["status"], "Error");
    for (size_t i = 0; i < card.clips.size(); ++i)
        EXPECT_EQ(readFile(card.clips[i]), readFile(reference.clips[i])) << card.clips[i];
    EXPECT_FALSE(exists(dir / "media/.ejected"));
    EXPECT_EQ(result.err.find("Reformat Warning"), std::string::npos);
}
