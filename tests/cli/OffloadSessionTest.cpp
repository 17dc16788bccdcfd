// The offload command as scripts meet it: saved preferences and interruption.
#include "controller/DefaultsPersistence.h"

#include <unistd.h>
#include "support/ChildProcess.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <csignal>
#include <sstream>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

int runCli(const TempDir &dir, std::vector<std::string> args, std::string &out, std::string &err)
{
    args.insert(args.begin(), {FERRYDECK_CLI_PATH, "offload"});
    ChildProcess child(args, {{"FERRYDECK_CONFIG_DIR", dir / "config"}}, dir.path());
    const int code = child.wait();
    out = child.standardOutput();
    err = child.standardError();
    return code;
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
    struct stat beforeStat {};
    ASSERT_EQ(::stat((dir / "config/preferences.json").c_str(), &beforeStat), 0);

    std::string out, err;
    ASSERT_EQ(runCli(dir, {dir / "card", "--saved", "--json"}, out, err), 0) << err;
    auto jobs = jsonLines(out);
    ASSERT_EQ(jobs.size(), 1u); // the unticked destination is left out
    EXPECT_EQ(jobs[0]["destination"], dir / "one/P_card/card");
    EXPECT_EQ(jobs[0]["log"], dir / "one/P_card/card/card.txt");

    // A flag given on the command line wins; --dest adds to the saved list.
    ASSERT_EQ(runCli(dir, {dir / "card", "--saved", "--scheme", "none", "--dest", dir / "three", "--json"}, out, err),
              0)
        << err;
    jobs = jsonLines(out);
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[0]["destination"], dir / "one/card");
    EXPECT_EQ(jobs[1]["destination"], dir / "three/card");

    struct stat afterStat {};
    ASSERT_EQ(::stat((dir / "config/preferences.json").c_str(), &afterStat), 0);
    EXPECT_EQ(readFile(dir / "config/preferences.json"), before);
    EXPECT_EQ(afterStat.st_ino, beforeStat.st_ino);
}

TEST(OffloadSession, DamagedSavedPreferencesAreLeftWhereTheyAre)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    writeFile(dir / "config/preferences.json", "{ not json");
    std::string out, err;
    EXPECT_EQ(runCli(dir, {dir / "card", "--saved"}, out, err), 2);
    EXPECT_NE(err.find("no destination given"), std::string::npos) << err;
    EXPECT_EQ(readFile(dir / "config/preferences.json"), "{ not json");
    EXPECT_FALSE(exists(dir / "config/preferences.json.bad"));
}

TEST(OffloadSession, InterruptCancelsTheJobsWritesTheirLogsAndExitsOne)
{
    TempDir dir;
    for (int i = 0; i < 1500; ++i)
        writeSizedFile(dir / ("card/C" + std::to_string(i) + ".MOV"), 32768, i);
    makeDirectory(dir / "one");
    makeDirectory(dir / "two");
    makeDirectory(dir / "logs");
    ChildProcess child({FERRYDECK_CLI_PATH, "offload", dir / "card", "--dest", dir / "one", "--dest", dir / "two",
                        "--verify", "contents", "--threads", "1", "--log-dir", dir / "logs", "--json"},
                       {}, dir.path());
    ASSERT_TRUE(waitFor([&] { return exists(dir / "one/card/C0.MOV") || !child.running(); }));
    ASSERT_TRUE(child.running()) << "finished before it could be interrupted";
    child.signal(SIGINT);
    EXPECT_EQ(child.wait(), 1) << child.standardError();
    const auto jobs = jsonLines(child.standardOutput());
    ASSERT_EQ(jobs.size(), 2u);
    for (const auto &job : jobs) {
        EXPECT_EQ(job["status"], "Canceled");
        EXPECT_LT(job["files"].get<int>(), 1500);
        ASSERT_TRUE(job["log"].is_string());
        const std::string log = readFile(job["log"]);
        EXPECT_NE(log.find("Offload Canceled"), std::string::npos);
        EXPECT_EQ(log.find("Offload Verified"), std::string::npos);
    }
}
