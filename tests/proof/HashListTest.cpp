#include "proof/DirectoryHasher.h"
#include "proof/Hasher.h"
#include "proof/MhlGenerationWriter.h"
#include "proof/MhlHistory.h"
#include "support/HashTools.h"
#include "support/MhlSchemas.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <fnmatch.h>

#include <algorithm>
#include <tuple>
#include <vector>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

mhl::FileHash entry(const std::string &path, HashMethod method, const std::string &content,
                    mhl::Action action = mhl::Action::Original)
{
    return mhl::FileHash{path,   content.size(), 1700000000, method, *Hasher::hashBytes(method, content),
                         action, 1700000100};
}

// False when the schemas are absent: the caller skips visibly at its end,
// after every other check has run.
bool expectValid(const std::string &schema, const std::string &file)
{
    const std::optional<std::string> folder = mhlSchemaFolder();
    if (!folder) return false;
    EXPECT_EQ(schemaErrors(*folder + "/" + schema, file), "") << readFile(file);
    return true;
}

} // namespace

TEST(HashList, IgnorePatternsFollowGitignoreRules)
{
    const std::vector<std::string> logs = mhl::logIgnorePatterns("A001 [day*1]");
    const std::tuple<std::vector<std::string>, std::string, bool, bool> cases[] = {
        // patterns, path, folder, ignored
        {mhl::defaultIgnorePatterns(), "ascmhl", true, true},
        {mhl::defaultIgnorePatterns(), "ascmhl/0001_x.mhl", false, true},
        {mhl::defaultIgnorePatterns(), "Clips/.DS_Store", false, true},
        {mhl::defaultIgnorePatterns(), "Clips/ascmhl.mov", false, false},
        {{"*.tmp"}, "a/b/c.tmp", false, true},
        {{"cache/"}, "cache", false, false}, // a file, not a folder
        {{"cache/"}, "x/cache/clip", false, true},
        {{"/top.txt"}, "sub/top.txt", false, false},
        {logs, "A001 [day*1].txt", false, true},
        {logs, "A001 [day*1]-2.txt", false, true},
        {logs, "A001 d.txt", false, false}, // the brackets are the name, not a wildcard
        {logs, "Clips/A001 [day*1].txt", false, false},
    };
    for (const auto &[patterns, path, isDirectory, ignored] : cases)
        EXPECT_EQ(mhl::isIgnored(path, isDirectory, patterns), ignored) << path;
    for (const std::string bad : {"../x", "/etc/passwd", "a//b", "a/./b", "a/..", ""})
        EXPECT_FALSE(mhl::isSafeRelativePath(bad)) << bad;
}

