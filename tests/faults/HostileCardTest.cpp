#include "CliRun.h"
#include "FaultChecks.h"
#include "fsutil/FileUtilities.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>

using namespace ferrydeck::test;

namespace {

// Each payload would create "canary" in the working folder if any name
// reached a shell.
const std::vector<std::string> kHostileNames = {
    "it's.MOV",
    "say \"cut\".MOV",
    "`touch canary`.MOV",
    "$(touch canary).MOV",
    "$(touch${IFS}canary)",
    ";touch canary;.MOV",
    "| touch canary",
    "&& touch canary &",
    "> canary",
    "*.MOV",
    "?[a-z]{1,2}.MOV",
    "new\nline.MOV",
    "tab\there.MOV",
    "-rf",
    "--help",
    "-",
    std::string(251, 'L') + ".MOV",
    "caf\xe9.MOV",             // Latin-1, not UTF-8
    "\xff\xfe lone bytes.MOV", // never valid UTF-8
    "cut\xe2\x82.MOV",         // a sequence broken off
    "Clip.MOV",
    "clip.MOV",
    "CLIP.MOV",
    "%s%n%x%p.MOV", // a format string, for every printf-style log line
    "back\\slash.MOV",
    " leading and trailing space ",
    "trailing dot.",
    "~root",
    "$HOME.MOV",
    "\x1b[31mred\x1b[0m.MOV", // terminal escape
    "\xe2\x80\xaeVOM.exe",    // right-to-left override
    "caf\xc3\xa9 and cafe\xcc\x81.MOV",
    "!#&<>()[]{}=+,@^.MOV",
};

const std::vector<std::pair<std::string, std::string>> kLinks = {
    {"loop-a", "loop-b"}, {"loop-b", "loop-a"}, {"self", "self"}, {"up", ".."}};

std::string linkTarget(const std::string &path)
{
    char target[4096];
    const ssize_t n = ::readlink(path.c_str(), target, sizeof target);
    return n < 0 ? std::string() : std::string(target, static_cast<size_t>(n));
}

std::string deepPath()
{
    std::string path;
    for (int level = 0; level < 100; ++level)
        path += "level" + std::to_string(level) + "/";
    return path + "deep.MOV";
}

std::string withReplacements(const std::string &name)
{
    // What a name reads as in a UTF-8 log: invalid bytes become U+FFFD and
    // control characters escapes, so that no name can start a line of its own.
    const std::string utf8 =
        nlohmann::json::parse(nlohmann::json(name).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace))
            .get<std::string>();
    std::string text;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte == '\n') {
            text += "\\n";
        } else if (byte == '\t') {
            text += "\\t";
        } else if (byte < 0x20 || byte == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
            text += escaped;
        } else {
            text += c;
        }
    }
    return text;
}

std::vector<std::string> entries(const std::string &folder)
{
    std::vector<std::string> names;
    ferrydeck::path::listDirectory(folder, names);
    return names;
}

} // namespace

TEST(HostileCard, NamesAreCopiedVerbatimNeverRunAndLoggedAsReadableUtf8)
{
    TempDir dir;
    // The card's own name is hostile too: it names the copy folder and the log.
    const std::string card = dir / "card $(touch canary) 'x'";
    for (const std::string &name : kHostileNames)
        writeFile(card + "/" + name, "contents of " + name);
    writeFile(card + "/" + deepPath(), "deep");
    // Links are copied as links and never followed: a loop, a link to
    // itself and one to the card's parent.
    for (const auto &[link, target] : kLinks)
        ::symlink(target.c_str(), (card + "/" + link).c_str());
    makeDirectory(dir / "work");
    makeDirectory(dir / "dest");
    makeDirectory(dir / "logs");
    const TreeSnapshot before = snapshotTree(card);

    CliRun::Options inWork;
    inWork.workingDirectory = dir / "work";
    const CliRun::Result result = runCli({"offload", card, "--dest", dir / "dest", "--verify", "contents", "--log-dir",
                                          dir / "logs", "--log-detail", "verbose", "--json", "--threads", "3"},
                                         inWork);
    ASSERT_FALSE(result.timedOut);
    ASSERT_EQ(result.exitCode, 0) << result.err;

    const auto job = nlohmann::json::parse(result.out);
    EXPECT_EQ(job["status"], "Completed");
    EXPECT_EQ(job["files"], kHostileNames.size() + kLinks.size() + 1);
    const std::string copy = dir / "dest/card $(touch canary) 'x'";
    for (const std::string &name : kHostileNames) {
        EXPECT_EQ(readFile(copy + "/" + name), "contents of " + name) << name;
    }
    EXPECT_EQ(readFile(copy + "/" + deepPath()), "deep");
    for (const auto &[link, target] : kLinks)
        EXPECT_EQ(linkTarget(copy + "/" + link), target) << link;

    EXPECT_TRUE(entries(dir / "work").empty());
    EXPECT_FALSE(exists(dir / "canary"));
    EXPECT_EQ(snapshotTree(card), before);

    const std::string log = readFile(job["log"].get<std::string>());
    EXPECT_NO_THROW(nlohmann::json(log).dump()) << "the log is not valid UTF-8";
    for (const std::string &name : kHostileNames) {
        EXPECT_NE(log.find("/" + withReplacements(name) + "\" to \""), std::string::npos) << name;
    }
    EXPECT_NE(log.find("caf\xef\xbf\xbd.MOV"), std::string::npos);
    EXPECT_NE(log.find("Offload Verified"), std::string::npos);
}

