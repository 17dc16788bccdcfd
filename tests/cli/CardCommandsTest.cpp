#include "fsutil/Process.h"
#include "support/CardFixtures.h"
#include "support/TestFiles.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <cstdlib>

using ferrydeck::Process;
using namespace ferrydeck::test;

namespace {

Process::Result cli(const std::string &mediaRoot, std::vector<std::string> args)
{
    ::setenv("FERRYDECK_MEDIA_ROOT", mediaRoot.c_str(), 1);
    // The history of these runs stays beside their simulated cards (a hidden folder is no card).
    ::setenv("XDG_STATE_HOME", (mediaRoot + "/.state").c_str(), 1);
    args.insert(args.begin(), FERRYDECK_CLI_PATH);
    Process::Result result = Process::run(args, Process::Output::Capture);
    ::unsetenv("FERRYDECK_MEDIA_ROOT");
    ::unsetenv("XDG_STATE_HOME");
    return result;
}

nlohmann::json identify(const std::string &mediaRoot, const std::string &path)
{
    const Process::Result result = cli(mediaRoot, {"identify", "--json", path});
    EXPECT_EQ(result.exitCode, 0) << path;
    return nlohmann::json::parse(result.output, nullptr, false);
}

} // namespace

TEST(CliIdentify, NamesTheCardTypeOfADriveOrAClip)
{
    TempDir media;
    TempDir fixed;
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

    const Process::Result missing = cli(media.path(), {"identify", media / "nothing"});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_EQ(missing.output, "");
}

TEST(CliReformat, RefusesAFixedDiskFolderAndReformatsACard)
{
    TempDir media;
    TempDir fixed;
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
    const Process::Result refused = cli(media.path(), {"reformat", "--yes", media / "EOS"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(listTree(media / "EOS"), eos);
    makeDirectory(fixed / "copies");
    EXPECT_EQ(cli(media.path(), {"offload", "--quiet", "--dest", fixed / "copies", media / "EOS"}).exitCode, 0);
    const Process::Result listed = cli(media.path(), {"history", "--json"});
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_NE(listed.output.find("\"status\":\"Completed\""), std::string::npos) << listed.output;
    const Process::Result done = cli(media.path(), {"reformat", "--yes", media / "EOS"});
    EXPECT_EQ(done.exitCode, 0);
    EXPECT_NE(done.output.find("Canon EOS"), std::string::npos);
    const std::vector<std::string> empty{"DCIM/", "DCIM/100CANON/", "MISC/", "MISC/CANONMSC.DAT 8"};
    EXPECT_EQ(listTree(media / "EOS"), empty);

    // --force is the one way past the history, never past "not a card".
    buildCard(CardKind::CanonEos, media / "FORCED");
    EXPECT_EQ(cli(media.path(), {"reformat", "--yes", "--force", media / "FORCED"}).exitCode, 0);
    EXPECT_EQ(listTree(media / "FORCED"), empty);
    EXPECT_EQ(cli(media.path(), {"reformat", "--yes", "--force", media / "PLAIN"}).exitCode, 2);
    EXPECT_EQ(listTree(media / "PLAIN"), plain);
}