TEST(HashList, GenerationsAreValidChainedAndReadBack)
{
    const TempDir dir;
    const std::string root = dir / "A001_C002";
    makeDirectory(root);
    MhlGenerationWriter first;
    first.addFile(entry("a & b <c>.mov", HashMethod::Xxh64, "one"));
    first.addFile(entry(" lead and trail ", HashMethod::Xxh64, "three"));
    first.addFile(entry("Sub/\xc3\xbc clip.MXF", HashMethod::Xxh64, "two"));
    first.addFile(entry("Sub/\xc3\xbc clip.MXF", HashMethod::Md5, "two"));
    first.addDirectory("Sub/Empty");
    MhlGenerationWriter::Options options;
    options.ignorePatterns = mhl::logIgnorePatterns("A001_C002");
    options.ignorePatterns.push_back("*.MXF"); // would hide a recorded file: left out
    options.directoryHashMethod = HashMethod::Xxh64;
    std::string error;
    const auto written = first.writeGeneration(root, options, &error);
    ASSERT_TRUE(written) << error;
    EXPECT_EQ(written->number, 1);
    // A pattern, not std::regex: GCC 12 warns inside <regex> under the sanitizers.
    EXPECT_EQ(
        ::fnmatch(
            "*/ascmhl/0001_A001_C002_[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]_[0-9][0-9][0-9][0-9][0-9][0-9]Z.mhl",
            written->path.c_str(), 0),
        0)
        << written->path;
    EXPECT_EQ(written->c4, *toolHashOfFile(HashMethod::C4, written->path));
    const std::string xml = readFile(written->path);
    EXPECT_NE(xml.find("<tool version=\""), std::string::npos);
    EXPECT_NE(xml.find("<roothash>"), std::string::npos);
    EXPECT_EQ(xml.find("*.MXF"), std::string::npos);

    MhlGenerationWriter second;
    second.addFile(entry("a & b <c>.mov", HashMethod::Xxh64, "one", mhl::Action::Verified));
    second.addFile(entry("Sub/\xc3\xbc clip.MXF", HashMethod::Xxh64, "changed", mhl::Action::Failed));
    options.process = mhl::Process::InPlace;
    const auto next = second.writeGeneration(root, options, &error);
    ASSERT_TRUE(next) << error;
    EXPECT_EQ(next->number, 2);
    bool validated = expectValid("ASCMHLDirectory.xsd", root + "/ascmhl/ascmhl_chain.xml");
    for (const std::string &file : {written->path, next->path})
        validated = expectValid("ASCMHL.xsd", file) && validated;

    std::optional<MhlHistory> history = MhlHistory::load(root, &error);
    ASSERT_TRUE(history) << error;
    EXPECT_EQ(std::tuple(history->generations().size(), history->chain().size(), history->chainProblems().size()),
              std::tuple(2u, 2u, 0u));
    const auto latest = history->latestHashes();
    ASSERT_EQ(latest.size(), 3u);
    EXPECT_EQ(latest.count(" lead and trail "), 1u);
    // The failed value of the second generation does not replace what the first proved.
    const auto &clip = latest.at("Sub/\xc3\xbc clip.MXF");
    ASSERT_EQ(clip.size(), 2u);
    EXPECT_EQ(clip[0].value, *Hasher::hashBytes(clip[0].method, "two"));
    EXPECT_EQ(latest.at("a & b <c>.mov").at(0).action, mhl::Action::Verified);

    // A generation altered afterwards is caught by its C4.
    std::string altered = readFile(written->path);
    altered[altered.size() / 2] ^= 1;
    writeFile(written->path, altered);
    history = MhlHistory::load(root, &error);
    ASSERT_TRUE(history) << error;
    ASSERT_EQ(history->chainProblems().size(), 1u);
    EXPECT_NE(history->chainProblems()[0].find("0001_"), std::string::npos);
    if (!validated) GTEST_SKIP() << "schema checks not run: ../shared/ascmhl is absent";
}

TEST(HashList, RefusesUnsafePathsAndUnreadableChainsWritingNothing)
{
    const TempDir dir;
    std::string error;
    for (const std::string name : {"../outside.mov", "a/\x01.mov", "\xff\xfe.mov"}) {
        MhlGenerationWriter hostile;
        hostile.addFile(entry(name, HashMethod::Xxh64, "x"));
        EXPECT_FALSE(hostile.writeGeneration(dir.path(), {}, &error)) << name;
        EXPECT_NE(error.find(name), std::string::npos) << error;
    }
    EXPECT_FALSE(MhlHistory::load(dir.path(), &error)); // no generation was written

    writeFile(dir / "ascmhl/ascmhl_chain.xml", "<ascmhldirectory><hashlist>");
    MhlGenerationWriter fine;
    fine.addFile(entry("clip.mov", HashMethod::Xxh64, "x"));
    EXPECT_FALSE(fine.writeGeneration(dir.path(), {}, &error));
    EXPECT_FALSE(MhlHistory::load(dir.path(), &error));
    EXPECT_EQ(readFile(dir / "ascmhl/ascmhl_chain.xml"), "<ascmhldirectory><hashlist>");
}