namespace {

// An entry that is not a file that can be read, next to one that can.
struct Uncopyable {
    const char *name;
    const char *entry;
    std::function<bool(const std::string &)> make; // false: cannot be made here
    bool rootReadsIt;
};

// Readable test names instead of the case's bytes.
void PrintTo(const Uncopyable &row, std::ostream *out)
{
    *out << row.name;
}

bool makeSocket(const std::string &path)
{
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) return false;
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool bound = fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    if (fd >= 0) ::close(fd);
    return bound;
}

} // namespace

class HostileEntries : public ::testing::TestWithParam<Uncopyable> {};

TEST_P(HostileEntries, EndTheirJobAsErrorNamedInTheLogWithoutHangingOrTouchingTheCard)
{
    const Uncopyable &row = GetParam();
    if (row.rootReadsIt && ::geteuid() == 0) GTEST_SKIP() << "root reads files without read permission";
    TempDir dir;
    writeFile(dir / "bad/A.MOV", "fine");
    const std::string entry = dir / ("bad/" + std::string(row.entry));
    ASSERT_TRUE(row.make(entry)) << entry;
    writeFile(dir / "good/G.MOV", "also fine");
    makeDirectory(dir / "dest");
    makeDirectory(dir / "logs");
    const TreeSnapshot before = snapshotTree(dir / "bad");

    for (const char *verify : {"size", "contents"}) {
        const CliRun::Result result = runCli({"offload", dir / "bad", dir / "good", "--dest", dir / "dest", "--verify",
                                              verify, "--log-dir", dir / "logs", "--json", "--threads", "1"});
        ASSERT_FALSE(result.timedOut) << verify;
        ASSERT_EQ(result.signal, 0) << result.err;
        EXPECT_EQ(result.exitCode, 1) << result.err;
        auto jobs = jobsBySource(result.out);
        ASSERT_EQ(jobs.size(), 2u) << result.out;
        EXPECT_EQ(jobs[dir / "good"]["status"], "Completed");
        EXPECT_EQ(jobs[dir / "bad"]["status"], "Error");
        const std::string log = readFile(jobs[dir / "bad"]["log"].get<std::string>());
        const size_t at = log.find("Comparing \"" + entry + "\"");
        ASSERT_NE(at, std::string::npos) << log;
        EXPECT_NE(log.find("verification failure", at), std::string::npos) << log;
        expectVerifiedCopiesIdentical(log);
    }
    EXPECT_EQ(snapshotTree(dir / "bad"), before);
}

INSTANTIATE_TEST_SUITE_P(
    Offload, HostileEntries,
    ::testing::Values(Uncopyable{"Fifo", "pipe.MOV",
                                 [](const std::string &p) { return ::mkfifo(p.c_str(), 0644) == 0; }, false},
                      Uncopyable{"Socket", "sock", makeSocket, false},
                      Uncopyable{"Unreadable", "locked.MOV",
                                 [](const std::string &p) {
                                     writeFile(p, "secret");
                                     return ::chmod(p.c_str(), 0) == 0;
                                 },
                                 true}),
    [](const ::testing::TestParamInfo<Uncopyable> &info) { return std::string(info.param.name); });
