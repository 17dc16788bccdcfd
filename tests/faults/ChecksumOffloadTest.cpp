#include "proof/MhlHistory.h"
#include "support/CliRun.h"
#include "support/HashTools.h"
#include "support/MhlSchemas.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

const std::vector<std::string> kClips = {"A001.MOV", "CLIPS/B002.MOV", "CLIPS/deep/C003.MOV"};

// A card of three clips and an empty folder, copied to two destinations.
// The card sits on a file system of its own where there is one, as in a reader, so that its
// destinations share its reads.
struct ChecksumCard {
    TempDir dir;
    std::optional<TempDir> reader;
    std::string card;
    ChecksumCard()
    {
        if (!otherFileSystem().empty()) reader.emplace(otherFileSystem());
        card = (reader ? *reader : dir) / "card";
        for (size_t i = 0; i < kClips.size(); ++i)
            writeSizedFile(card + "/" + kClips[i], 150000 * (i + 1) + 7, static_cast<unsigned>(i + 1));
        makeDirectory(card + "/EMPTY");
        makeDirectory(dir / "d1");
        makeDirectory(dir / "d2");
    }
    CliRun::Result offload(const std::string &method, const Environment &environment = {}) const
    {
        return runCli({"offload", card, "--dest", dir / "d1", "--dest", dir / "d2", "--verify", method, "--log-in-copy",
                       "--log-detail", "verbose", "--json-files"},
                      environment);
    }
    uint64_t cardBytes() const
    {
        uint64_t total = 0;
        for (const std::string &clip : kClips)
            total += readFile(card + "/" + clip).size();
        return total;
    }
};

CliRun::Result verifyCopy(const std::string &folder)
{
    return runCli({"verify", folder});
}

} // namespace

// Every format proves each copy with a value an independent tool agrees
// with, leaves a valid hash list that a later check matches (the job's own
// log beside it included), and says so per file in the log and the JSON.
TEST(ChecksumOffload, EachFormatRecordsIndependentValuesAndALaterCheckMatches)
{
    const std::optional<std::string> schemas = mhlSchemaFolder();
    if (!schemas) std::cout << "[ SKIPPED  ] schema validation: ../shared/ascmhl is absent\n";
    for (const HashMethod method : kAllHashMethods) {
        const std::string name(hashMethodName(method));
        SCOPED_TRACE(name);
        ChecksumCard card;
        const CliRun::Result result = card.offload(name);
        ASSERT_EQ(result.exitCode, 0) << result.err << result.out;
        const std::vector<nlohmann::json> jobs = jsonLines(result.out);
        ASSERT_EQ(jobs.size(), 2u) << result.out;
        for (const nlohmann::json &job : jobs) {
            const std::string copy = job["destination"];
            EXPECT_EQ(job["verification"], name);
            EXPECT_TRUE(job["verified"].get<bool>());
            std::string error;
            const std::optional<MhlHistory> history = MhlHistory::load(copy, &error);
            ASSERT_TRUE(history) << error;
            ASSERT_EQ(history->generations().size(), 1u);
            const MhlHistory::Generation &generation = history->generations()[0];
            EXPECT_EQ(generation.process, "transfer");
            ASSERT_EQ(generation.hashes.size(), kClips.size());
            for (const mhl::FileHash &hash : generation.hashes) {
                const std::optional<std::string> expected = toolHashOfFile(method, card.card + "/" + hash.relativePath);
                if (expected) {
                    EXPECT_EQ(hash.value, *expected) << hash.relativePath;
                }
                EXPECT_EQ(hash.action, mhl::Action::Original);
            }
            for (const nlohmann::json &file : job["fileList"]) {
                const std::string source = file["path"];
                const std::string relative = source.substr(card.card.size() + 1);
                const auto recorded = std::find_if(generation.hashes.begin(), generation.hashes.end(),
                                                   [&](const mhl::FileHash &h) { return h.relativePath == relative; });
                ASSERT_NE(recorded, generation.hashes.end()) << relative;
                EXPECT_EQ(file["hash"], recorded->value);
            }
            const std::string log = readFile(job["log"].get<std::string>());
            EXPECT_NE(log.find("File " + name + " checksum verification succeeded: source and copy are both " +
                               generation.hashes[0].value),
                      std::string::npos)
                << log;
            const CliRun::Result check = verifyCopy(copy);
            EXPECT_EQ(check.exitCode, 0) << check.out << check.err;
            if (schemas) {
                EXPECT_EQ(schemaErrors(*schemas + "/ASCMHL.xsd", copy + "/ascmhl/" + generation.fileName), "");
                EXPECT_EQ(schemaErrors(*schemas + "/ASCMHLDirectory.xsd", copy + "/ascmhl/ascmhl_chain.xml"), "");
            }
        }
        if (method != HashMethod::Xxh64) continue;
        // A copy that rots afterwards is caught and named, and only it.
        const std::string copy = jobs[1]["destination"];
        std::string clip = readFile(copy + "/CLIPS/B002.MOV");
        clip[4242] ^= 0x10;
        writeFile(copy + "/CLIPS/B002.MOV", clip);
        const CliRun::Result check = verifyCopy(copy);
        EXPECT_EQ(check.exitCode, 1);
        EXPECT_NE(check.out.find("changed: CLIPS/B002.MOV"), std::string::npos) << check.out;
        EXPECT_EQ(check.out.find("A001.MOV"), std::string::npos) << check.out;
    }
}

