#include "FaultChecks.h"
#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <cstdio>

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

    const CliRun::Result result = runCli({"offload", card, "--dest", dir / "dest", "--verify", "contents", "--log-dir",
                                          dir / "logs", "--log-detail", "verbose", "--json", "--threads", "3"},
                                         {}, dir / "work");
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

    EXPECT_TRUE(listFolder(dir / "work").empty());
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
