#include "fsutil/Process.h"
#include "support/TestFiles.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <cstdlib>

using ferrydeck::Process;
using ferrydeck::test::makeDirectory;
using ferrydeck::test::TempDir;
using ferrydeck::test::writeFile;

namespace {

Process::Result volumes(const std::string &mediaRoot, std::vector<std::string> args)
{
    ::setenv("FERRYDECK_MEDIA_ROOT", mediaRoot.c_str(), 1);
    args.insert(args.begin(), {FERRYDECK_CLI_PATH, "volumes"});
    Process::Result result = Process::run(args, Process::Output::Capture);
    ::unsetenv("FERRYDECK_MEDIA_ROOT");
    return result;
}

} // namespace

TEST(CliVolumes, ListsCardsAndLocalVolumesAsJson)
{
    TempDir root;
    makeDirectory(root / "CARD_B");
    makeDirectory(root / "A \"quoted\" card");
    makeDirectory(root / ".ejected/OLD");
    writeFile(root / "stray.txt", "x");

    const Process::Result result = volumes(root.path(), {"--json"});
    ASSERT_EQ(result.exitCode, 0);
    const nlohmann::json document = nlohmann::json::parse(result.output);
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
}

TEST(CliVolumes, PrintsATableAndRefusesAMissingMediaRoot)
{
    TempDir root;
    makeDirectory(root / "CARD_A");
    const Process::Result table = volumes(root.path(), {});
    ASSERT_EQ(table.exitCode, 0);
    EXPECT_NE(table.output.find("Removable volumes:\n  removable  CARD_A"), std::string::npos) << table.output;
    EXPECT_NE(table.output.find("Local volumes:"), std::string::npos);

    const Process::Result empty = volumes(root / "CARD_A", {"--json"});
    EXPECT_EQ(nlohmann::json::parse(empty.output)["removable"], nlohmann::json::array());

    EXPECT_EQ(volumes(root / "missing", {"--json"}).exitCode, 2);
    EXPECT_EQ(volumes(root.path(), {"--bogus"}).exitCode, 2);
}
