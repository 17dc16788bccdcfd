#include "engine/OffloadJournal.h"
#include "fsutil/FileCopy.h"
#include "fsutil/FileUtilities.h"
#include "support/CliRun.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

constexpr int kFiles = 200;

std::string clip(int i)
{
    return "DCIM/" + std::to_string(100 + i / 50) + "/C" + std::to_string(i) + ".MP4";
}

// The journal's files as a rerun would read them.
std::map<std::string, OffloadJournal::Entry> journalOf(const std::string &copy)
{
    std::string error;
    const auto contents = OffloadJournal::parse(readFile(copy + "/" + OffloadJournal::kFileName), error);
    return contents ? std::map<std::string, OffloadJournal::Entry>(contents->entries.begin(), contents->entries.end())
                    : std::map<std::string, OffloadJournal::Entry>{};
}

// A card of 200 files offloaded to two destinations with xxh64 and killed
// (SIGKILL: nothing of the process gets to tidy up) once each destination
// has verified a few dozen of them.
struct InterruptedCard {
    TempDir dir;
    std::string card = dir / "card";
    explicit InterruptedCard(unsigned pattern = 1)
    {
        for (int i = 0; i < kFiles; ++i)
            writeSizedFile(card + "/" + clip(i), 30000 + 97 * static_cast<uint64_t>(i), pattern + i);
        makeDirectory(dir / "d1");
        makeDirectory(dir / "d2");
        CliRun run(offloadArguments({}), faultEnvironment("slow", "*/d?/*"));
        const bool halfWay =
            waitFor([&] { return journalOf(dir / "d1/card").size() >= 40 && journalOf(dir / "d2/card").size() >= 40; });
        run.signal(SIGKILL);
        EXPECT_EQ(run.wait().signal, SIGKILL);
        EXPECT_TRUE(halfWay) << "the slowed offload never got under way";
        // Whatever the kill cut short is under a temporary name, and no log
        // was written that could call anything verified.
        for (const std::string destination : {"d1", "d2"}) {
            for (const auto &entry : std::filesystem::recursive_directory_iterator(dir / (destination + "/card"))) {
                const std::string name = entry.path().filename();
                const std::string relative = entry.path().string().substr((dir / destination).size() + 1);
                if (entry.is_regular_file() && !FileCopy::isTemporaryName(name) && relative.starts_with("card/DCIM")) {
                    EXPECT_EQ(readFile(entry.path()), readFile(dir / relative)) << relative;
                }
            }
            EXPECT_FALSE(exists(dir / (destination + "/card/card.txt")));
        }
    }
    std::vector<std::string> offloadArguments(std::vector<std::string> extra) const
    {
        std::vector<std::string> arguments = {"offload",  card,        "--dest", dir / "d1", "--dest",
                                              dir / "d2", "--threads", "2",      "--json"};
        if (std::find(extra.begin(), extra.end(), "--verify") == extra.end())
            extra.insert(extra.end(), {"--verify", "xxh64"});
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        return arguments;
    }
    std::map<std::string, nlohmann::json> rerun(std::vector<std::string> extra, int expectedExit = 0) const
    {
        const CliRun::Result result = runCli(offloadArguments(std::move(extra)));
        EXPECT_EQ(result.exitCode, expectedExit) << result.err;
        std::map<std::string, nlohmann::json> jobs;
        for (const nlohmann::json &job : jsonLines(result.out))
            jobs[path::lastComponent(path::parent(job["destination"].get<std::string>()))] = job;
        return jobs;
    }
};

struct Identity {
    ino_t inode;
    struct timespec modified;
};

std::map<std::string, Identity> identities(const std::string &copy,
                                           const std::map<std::string, OffloadJournal::Entry> &of)
{
    std::map<std::string, Identity> out;
    for (const auto &[relative, entry] : of) {
        const struct stat info = statOf(copy + "/" + relative);
        out[relative] = {info.st_ino, info.st_mtim};
    }
    return out;
}

} // namespace

