#include "proof/MhlGenerationWriter.h"
#include "support/CliRun.h"
#include "support/HashTools.h"
#include "support/MhlSchemas.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <set>
#include <sstream>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

CliRun::Result verify(std::vector<std::string> args)
{
    args.insert(args.begin(), "verify");
    return runCli(args);
}

// The report lines naming files, without the summary.
std::set<std::string> reported(const std::string &output)
{
    std::set<std::string> lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);) {
        if (line.find(": ") != std::string::npos && !line.starts_with("sealed: ")) lines.insert(line);
    }
    return lines;
}

// A copy folder as an offload leaves it: clips, a saved log, generation 1.
class VerifyFolder : public ::testing::Test {
protected:
    void SetUp() override
    {
        makeDirectory(root);
        writeSizedFile(root + "/a.mov", 300000, 1);
        writeSizedFile(root + "/Clips/c1.mov", 70000, 2);
        writeSizedFile(root + "/Clips/c2.mov", 1 << 20, 3);
        MhlGenerationWriter writer;
        for (const std::string path : {"a.mov", "Clips/c1.mov", "Clips/c2.mov"}) {
            const std::optional<std::string> value = toolHashOfFile(HashMethod::Xxh64, root + "/" + path);
            if (!value) GTEST_SKIP() << "xxhsum missing (install-deps.sh)";
            writer.addFile(mhl::FileHash{path, readFile(root + "/" + path).size(), std::nullopt, HashMethod::Xxh64,
                                         *value, mhl::Action::Original, 0});
        }
        MhlGenerationWriter::Options options;
        options.ignorePatterns = mhl::logIgnorePatterns("A001");
        std::string error;
        ASSERT_TRUE(writer.writeGeneration(root, options, &error)) << error;
        writeFile(root + "/A001.txt", "the job's log, saved after the history");
    }
    const TempDir dir;
    const std::string root = dir / "A001";
};

} // namespace

TEST_F(VerifyFolder, ReportsExactlyTheChangedMissingAndNewFiles)
{
    const CliRun::Result clean = verify({root});
    EXPECT_EQ(clean.exitCode, 0) << clean.out;
    EXPECT_TRUE(reported(clean.out).empty()) << clean.out;

    // A flipped bit, a deleted and two added files; one name tries to forge a report line.
    std::string clip = readFile(root + "/Clips/c2.mov");
    clip[123456] ^= 0x01;
    writeFile(root + "/Clips/c2.mov", clip);
    ASSERT_EQ(::unlink((root + "/a.mov").c_str()), 0);
    writeFile(root + "/Clips/new.mov", "added later");
    writeFile(root + "/Clips/x\nchanged: forged.mov", "a name that tries to forge a line");
    const CliRun::Result json = verify({root, "--json"});
    EXPECT_EQ(json.exitCode, 1);
    std::map<std::string, std::string> statuses;
    for (const nlohmann::json &line : jsonLines(json.out)) {
        if (line.contains("path")) statuses[line["path"]] = line["status"];
    }
    const std::map<std::string, std::string> expected = {{"Clips/c2.mov", "changed"},
                                                         {"a.mov", "missing"},
                                                         {"Clips/new.mov", "new"},
                                                         {"Clips/x\nchanged: forged.mov", "new"}};
    EXPECT_EQ(statuses, expected) << json.out;
    const std::set<std::string> lines = reported(verify({root}).out);
    EXPECT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines.count("new: Clips/x\\x0achanged: forged.mov"), 1u);
}

TEST_F(VerifyFolder, SealAppendsGenerationsToAValidChain)
{
    writeFile(root + "/Clips/new.mov", "added later");
    std::string clip = readFile(root + "/a.mov");
    clip[0] ^= 0x40;
    writeFile(root + "/a.mov", clip);
    for (int round = 0; round < 2; ++round) {
        const CliRun::Result sealed = verify({root, "--seal"});
        // A changed file stays changed: sealing records it as failed, it
        // does not make the new bytes the proven ones.
        EXPECT_EQ(sealed.exitCode, 1) << sealed.out;
        const std::set<std::string> lines = reported(sealed.out);
        ASSERT_EQ(lines.size(), round == 0 ? 2u : 1u) << sealed.out;
        EXPECT_TRUE(lines.begin()->starts_with("changed: a.mov")) << sealed.out;
    }
    std::vector<std::string> names = listFolder(root + "/ascmhl");
    std::erase_if(names, [](const std::string &name) { return !name.ends_with(".mhl"); });
    ASSERT_EQ(names.size(), 3u);
    EXPECT_TRUE(names[1].starts_with("0002_A001_") && names[2].starts_with("0003_A001_")) << names[2];
    const std::string latest = readFile(root + "/ascmhl/" + names[1]);
    // The changed file failed, the others verified, the new one original.
    for (const char *text :
         {"<process>in-place</process>", "action=\"failed\"", "action=\"verified\"", "action=\"original\""})
        EXPECT_NE(latest.find(text), std::string::npos) << text;

    const std::string chain = readFile(root + "/ascmhl/ascmhl_chain.xml");
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string c4 = *toolHashOfFile(HashMethod::C4, root + "/ascmhl/" + names[i]);
        const std::string listed = "<hashlist sequencenr=\"" + std::to_string(i + 1) + "\">\n    <path>" + names[i] +
                                   "</path>\n    <c4>" + c4 + "</c4>";
        EXPECT_NE(chain.find(listed), std::string::npos) << chain;
    }
    if (const std::optional<std::string> schemas = mhlSchemaFolder()) {
        EXPECT_EQ(schemaErrors(*schemas + "/ASCMHL.xsd", root + "/ascmhl/" + names[2]), "");
        EXPECT_EQ(schemaErrors(*schemas + "/ASCMHLDirectory.xsd", root + "/ascmhl/ascmhl_chain.xml"), "");
    } else {
        GTEST_SKIP() << "schema checks not run: ../shared/ascmhl is absent";
    }
}

TEST(Verify, WithoutHistoryOrFolderSaysSoAndExits2)
{
    const TempDir dir;
    writeFile(dir / "clip.mov", "x");
    for (const std::string &folder : {dir.path(), dir / "absent", dir / "clip.mov"}) {
        const CliRun::Result result = verify({folder});
        EXPECT_EQ(result.exitCode, 2) << folder;
        EXPECT_TRUE(result.out.empty()) << result.out;
    }
}
