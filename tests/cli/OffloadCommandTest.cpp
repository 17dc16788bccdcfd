#include "support/CardFixtures.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

using namespace ferrydeck::test;

namespace {

CliRun::Result offload(std::vector<std::string> args, const Environment &environment = {})
{
    args.insert(args.begin(), "offload");
    return runCli(args, environment);
}

} // namespace

TEST(Cli, HelpVersionAndUsageErrorsHaveStableExitCodes)
{
    const auto help = runCli({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("Usage:"), std::string::npos);
    const auto version = runCli({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out.rfind("ferrydeck-cli ", 0), 0u);
    // The bare command, what a new user tries first, prints the help as a usage error.
    const auto bare = runCli({});
    EXPECT_EQ(bare.exitCode, 2);
    EXPECT_NE(bare.err.find("Usage:"), std::string::npos) << bare.err;
    EXPECT_NE(bare.err.find("offload"), std::string::npos) << bare.err;
    EXPECT_EQ(runCli({"--no-such-flag"}).exitCode, 2);
    EXPECT_EQ(runCli({"no-such-command"}).exitCode, 2);
}

TEST(OffloadCommand, BadInputExitsTwoAndTouchesNothing)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    writeFile(dir / "file.txt", "f");
    makeDirectory(dir / "dest");
    makeDirectory(dir / "card/inner");
    const std::vector<std::vector<std::string>> cases{
        {dir / "card"},                               // no destination
        {dir / "missing", "--dest", dir / "dest"},    // missing source
        {dir / "file.txt", "--dest", dir / "dest"},   // a source that is a file
        {dir / "card", "--dest", dir / "nowhere"},    // a destination that does not exist
        {dir / "card", "--dest", dir / "card"},       // the source itself
        {dir / "card", "--dest", dir / "card/inner"}, // inside the source
        {dir / "card", "--dest", dir / "dest", "--verify", "maybe"},
        {dir / "card", "--dest", dir / "dest", "--threads", "0"},
        {dir / "card", "--dest", dir / "dest", "--scheme", "custom"},
        {dir / "card", "--dest", dir / "dest", "--log-dir", dir / "nologs"},
        {dir / "card", "--dest", dir / "dest", "--log-dir", dir / "dest", "--log-in-copy"},
    };
    for (const auto &arguments : cases) {
        const auto result = offload(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments.back();
        EXPECT_TRUE(result.out.empty()) << arguments.back();
    }
    // Where the window would refuse with an alert, its title and message follow the command's own line.
    EXPECT_EQ(offload({dir / "card", "--dest", dir / "card/inner"}).err,
              "ferrydeck-cli: destination " + dir / "card/inner" +
                  " lies inside a source\nError: Directory could not be added for the following reason:\nDirectory " +
                  dir / "card" +
                  " is listed as a offload destination.  A directory cannot be both a source and a destination.\n"
                  "Please correct the above error & try again\n");
    EXPECT_TRUE(listFolder(dir / "dest").empty());
    EXPECT_TRUE(listFolder(dir / "card/inner").empty());
    EXPECT_FALSE(exists(dir / "nowhere"));
}

TEST(OffloadCommand, TwoDestinationsGetVerifiedCopiesAndOneLogPerJob)
{
    TempDir dir;
    writeSizedFile(dir / "card/CLIP/A.MOV", 400000, 1);
    writeSizedFile(dir / "card/CLIP/deep/er/B.MOV", 1000, 2);
    writeFile(dir / "card/$(touch pwned); 'q\"`.MOV", "hostile");
    writeFile(dir / "card/-n", "dash");
    writeFile(dir / "card/.hidden", "not copied");
    for (const char *folder : {"one", "two", "logs"})
        makeDirectory(dir / folder);
    // Run in the test's folder, where a name that reached a shell would leave "pwned".
    const auto result =
        runCli({"offload", dir / "card", "--dest", dir / "one", "--dest", dir / "two", "--verify", "contents",
                "--scheme", "card", "--prefix", "A_", "--log-dir", dir / "logs", "--json", "--threads", "3"},
               {}, dir.path());
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto jobs = jsonLines(result.out);
    ASSERT_EQ(jobs.size(), 2u);
    std::vector<std::string> logs;
    for (const auto &job : jobs) {
        EXPECT_EQ(job["status"], "Completed");
        EXPECT_EQ(job["files"], 4);
        const std::string copy = job["destination"];
        for (const std::string name : {"CLIP/A.MOV", "CLIP/deep/er/B.MOV", "$(touch pwned); 'q\"`.MOV", "-n"}) {
            EXPECT_EQ(readFile(copy + "/" + name), readFile(dir / ("card/" + name))) << name;
        }
        EXPECT_FALSE(exists(copy + "/.hidden"));
        logs.push_back(job["log"]);
        EXPECT_NE(readFile(logs.back()).find("Offload Verified"), std::string::npos);
    }
    EXPECT_EQ(jobs[0]["destination"], dir / "one/A_card/card");
    EXPECT_EQ(jobs[1]["destination"], dir / "two/A_card/card");
    EXPECT_NE(logs[0], logs[1]);
    EXPECT_EQ(listFolder(dir / "logs").size(), 2u);
    EXPECT_FALSE(exists(dir / "pwned"));
}

TEST(OffloadCommand, LogInCopyAndConsecutiveNumbersAcrossRuns)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    makeDirectory(dir / "dest");
    const auto first = offload(
        {dir / "card", "--dest", dir / "dest", "--scheme", "number", "--number", "9", "--log-in-copy", "--quiet"});
    EXPECT_EQ(first.exitCode, 0);
    EXPECT_TRUE(first.out.empty());
    EXPECT_TRUE(exists(dir / "dest/09/card/card.txt"));
    const auto second =
        offload({dir / "card", "--dest", dir / "dest", "--scheme", "number", "--number", "9", "--log-in-copy"});
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_TRUE(exists(dir / "dest/09/card-2/card-2.txt"));
    EXPECT_NE(second.out.find("Completed: " + dir / "card"), std::string::npos);
}

// A log folder on a read-only file system: the log goes to the state folder
// and the command says where, on standard error and in its JSON line.
TEST(OffloadCommand, LogThatCannotBeWrittenWhereAskedGoesToTheStateFolder)
{
    if (::geteuid() != 0) GTEST_SKIP() << "mounting a read-only log folder needs root";
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    makeDirectory(dir / "dest");
    makeDirectory(dir / "logs");
    if (::mount("tmpfs", (dir / "logs").c_str(), "tmpfs", MS_RDONLY, "size=16k") != 0)
        GTEST_SKIP() << "cannot mount a tmpfs here: " << std::strerror(errno);
    const auto result = offload({dir / "card", "--dest", dir / "dest", "--log-dir", dir / "logs", "--json"},
                                {{"XDG_STATE_HOME", dir / "state"}});
    ::umount((dir / "logs").c_str());
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const std::string saved = dir / "state/ferrydeck/logs/card.txt";
    EXPECT_EQ(nlohmann::json::parse(result.out)["log"], saved);
    EXPECT_NE(result.err.find("saved as \"" + saved + "\""), std::string::npos) << result.err;
    EXPECT_NE(readFile(saved).find("Offload Verified"), std::string::npos);
}

// `copy` is `offload` of one folder to one destination; offload's own tests
// and the fault table cover the checks and the reports, these the mapping of
// its arguments.
TEST(CopyCommand, CopiesIntoAFreshFolderEachRunWithOffloadsReport)
{
    TempDir dir;
    writeSizedFile(dir / "card/CLIP/A.MOV", 300000, 1);
    writeSizedFile(dir / "card/B.MOV", 1000, 2);
    makeDirectory(dir / "dest");
    const auto first = runCli({"copy", dir / "card", dir / "dest", "--verify", "contents", "--threads", "2"});
    EXPECT_EQ(first.exitCode, 0) << first.err;
    EXPECT_NE(first.out.find("Completed: " + (dir / "card") + " -> " + (dir / "dest/card")), std::string::npos)
        << first.out;
    EXPECT_EQ(readFile(dir / "dest/card/CLIP/A.MOV"), readFile(dir / "card/CLIP/A.MOV"));

    const auto second = runCli({"copy", dir / "card", dir / "dest", "--json", "--log-in-copy"});
    ASSERT_EQ(second.exitCode, 0) << second.err;
    const auto lines = jsonLines(second.out);
    ASSERT_EQ(lines.size(), 1u) << second.out;
    EXPECT_EQ(lines[0]["status"], "Completed");
    EXPECT_EQ(lines[0]["destination"], dir / "dest/card-2");
    EXPECT_EQ(lines[0]["files"], 2);
    EXPECT_NE(readFile(lines[0]["log"]).find("Verification Status:Offload Verified"), std::string::npos);

    // What offload takes and copy does not: a naming scheme, a second or the same folder.
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"copy", dir / "card"},
                                                      {"copy", dir / "card", dir / "card"},
                                                      {"copy", dir / "card", dir / "dest", "--scheme", "card"}})
        EXPECT_EQ(runCli(arguments).exitCode, 2) << arguments.back();
    EXPECT_FALSE(exists(dir / "dest/card-3"));
}

