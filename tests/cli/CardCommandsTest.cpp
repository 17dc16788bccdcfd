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
    args.insert(args.begin(), FERRYDECK_CLI_PATH);
    Process::Result result = Process::run(args, Process::Output::Capture);
    ::unsetenv("FERRYDECK_MEDIA_ROOT");
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

    buildCard(CardKind::CanonEos, media / "EOS");
    const Process::Result done = cli(media.path(), {"reformat", "--yes", media / "EOS"});
    EXPECT_EQ(done.exitCode, 0);
    EXPECT_NE(done.output.find("Canon EOS"), std::string::npos);
    EXPECT_EQ(listTree(media / "EOS"),
              (std::vector<std::string>{"DCIM/", "DCIM/100CANON/", "MISC/", "MISC/CANONMSC.DAT 8"}));
}
