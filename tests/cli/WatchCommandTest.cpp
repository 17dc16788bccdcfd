// The ingest station: `watch` on the simulated card reader.
#include "support/CardFixtures.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>

using namespace ferrydeck::test;

TEST(WatchCommand, ANewCardIsOffloadedVerifiedReformattedAndEjectedAndSigintStopsCleanly)
{
    TempDir dir;
    for (const char *folder : {"one", "two", "logs"})
        makeDirectory(dir / folder);
    const BuiltCard early = buildCard(CardKind::P2, dir / "media/EARLY");
    const auto watch =
        startWatch(dir, {"--dest", dir / "one", "--dest", dir / "two", "--verify", "contents", "--reformat", "--yes",
                         "--eject", "--rename", "bad;name", "--increment", "--log-dir", dir / "logs", "--json"});
    // The same card built aside keeps the bytes the reformat takes from the card.
    const BuiltCard reference = buildCard(CardKind::CanonEos, dir / "reference");
    const BuiltCard card = insertCard(CardKind::CanonEos, dir / "staging/CARD", dir / "media/CARD");
    ASSERT_TRUE(waitFor([&] {
        const std::string out = watch->out();
        return std::count(out.begin(), out.end(), '\n') >= 2 || !watch->running();
    }));
    ASSERT_TRUE(waitFor([&] { return exists(dir / "media/.ejected/CARD") || !watch->running(); })) << watch->err();
    watch->signal(SIGINT);
    const CliRun::Result result = watch->wait();
    ASSERT_EQ(result.exitCode, 0) << result.err;

    const auto jobs = jsonLines(result.out);
    ASSERT_EQ(jobs.size(), 2u);
    for (const auto &job : jobs) {
        EXPECT_EQ(job["status"], "Completed");
        EXPECT_EQ(job["source"], dir / "media/CARD");
        for (size_t i = 0; i < card.clips.size(); ++i) {
            const std::string relative = card.clips[i].substr(card.root.size());
            EXPECT_EQ(readFile(job["destination"].get<std::string>() + relative), readFile(reference.clips[i]))
                << relative;
        }
        EXPECT_NE(readFile(job["log"]).find("Offload Verified"), std::string::npos);
    }
    // Reformatted as a Canon card expects, then ejected; the early card was never taken.
    for (const std::string &clip : card.clips)
        EXPECT_FALSE(exists(dir / "media/.ejected/CARD" + clip.substr(card.root.size())));
    EXPECT_TRUE(exists(dir / "media/.ejected/CARD/DCIM"));
    EXPECT_TRUE(exists(dir / "media/.ejected/CARD/MISC"));
    for (const std::string &clip : early.clips)
        EXPECT_TRUE(exists(clip));
    EXPECT_FALSE(exists(dir / "one/EARLY"));
    EXPECT_NE(result.err.find("Reformat Warning: Ferrydeck will attempt to reformat drive"), std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("Rename Card Failure:\nbad;name-1 could not be renamed: Check for illegal characters"),
              std::string::npos)
        << result.err;
}

TEST(WatchCommand, WithoutYesTheReformatIsAbortedAndTheCardKeepsItsFiles)
{
    TempDir dir;
    makeDirectory(dir / "one");
    const auto watch = startWatch(dir, {"--dest", dir / "one", "--reformat"});
    const BuiltCard card = insertCard(CardKind::CanonEos, dir / "staging/CARD", dir / "media/CARD");
    ASSERT_TRUE(waitFor([&] {
        return watch->err().find("Error: Reformat attempt was aborted") != std::string::npos || !watch->running();
    })) << watch->err();
    watch->signal(SIGINT);
    EXPECT_EQ(watch->wait().exitCode, 0);
    for (const std::string &clip : card.clips)
        EXPECT_TRUE(exists(clip)) << clip;
}
