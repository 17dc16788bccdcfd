#include "proof/DirectoryHasher.h"
#include "proof/Hasher.h"
#include "support/HashTools.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <vector>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

// Fixed bytes that do not repeat within the buffer sizes the hashers use.
std::string deterministicBytes(size_t size)
{
    std::string bytes(size, '\0');
    uint64_t state = 0x9e3779b97f4a7c15ull;
    for (char &byte : bytes) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        byte = static_cast<char>(state >> 56);
    }
    return bytes;
}

#define REQUIRE_TOOL(value)                                                                                            \
    if (!(value)) GTEST_SKIP() << "checksum tool for " << hashMethodName(method) << " missing (install-deps.sh)"

class EveryFormat : public ::testing::TestWithParam<HashMethod> {};

} // namespace

TEST_P(EveryFormat, MatchesDebianToolsOnEmptyInputAndSeveralMegabytesInAnyChunking)
{
    const HashMethod method = GetParam();
    const TempDir dir;
    for (const size_t size : {size_t{0}, size_t{3} << 20 | 4321}) {
        const std::string data = deterministicBytes(size);
        writeFile(dir / "data", data);
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

TEST(Hashing, PublishedEmptyInputValuesC4TextAndTextThatIsNoValueOfTheFormat)
{
    const std::map<HashMethod, std::string> published = {
        {HashMethod::Xxh64, "ef46db3751d8e999"},
        {HashMethod::Xxh3, "2d06800538d394c2"},
        {HashMethod::Xxh128, "99aa06d3014798d86001c324468d497f"},
        {HashMethod::Md5, "d41d8cd98f00b204e9800998ecf8427e"},
        {HashMethod::Sha1, "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {HashMethod::C4, "c459dsjfscH38cYeXXYogktxf4Cd9ibshE3BHUo6a58hBXmRQdZrAkZzsWcbWtDg5oQstpDuni4Hirj75GEmTc1sFT"}};
    for (const auto &[method, value] : published)
        EXPECT_EQ(Hasher::hashBytes(method, ""), value) << hashMethodName(method);
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
        // Tree: a.txt, b.bin, Sub/c.mov, Sub/Empty/ (no files).
        const std::string emptyContent = combine({}), emptyStructure = combine({});
        const std::string subContent = combine({c, emptyContent});
        const std::string subStructure = combine(
            {*toolHashOfBytes(method, "c.mov" + raw(c)), *toolHashOfBytes(method, "Empty" + raw(emptyStructure))});
        const std::string rootContent = combine({a, b, subContent});
        const std::string rootStructure =
            combine({*toolHashOfBytes(method, "a.txt" + raw(a)), *toolHashOfBytes(method, "b.bin" + raw(b)),
                     *toolHashOfBytes(method, "Sub" + raw(subStructure))});

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
        EXPECT_EQ(folders->at("Sub/Empty").content, emptyContent);
    }
}