namespace {

// The card reader is simulated by a media root; the history of these runs
// stays beside the simulated cards (a hidden folder is no card).
CliRun::Result cli(const std::string &mediaRoot, const std::vector<std::string> &args)
{
    return runCli(args, {{"FERRYDECK_MEDIA_ROOT", mediaRoot}, {"XDG_STATE_HOME", mediaRoot + "/.state"}});
}

nlohmann::json identify(const std::string &mediaRoot, const std::string &path)
{
    const CliRun::Result result = cli(mediaRoot, {"identify", "--json", path});
    EXPECT_EQ(result.exitCode, 0) << path;
    return nlohmann::json::parse(result.out, nullptr, false);
}

} // namespace

TEST(CliIdentify, NamesTheCardTypeOfADriveOrAClip)
{
    TempDir media, fixed;
    const BuiltCard card = buildCard(CardKind::JvcMp4, media / "CARD_A");
    buildCard(CardKind::JvcMp4, fixed / "COPY");

    const nlohmann::json drive = identify(media.path(), media / "CARD_A/PRIVATE/../");
    EXPECT_EQ(drive,
              (nlohmann::json{{"path", media / "CARD_A"}, {"kind", "drive"}, {"type", 6}, {"title", "JVC-MP4"}}));
    const nlohmann::json clip = identify(media.path(), card.clips.front());
    EXPECT_EQ(clip["kind"], "file");
    EXPECT_EQ(clip["type"], 6);
    const nlohmann::json folder = identify(media.path(), fixed / "COPY");
    EXPECT_EQ(folder["kind"], "folder");
    EXPECT_EQ(folder["title"], "Volume");

    const CliRun::Result missing = cli(media.path(), {"identify", media / "nothing"});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_EQ(missing.out, "");
}