// The resume keeps what the killed run verified, untouched, copies the rest
// and a file changed since, and ends with one proof covering every file.
TEST(Resume, KilledOffloadContinuesWithoutRewritingVerifiedFiles)
{
    InterruptedCard card;
    std::map<std::string, std::map<std::string, Identity>> before;
    for (const std::string destination : {"d1", "d2"})
        before[destination] =
            identities(card.dir / (destination + "/card"), journalOf(card.dir / (destination + "/card")));
    // A file d1 had verified is changed on the card: its copy is stale.
    const std::string changed = before["d1"].begin()->first;
    writeSizedFile(card.card + "/" + changed, 4321, 99);

    const auto jobs = card.rerun({"--resume", "--log-in-copy"});
    for (const std::string destination : {"d1", "d2"}) {
        SCOPED_TRACE(destination);
        const std::string copy = card.dir / (destination + "/card");
        ASSERT_TRUE(jobs.count(destination));
        const nlohmann::json &job = jobs.at(destination);
        EXPECT_EQ(job["status"], "Completed");
        EXPECT_EQ(job["destination"], copy) << "a resume continues the interrupted folder";
        const size_t kept = before[destination].size() - before[destination].count(changed);
        EXPECT_EQ(job["carriedOver"], kept);
        for (int i = 0; i < kFiles; ++i)
            ASSERT_EQ(readFile(copy + "/" + clip(i)), readFile(card.card + "/" + clip(i))) << clip(i);
        for (const auto &[relative, identity] : before[destination]) {
            const struct stat now = statOf(copy + "/" + relative);
            const bool same = now.st_ino == identity.inode && now.st_mtim.tv_sec == identity.modified.tv_sec &&
                              now.st_mtim.tv_nsec == identity.modified.tv_nsec;
            EXPECT_EQ(same, relative != changed) << relative << " rewritten or stale";
        }
        // One hash list naming every file once; nothing of the first run left.
        const std::vector<std::string> lists = listFolder(copy + "/ascmhl");
        ASSERT_EQ(lists.size(), 2u);
        const std::string mhl = readFile(copy + "/ascmhl/" + lists.front());
        for (int i = 0; i < kFiles; ++i) {
            const std::string name = ">" + clip(i) + "</path>";
            const size_t first = mhl.find(name);
            EXPECT_TRUE(first != std::string::npos && mhl.find(name, first + 1) == std::string::npos) << clip(i);
        }
        EXPECT_FALSE(exists(copy + "/" + OffloadJournal::kFileName));
        const CliRun::Result check = runCli({"verify", copy});
        EXPECT_EQ(check.exitCode, 0) << check.out << check.err;
        const std::string log = readFile(job["log"].get<std::string>());
        EXPECT_NE(log.find("Files carried over from the interrupted offload:" + std::to_string(kept)),
                  std::string::npos);
    }
}

// A folder is only continued by a run it can belong to; any other gets a new
// folder and the reason, and the interrupted one is left as it was.
TEST(Resume, ForeignJournalsAreNeverResumedInto)
{
    struct Case {
        const char *what;
        std::function<void(InterruptedCard &)> change;
        std::vector<std::string> options;
        const char *reason;
    };
    const std::vector<Case> cases = {
        {"another card at the same place",
         [](InterruptedCard &card) {
             std::filesystem::remove_all(card.card);
             for (int i = 0; i < kFiles; ++i)
                 writeSizedFile(card.card + "/" + clip(i), 50000 + static_cast<uint64_t>(i), 7);
         },
         {"--resume"},
         "does not match the source"},
        {"another verification method", [](InterruptedCard &) {}, {"--resume", "--verify", "size"}, "not size"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        InterruptedCard card;
        const std::string copy = card.dir / "d1/card";
        const auto before = identities(copy, journalOf(copy));
        c.change(card);
        const auto jobs = card.rerun(c.options);
        ASSERT_TRUE(jobs.count("d1"));
        EXPECT_EQ(jobs.at("d1")["destination"], copy + "-2");
        EXPECT_NE(jobs.at("d1").value("notResumed", "").find(c.reason), std::string::npos) << jobs.at("d1").dump();
        EXPECT_EQ(jobs.at("d1")["status"], "Completed");
        EXPECT_EQ(identities(copy, journalOf(copy)).size(), before.size()) << "the interrupted folder was changed";
    }
}

// --resume-verify reads every kept copy back: one damaged since the kill is
// copied again instead of being carried into the proof.
TEST(Resume, VerifyingResumeRecopiesACopyDamagedSinceTheKill)
{
    InterruptedCard card;
    const std::string copy = card.dir / "d2/card";
    const std::string damaged = journalOf(copy).begin()->first;
    std::string bytes = readFile(copy + "/" + damaged);
    bytes[bytes.size() / 2] ^= 0x20;
    writeFile(copy + "/" + damaged, bytes);

    const auto jobs = card.rerun({"--resume-verify"});
    ASSERT_TRUE(jobs.count("d2"));
    EXPECT_EQ(jobs.at("d2")["status"], "Completed");
    EXPECT_EQ(readFile(copy + "/" + damaged), readFile(card.card + "/" + damaged));
    EXPECT_EQ(runCli({"verify", copy}).exitCode, 0);
}

// Only whole lines count; a damaged line costs its file a new copy, and
// names that could forge a line are kept whole.
TEST(Resume, JournalReadsWholeLinesOnly)
{
    OffloadJournal::Entry hostile{"a\tb\nc%d.MOV", 12, 34, "ffee", 56};
    OffloadJournal::Entry plain{"DCIM/B.MOV", 1, 2, "", 3};
    const std::string full = OffloadJournal::headerLine("/media/card\tX", "xxh64") +
                             OffloadJournal::entryLine(hostile) + "garbage\tline\n" + OffloadJournal::entryLine(plain);
    std::string error;
    const auto whole = OffloadJournal::parse(full, error);
    ASSERT_TRUE(whole) << error;
    EXPECT_EQ(whole->source, "/media/card\tX");
    ASSERT_EQ(whole->entries.size(), 2u);
    EXPECT_EQ(whole->entries.at(hostile.path).hash, "ffee");
    EXPECT_EQ(whole->entries.at(hostile.path).modificationTime, 34);
    EXPECT_EQ(whole->entries.at(plain.path).hash, "");
    const auto cut = OffloadJournal::parse(full.substr(0, full.size() - 3), error);
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->entries.size(), 1u) << "a line cut off mid-write was trusted";
    EXPECT_FALSE(OffloadJournal::parse("ferrydeck-journal 1\t/x", error)) << "a header cut off was trusted";
    EXPECT_FALSE(OffloadJournal::parse("not a journal\n", error));
}
