#include "support/CardFixtures.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

using namespace ferrydeck::test;

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