TEST(CliReformat, RefusesAFixedDiskFolderAndReformatsACard)
{
    TempDir media, fixed;
    buildCard(CardKind::P2, fixed / "P2");
    const auto before = listTree(fixed.path());
    EXPECT_EQ(cli(media.path(), {"reformat", "--yes", fixed / "P2"}).exitCode, 2);
    EXPECT_EQ(listTree(fixed.path()), before);

    buildCard(CardKind::QuickTime, media / "PLAIN");
    const auto plain = listTree(media / "PLAIN");
    EXPECT_EQ(cli(media.path(), {"reformat", "--yes", media / "PLAIN"}).exitCode, 2);
    EXPECT_EQ(listTree(media / "PLAIN"), plain);

    // A card is reformatted only once the history shows verified copies of all it holds.
    buildCard(CardKind::CanonEos, media / "EOS");
    const auto eos = listTree(media / "EOS");
    const CliRun::Result refused = cli(media.path(), {"reformat", "--yes", media / "EOS"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(listTree(media / "EOS"), eos);
    makeDirectory(fixed / "copies");
    EXPECT_EQ(cli(media.path(), {"offload", "--quiet", "--dest", fixed / "copies", media / "EOS"}).exitCode, 0);
    const CliRun::Result listed = cli(media.path(), {"history", "--json"});
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_NE(listed.out.find("\"status\":\"Completed\""), std::string::npos) << listed.out;
    const CliRun::Result done = cli(media.path(), {"reformat", "--yes", media / "EOS"});
    EXPECT_EQ(done.exitCode, 0);
    EXPECT_NE(done.out.find("Canon EOS"), std::string::npos);
    const std::vector<std::string> empty{"DCIM/", "DCIM/100CANON/", "MISC/", "MISC/CANONMSC.DAT 8"};
    EXPECT_EQ(listTree(media / "EOS"), empty);

    // --force is the one way past the history, never past "not a card".
    buildCard(CardKind::CanonEos, media / "FORCED");
    EXPECT_EQ(cli(media.path(), {"reformat", "--yes", "--force", media / "FORCED"}).exitCode, 0);
    EXPECT_EQ(listTree(media / "FORCED"), empty);
    EXPECT_EQ(cli(media.path(), {"reformat", "--yes", "--force", media / "PLAIN"}).exitCode, 2);
    EXPECT_EQ(listTree(media / "PLAIN"), plain);
}

TEST(CliVolumes, ListsCardsAndLocalVolumesAsJsonOrATableAndRefusesAMissingMediaRoot)
{
    TempDir root;
    makeDirectory(root / "CARD_B");
    makeDirectory(root / "A \"quoted\" card");
    makeDirectory(root / ".ejected/OLD");
    writeFile(root / "stray.txt", "x");

    const CliRun::Result result = cli(root.path(), {"volumes", "--json"});
    ASSERT_EQ(result.exitCode, 0);
    const nlohmann::json document = nlohmann::json::parse(result.out);
    const nlohmann::json expectedRemovable = {
        {{"path", root / "A \"quoted\" card"},
         {"name", "A \"quoted\" card"},
         {"kind", "removable"},
         {"mountType", 10001}},
        {{"path", root / "CARD_B"}, {"name", "CARD_B"}, {"kind", "removable"}, {"mountType", 10001}}};
    EXPECT_EQ(document["removable"], expectedRemovable);

    std::vector<std::string> localPaths;
    for (const auto &volume : document["local"]) {
        EXPECT_EQ(volume["kind"], "local");
        localPaths.push_back(volume["path"]);
    }
    EXPECT_TRUE(std::is_sorted(localPaths.begin(), localPaths.end()));
    EXPECT_NE(std::find(localPaths.begin(), localPaths.end(), "/"), localPaths.end());
    EXPECT_NE(std::find(localPaths.begin(), localPaths.end(), root / "CARD_B"), localPaths.end());

    const CliRun::Result table = cli(root.path(), {"volumes"});
    ASSERT_EQ(table.exitCode, 0);
    EXPECT_NE(table.out.find("Removable volumes:\n  removable  A \"quoted\" card "), std::string::npos) << table.out;
    EXPECT_NE(table.out.find("\n  removable  CARD_B "), std::string::npos) << table.out;
    EXPECT_NE(table.out.find("Local volumes:"), std::string::npos);
    const CliRun::Result empty = cli(root / "CARD_B", {"volumes", "--json"});
    EXPECT_EQ(nlohmann::json::parse(empty.out)["removable"], nlohmann::json::array());
    EXPECT_EQ(cli(root / "missing", {"volumes", "--json"}).exitCode, 2);
    EXPECT_EQ(cli(root.path(), {"volumes", "--bogus"}).exitCode, 2);
}
