// The ingest station: `watch` on the simulated card reader.
#include "support/CardFixtures.h"
#include "support/ChildProcess.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <cstdio>
#include <sstream>

using namespace ferrydeck::test;

namespace {

size_t lineCount(const std::string &text)
{
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

TEST(WatchCommand, ANewCardIsOffloadedVerifiedReformattedAndEjectedAndSigintStopsCleanly)
{
    TempDir dir;
    for (const char *folder : {"media", "one", "two", "logs"})
        makeDirectory(dir / folder);
    const BuiltCard early = buildCard(CardKind::P2, dir / "media/EARLY");
    ChildProcess watch({FERRYDECK_CLI_PATH, "watch", "--dest", dir / "one", "--dest", dir / "two", "--verify",
                        "contents", "--reformat", "--yes", "--eject", "--rename", "bad;name", "--log-dir", dir / "logs",
                        "--json"},
                       {{"FERRYDECK_MEDIA_ROOT", dir / "media"}, {"XDG_STATE_HOME", dir / "state"}}, dir.path());

    ASSERT_TRUE(waitFor([&] { return watch.standardError().find("Watching") != std::string::npos; }));
    // A card is mounted whole: build it aside, then let it appear at once.
    const BuiltCard staged = buildCard(CardKind::CanonEos, dir / "staging/CARD");
    std::vector<std::string> originals;
    for (const std::string &clip : staged.clips)
        originals.push_back(readFile(clip));
    ASSERT_EQ(std::rename(staged.root.c_str(), (dir / "media/CARD").c_str()), 0);

    ASSERT_TRUE(waitFor([&] { return lineCount(watch.standardOutput()) >= 2 || !watch.running(); }))
        << watch.standardError() << watch.standardOutput();
    ASSERT_TRUE(waitFor([&] { return exists(dir / "media/.ejected/CARD") || !watch.running(); }))
        << watch.standardError() << watch.standardOutput();
    watch.signal(SIGINT);
    ASSERT_EQ(watch.wait(), 0) << watch.standardError();

    const auto jobs = jsonLines(watch.standardOutput());
    ASSERT_EQ(jobs.size(), 2u);
    for (const auto &job : jobs) {
        EXPECT_EQ(job["status"], "Completed");
        EXPECT_EQ(job["source"], dir / "media/CARD");
        for (size_t i = 0; i < staged.clips.size(); ++i) {
            const std::string relative = staged.clips[i].substr(staged.root.size());
            EXPECT_EQ(readFile(job["destination"].get<std::string>() + relative), originals[i]) << relative;
        }
        EXPECT_NE(readFile(job["log"]).find("Offload Verified"), std::string::npos);
    }
    // Reformatted as a Canon card expects, then ejected; the early card was never taken.
    for (const std::string &clip : staged.clips) {
        EXPECT_FALSE(exists(dir / "media/.ejected/CARD" + clip.substr(staged.root.size())));
    }
    EXPECT_TRUE(exists(dir / "media/.ejected/CARD/DCIM"));
    EXPECT_TRUE(exists(dir / "media/.ejected/CARD/MISC"));
    for (const std::string &clip : early.clips)
        EXPECT_TRUE(exists(clip));
    EXPECT_FALSE(exists(dir / "one/EARLY"));

    const std::string errors = watch.standardError();
    EXPECT_NE(errors.find("Reformat Warning: Ferrydeck will attempt to reformat drive"), std::string::npos) << errors;
    EXPECT_NE(errors.find("Rename Card Failure:\nbad;name could not be renamed: Check for illegal characters"),
              std::string::npos)
        << errors;
}

TEST(WatchCommand, WithoutYesTheReformatIsAbortedAndTheCardKeepsItsFiles)
{
    TempDir dir;
    for (const char *folder : {"media", "one"})
        makeDirectory(dir / folder);
    ChildProcess watch({FERRYDECK_CLI_PATH, "watch", "--dest", dir / "one", "--reformat"},
                       {{"FERRYDECK_MEDIA_ROOT", dir / "media"}, {"XDG_STATE_HOME", dir / "state"}}, dir.path());
    ASSERT_TRUE(waitFor([&] { return watch.standardError().find("Watching") != std::string::npos; }));
    const BuiltCard staged = buildCard(CardKind::CanonEos, dir / "staging/CARD");
    ASSERT_EQ(std::rename(staged.root.c_str(), (dir / "media/CARD").c_str()), 0);
    ASSERT_TRUE(waitFor([&] {
        return watch.standardError().find("Reformat attempt was aborted") != std::string::npos || !watch.running();
    }));
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 0);
    for (const std::string &clip : staged.clips) {
        EXPECT_TRUE(exists(dir / "media/CARD" + clip.substr(staged.root.size()))) << clip;
    }
    EXPECT_NE(watch.standardError().find("Error: Reformat attempt was aborted"), std::string::npos);
}

TEST(WatchCommand, RenameIncrementEjectOffloadsEachOfThreeCardsOnce)
{
    TempDir dir;
    for (const char *folder : {"media", "one"})
        makeDirectory(dir / folder);
    ChildProcess watch(
        {FERRYDECK_CLI_PATH, "watch", "--dest", dir / "one", "--rename", "DAY", "--increment", "--eject", "--json"},
        {{"FERRYDECK_MEDIA_ROOT", dir / "media"}, {"XDG_STATE_HOME", dir / "state"}}, dir.path());
    ASSERT_TRUE(waitFor([&] { return watch.standardError().find("Watching") != std::string::npos; }));
    for (int i = 1; i <= 3; ++i) {
        const std::string name = "CARD" + std::to_string(i);
        const BuiltCard staged = buildCard(CardKind::CanonEos, dir / ("staging/" + name));
        ASSERT_EQ(std::rename(staged.root.c_str(), (dir / ("media/" + name)).c_str()), 0);
        const std::string ejected = dir / ("media/.ejected/DAY-" + std::to_string(i));
        ASSERT_TRUE(waitFor([&] { return exists(ejected) || !watch.running(); })) << watch.standardError();
    }
    // Long enough for a few more ticks: nothing is taken again.
    waitFor([] { return false; }, std::chrono::seconds(5));
    watch.signal(SIGINT);
    ASSERT_EQ(watch.wait(), 0) << watch.standardError();
    const auto jobs = jsonLines(watch.standardOutput());
    ASSERT_EQ(jobs.size(), 3u) << watch.standardOutput();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(jobs[i]["source"], dir / ("media/CARD" + std::to_string(i + 1)));
    EXPECT_FALSE(exists(dir / "media/.ejected/DAY-4"));
}
