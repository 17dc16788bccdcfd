#include "FaultChecks.h"
#include "support/CardFixtures.h"
#include "support/CliRun.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <csignal>
#include <filesystem>

using namespace ferrydeck::test;

// A folder of the card that cannot be opened (a damaged directory block, a
// folder the user may not read) must not leave a silent gap: the readable
// rest is still copied and verified, the job ends as Error naming the folder
// in its log and on standard error, and the card stays as it was.
TEST(ListingFaults, AFolderThatCannotBeOpenedEndsTheJobAsErrorNamingIt)
{
    TempDir dir;
    writeSizedFile(dir / "card/A.MOV", 200000, 1);
    writeSizedFile(dir / "card/CLIPS/B.MOV", 300000, 2);
    writeSizedFile(dir / "card/CLIPS/deeper/C.MOV", 1000, 3);
    makeDirectory(dir / "dest");
    makeDirectory(dir / "logs");
    const TreeSnapshot before = snapshotTree(dir / "card");

    for (const char *verify : {"size", "contents"}) {
        SCOPED_TRACE(verify);
        const CliRun::Result result = runCli({"offload", dir / "card", "--dest", dir / "dest", "--verify", verify,
                                              "--log-dir", dir / "logs", "--log-detail", "verbose", "--json"},
                                             faultEnvironment("open-eacces", "*/card/CLIPS"));
        ASSERT_FALSE(result.timedOut) << result.err;
        EXPECT_EQ(result.exitCode, 1) << result.err;
        EXPECT_NE(result.err.find(dir / "card/CLIPS"), std::string::npos) << result.err;

        auto jobs = jobsBySource(result.out);
        ASSERT_EQ(jobs.size(), 1u) << result.out;
        const auto &job = jobs[dir / "card"];
        EXPECT_EQ(job["status"], "Error");
        ASSERT_TRUE(job["log"].is_string()) << result.out;
        const std::string log = readFile(job["log"]);
        EXPECT_NE(log.find("Comparing \"" + dir / "card/CLIPS" + "\""), std::string::npos) << log;
        EXPECT_EQ(log.find("Offload Verified"), std::string::npos) << log;
        EXPECT_EQ(expectVerifiedCopiesIdentical(log), 1u) << log; // A.MOV, the only file it could see
    }
    EXPECT_EQ(snapshotTree(dir / "card"), before);
}

// A destination that is the card, or lies on it, in any spelling is refused
// before anything is written; one folder named twice is one destination.
TEST(SourceSafety, DestinationsAreComparedAsTheFileSystemReachesThem)
{
    TempDir dir;
    writeSizedFile(dir / "card/DCIM/A.JPG", 1000, 1);
    makeDirectory(dir / "other");
    makeDirectory(dir / "dest");
    ASSERT_EQ(::symlink((dir / "card/DCIM").c_str(), (dir / "link-to-card").c_str()), 0);
    ASSERT_EQ(::symlink((dir / "dest").c_str(), (dir / "link-to-dest").c_str()), 0);
    const TreeSnapshot before = snapshotTree(dir / "card");

    for (const std::string &onCard : {dir / "other/../card/DCIM", dir / "link-to-card", dir / "card/./DCIM/.."}) {
        const CliRun::Result refused = runCli({"offload", dir / "card", "--dest", onCard, "--json"});
        EXPECT_EQ(refused.exitCode, 2) << onCard << ": " << refused.err;
    }
    EXPECT_EQ(snapshotTree(dir / "card"), before);

    const CliRun::Result once = runCli({"offload", dir / "card", "--dest", dir / "dest", "--dest", dir / "link-to-dest",
                                        "--dest", dir / "other/../dest/", "--json"});
    EXPECT_EQ(once.exitCode, 0) << once.err;
    EXPECT_EQ(jsonLines(once.out).size(), 1u) << once.out;
    EXPECT_FALSE(std::filesystem::exists(dir / "dest/card-2")) << "one folder was offloaded to twice";
}

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
