#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace ferrydeck::test;

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