TEST(HashList, ReadsHistoriesOfOtherToolsAndRefusesBrokenOnes)
{
    const TempDir dir;
    writeFile(dir / "ascmhl/0001_x_2020-01-16_091500Z.mhl", R"(<?xml version="1.0" encoding="UTF-8"?>
<m:hashlist version="2.0" xmlns:m="urn:ASC:MHL:v2.0">
  <m:creatorinfo><m:creationdate>2020-01-16T09:15:00+01:00</m:creationdate><m:hostname>h</m:hostname>
    <m:tool version="1">other</m:tool></m:creatorinfo>
  <m:processinfo><m:process>in-place</m:process><m:ignore><m:pattern>*.tmp</m:pattern></m:ignore></m:processinfo>
  <m:hashes>
    <m:hash><m:path size="5" lastmodificationdate="2020-01-16T09:15:00.25-02:00">A/b.mov</m:path>
      <m:md5 action="original" hashdate="2020-01-16T09:15:00Z">D41D8CD98F00B204E9800998ECF8427E</m:md5>
      <m:xxh128>99aa06d3014798d86001c324468d497f</m:xxh128><m:previousPath>b.mov</m:previousPath>
      <m:metadata><anything/></m:metadata></m:hash>
  </m:hashes>
</m:hashlist>)");
    std::string error;
    const std::optional<MhlHistory> history = MhlHistory::load(dir.path(), &error);
    ASSERT_TRUE(history) << error;
    const auto latest = history->latestHashes();
    ASSERT_EQ(latest.count("A/b.mov"), 1u);
    const auto &values = latest.at("A/b.mov");
    ASSERT_EQ(values.size(), 2u);
    EXPECT_EQ(values[0].method, HashMethod::Md5);
    EXPECT_EQ(values[0].size, 5u);
    EXPECT_EQ(values[0].modificationTime, 1579166100 + 2 * 3600);
    EXPECT_EQ(values[1].method, HashMethod::Xxh128);
    EXPECT_EQ(history->ignorePatterns().back(), "*.tmp");
    // No chain file: a checker rejects the unlisted generation.
    EXPECT_EQ(history->chainProblems().size(), 1u);

    // A truncated list is refused, not repaired into fewer files.
    writeFile(dir / "ascmhl/0002_x_2020-01-16_091500Z.mhl", "<hashlist><hashes><hash><path>a</path>");
    EXPECT_FALSE(MhlHistory::load(dir.path(), &error));
    EXPECT_NE(error.find("0002_x"), std::string::npos);
    // An external entity is never fetched.
    writeFile(dir / "ascmhl/0002_x_2020-01-16_091500Z.mhl",
              "<!DOCTYPE h [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><hashlist><hashes><hash><path>&e;</path>"
              "<xxh64>ef46db3751d8e999</xxh64></hash></hashes></hashlist>");
    const std::optional<MhlHistory> hostile = MhlHistory::load(dir.path(), &error);
    if (hostile) {
        for (const auto &[path, values] : hostile->latestHashes())
            EXPECT_EQ(path.find("root:"), std::string::npos);
    }
}

namespace {

#define REQUIRE_TOOL(value)                                                                                            \
    if (!(value)) GTEST_SKIP() << "checksum tool for " << hashMethodName(method) << " missing (install-deps.sh)"

class EveryFormat : public ::testing::TestWithParam<HashMethod> {};

} // namespace