// The destinations of one card share its reads: one read of each source
// file for both copies (the checksum taken from those very bytes), and one
// more for both comparisons when the contents are compared.
TEST(ChecksumOffload, TheCardIsReadOnceForAllItsDestinations)
{
    for (const auto &[method, reads] :
         std::vector<std::pair<std::string, uint64_t>>{{"xxh64", 1}, {"size", 1}, {"contents", 2}}) {
        SCOPED_TRACE(method);
        ChecksumCard card;
        if (!card.reader) GTEST_SKIP() << "no second file system (/dev/shm) to hold the card";
        const std::string counted = card.dir / "read-count";
        Environment environment = faultEnvironment("count-reads", card.card + "/*");
        environment["FERRYDECK_FAULT_COUNT_FILE"] = counted;
        const CliRun::Result result = card.offload(method, environment);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(std::stoull(readFile(counted)), reads * card.cardBytes());
    }
}

// A copy corrupted on its way to one destination fails there with both
// values named, and that copy folder gets no hash list claiming success;
// the other destination completes with its own.
TEST(ChecksumOffload, AMismatchFailsOnlyItsDestinationAndWritesNoClaim)
{
    ChecksumCard card;
    const CliRun::Result result = card.offload("xxh64", faultEnvironment("flip-byte", "*/d2/*/B002.MOV"));
    EXPECT_EQ(result.exitCode, 1) << result.err;
    const std::map<std::string, nlohmann::json> jobs = jobsBy(result.out, "destination");
    ASSERT_EQ(jobs.size(), 2u) << result.out;
    const nlohmann::json &good = jobs.at(card.dir / "d1/card");
    const nlohmann::json &bad = jobs.at(card.dir / "d2/card");
    EXPECT_EQ(good["status"], "Completed");
    EXPECT_TRUE(exists(card.dir / "d1/card/ascmhl/ascmhl_chain.xml"));
    EXPECT_EQ(bad["status"], "Error");
    EXPECT_FALSE(bad["verified"].get<bool>());
    EXPECT_TRUE(bad["hashList"].is_null());
    EXPECT_FALSE(exists(card.dir / "d2/card/ascmhl"));
    ASSERT_EQ(bad["failed"].size(), 1u) << bad.dump();
    const std::string reason = bad["failed"][0]["reason"];
    EXPECT_TRUE(reason.starts_with("xxh64 mismatch: source ")) << reason;
    EXPECT_NE(reason.find(", copy "), std::string::npos) << reason;
    const std::string log = readFile(bad["log"].get<std::string>());
    EXPECT_NE(log.find("File xxh64 checksum verification failure: " + reason), std::string::npos) << log;
}