TEST_P(EveryFormat, MatchesDebianToolsOnEmptyInputAndSeveralMegabytesInAnyChunking)
{
    const HashMethod method = GetParam();
    const TempDir dir;
    for (const size_t size : {size_t{0}, size_t{3} << 20 | 4321}) {
        // A pattern that does not repeat within the buffer sizes the hashers use.
        writeSizedFile(dir / "data", size, 7);
        const std::string data = readFile(dir / "data");
        const std::optional<std::string> expected = toolHashOfFile(method, dir / "data");
        REQUIRE_TOOL(expected);
        EXPECT_EQ(Hasher::hashBytes(method, data), expected) << size;
        // Odd chunk sizes cross every internal block boundary.
        Hasher chunked(method);
        for (size_t at = 0; at < data.size(); at += 65537)
            chunked.update(std::string_view(data).substr(at, 65537));
        EXPECT_EQ(chunked.finish(), expected) << size;
        const FileHashResult fromFile = hashFile(dir / "data", method);
        EXPECT_EQ(fromFile.value, expected) << fromFile.error;
        EXPECT_EQ(fromFile.bytesRead, size);
        // Text and raw digest forms round-trip, capitals accepted.
        const std::optional<std::string> raw = rawDigestFromText(method, *expected);
        ASSERT_TRUE(raw);
        EXPECT_EQ(raw->size(), rawDigestSize(method));
        EXPECT_EQ(textFromRawDigest(method, *raw), *expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Hashing, EveryFormat, ::testing::ValuesIn(kAllHashMethods),
                         [](const auto &info) { return std::string(hashMethodName(info.param)); });

// Empty input is checked against the tools in EveryFormat.
TEST(Hashing, C4KeepsItsPaddingAndTextThatIsNoValueOfTheFormatIsRefused)
{
    // A digest with leading zero bytes keeps its padding to 90 characters.
    const std::string small(63, '\0');
    const std::string c4 = textFromRawDigest(HashMethod::C4, small + "\x01");
    EXPECT_EQ(c4, "c4" + std::string(87, '1') + "2");
    EXPECT_EQ(rawDigestFromText(HashMethod::C4, c4), small + "\x01");

    // Text that is no value of its format is refused.
    const std::vector<std::pair<HashMethod, std::string>> bad = {
        {HashMethod::Xxh64, "ef46db3751d8e99"},              // short
        {HashMethod::Xxh64, "ef46db3751d8e99g"},             // not hex
        {HashMethod::Md5, "ef46db3751d8e999"},               // another format's length
        {HashMethod::C4, "c4" + std::string(88, 'z')},       // above 512 bits
        {HashMethod::C4, "c4" + std::string(87, '1') + "0"}, // 0 is not a base-58 digit
        {HashMethod::C4, "c5" + std::string(88, '1')},       // prefix
    };
    for (const auto &[method, text] : bad)
        EXPECT_FALSE(rawDigestFromText(method, text)) << text;
}

TEST(Hashing, HashFileReadsOnlyRegularFiles)
{
    const TempDir dir;
    writeFile(dir / "clip", "x");
    ASSERT_EQ(::symlink((dir / "clip").c_str(), (dir / "link").c_str()), 0);
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    for (const std::string name : {"link", "fifo", "absent"}) {
        const FileHashResult result = hashFile(dir / name, HashMethod::Xxh64);
        EXPECT_FALSE(result.value) << name;
        EXPECT_FALSE(result.error.empty()) << name;
    }
}

// Folder hashes computed here a second way, each hash by Debian's tools.
TEST(Hashing, DirectoryContentAndStructureHashesMatchAnIndependentComputation)
{
    for (const HashMethod method : {HashMethod::Xxh64, HashMethod::Md5, HashMethod::C4}) {
        REQUIRE_TOOL(toolHashOfBytes(method, ""));
        const auto raw = [method](const std::string &text) {
            return method == HashMethod::C4 ? *rawDigestFromText(method, text) : bytesFromHex(text);
        };
        const auto combine = [&](std::vector<std::string> values) {
            std::sort(values.begin(), values.end());
            std::string bytes;
            for (const std::string &value : values)
                bytes += raw(value);
            return *toolHashOfBytes(method, bytes);
        };
        const auto file = [&](const std::string &content) { return *toolHashOfBytes(method, content); };
        const std::string a = file("alpha"), b = file("beta"), c = file("gamma");
        const auto named = [&](const std::string &name, const std::string &value) { return file(name + raw(value)); };
        // Tree: a.txt, b.bin, Sub/c.mov, Sub/Empty/ (no files); an empty folder's two hashes are equal.
        const std::string empty = combine({});
        const std::string subContent = combine({c, empty});
        const std::string subStructure = combine({named("c.mov", c), named("Empty", empty)});
        const std::string rootContent = combine({a, b, subContent});
        const std::string rootStructure = combine({named("a.txt", a), named("b.bin", b), named("Sub", subStructure)});

        DirectoryHasher hasher(method);
        hasher.addFile("a.txt", a);
        hasher.addFile("b.bin", b);
        hasher.addFile("Sub/c.mov", c);
        hasher.addDirectory("Sub/Empty");
        const auto folders = hasher.compute();
        ASSERT_TRUE(folders);
        EXPECT_EQ(folders->size(), 3u);
        EXPECT_EQ(folders->at("").content, rootContent) << hashMethodName(method);
        EXPECT_EQ(folders->at("").structure, rootStructure) << hashMethodName(method);
        EXPECT_EQ(folders->at("Sub").content, subContent);
        EXPECT_EQ(folders->at("Sub").structure, subStructure);
        EXPECT_EQ(folders->at("Sub/Empty").content, empty);
    }
}
