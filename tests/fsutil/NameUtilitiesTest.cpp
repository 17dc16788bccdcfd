#include "fsutil/DirectoryUtilities.h"
#include "fsutil/FileUtilities.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <unistd.h>

using ferrydeck::DirectoryUtilities;
using ferrydeck::FileUtilities;
using namespace ferrydeck::test;

// The shell escapes have no caller in the program (the comparison runs cmp
// without a shell): only the invalid-character rules are checked.
TEST(NameTexts, InvalidCharactersAreRemovedOrRefused)
{
    EXPECT_EQ(DirectoryUtilities::removeInvalidPathCharactersFromString("Card: 1/2"), "Card 12");
    EXPECT_EQ(DirectoryUtilities::removeInvalidPathCharactersFromString("a\\b|c"), "abc");
    EXPECT_EQ(FileUtilities::removeInvalidFileCharacters("My Card (2)!"), "MyCard2!");
    for (const auto &[name, valid] : {std::pair{"Card:1", false}, {"Card 1", true}, {"Card/1", true}, {"a$b", false}})
        EXPECT_EQ(DirectoryUtilities::isDirectoryNameValid(name), valid) << name;
}

TEST(UniqueNames, FilesKeepTheirDotAndCopiesNumberFromOneWithoutReplacingAnything)
{
    TempDir dest;
    // A file path keeps its extension after the number and creates nothing.
    EXPECT_EQ(FileUtilities::ensureFilePathDoesNotExist(dest / "log.txt"), dest / "log.txt");
    for (const char *next : {"log-2.txt", "log-3.txt"}) {
        writeFile(FileUtilities::ensureFilePathDoesNotExist(dest / "log.txt"), "x");
        EXPECT_EQ(FileUtilities::ensureFilePathDoesNotExist(dest / "log.txt"), dest / next);
    }
    EXPECT_FALSE(exists(dest / "log-3.txt"));
    EXPECT_EQ(FileUtilities::ensureFilePathDoesNotExist(dest / "notes"), dest / "notes.");
    EXPECT_EQ(FileUtilities::ensureFilePathDoesNotExist(dest / "a.tar.gz"), dest / "a.tar.gz");

    // A numbered copy starts at one.
    writeFile(dest / "src/A.MOV", "movie");
    writeFile(dest / "dst/A.MOV", "other");
    for (const char *copy : {"dst/A(1).MOV", "dst/A(2).MOV"}) {
        EXPECT_TRUE(FileUtilities::copyFileWithConsecutiveNumbering(dest / "src/A.MOV", dest / "dst"));
        EXPECT_EQ(readFile(dest / copy), "movie");
    }
    EXPECT_EQ(readFile(dest / "dst/A.MOV"), "other");
    EXPECT_FALSE(FileUtilities::copyFileWithConsecutiveNumbering(dest / "src/none.MOV", dest / "dst"));
}

TEST(Numbers, DigitsAreKeptWideCharactersNarrowedAndMegabytesDecimal)
{
    EXPECT_EQ(FileUtilities::removeNonNumericsFromString("A001C003_0815.MXF", false), "0010030815");
    EXPECT_EQ(FileUtilities::removeNonNumericsFromString("29.97 fps", true), "29.97");
    EXPECT_EQ(FileUtilities::removeNonNumericsFromString("29.97 fps", false), "2997");
    // U+0130 has the low byte 0x30, U+0139 0x39: they count as 0 and 9.
    EXPECT_EQ(FileUtilities::removeNonNumericsFromString("x\xC4\xB0y\xC4\xB9", false), "09");
    EXPECT_EQ(FileUtilities::removeNonNumericsFromString("\xff\xfe\x37", false), "7");
    // Megabytes are decimal.
    EXPECT_DOUBLE_EQ(FileUtilities::rawSizeToMegaBytes(1500000), 1.5);
    EXPECT_DOUBLE_EQ(FileUtilities::convertByteSizeToMegaBytes(-2000000), -2.0);
}

TEST(Lookup, FragmentAndFolderOfAClip)
{
    TempDir dir;
    writeFile(dir / "CLIP/0001AB.MXF", "x");
    EXPECT_EQ(FileUtilities::findFileMatchingPattern("AB", dir / "CLIP"), dir / "CLIP/0001AB.MXF");
    EXPECT_EQ(FileUtilities::findFileMatchingPattern("ab", dir / "CLIP"), std::nullopt);
    EXPECT_EQ(FileUtilities::findFileMatchingPattern("AB", dir / "missing"), std::nullopt);

    EXPECT_EQ(FileUtilities::findDirectoryPathForFile(dir / "CLIP/0001AB.MXF"), dir / "CLIP");
    EXPECT_EQ(FileUtilities::findDirectoryPathForFile(dir / "CLIP"), dir / "CLIP");
    EXPECT_EQ(FileUtilities::findDirectoryPathForFile(dir / "nothing"), std::nullopt);
    EXPECT_EQ(FileUtilities::findDirectoryNameForFile(dir / "CLIP/0001AB.MXF"), "CLIP");

    EXPECT_EQ(FileUtilities::findArrayEntryPreceedingIdentifier({}, "c", true), std::nullopt);
}

TEST(Ordering, NumericOrderSaturatesInsteadOfWrapping)
{
    EXPECT_EQ(FileUtilities::orderFilePathsByAscendingNumericValue({"/99999999999.x", "/none.x"}),
              (std::vector<std::string>{"/none.x", "/99999999999.x"}));
}

TEST(Ordering, CreationDateIsOldestFirstWithTiesInInputOrder)
{
    TempDir dir;
    for (const char *name : {"first", "second", "third"}) {
        writeFile(dir / name, name);
        usleep(20000);
    }
    // A hard link shares its inode's dates, so it ties with "first".
    ASSERT_EQ(::link((dir / "first").c_str(), (dir / "twin").c_str()), 0);

    EXPECT_EQ(FileUtilities::orderFilePathsByCreationDate({dir / "third", dir / "twin", dir / "second", dir / "first"}),
              (std::vector<std::string>{dir / "twin", dir / "first", dir / "second", dir / "third"}));
    EXPECT_EQ(FileUtilities::orderFilePathsByCreationDate({dir / "first", dir / "third", dir / "twin"}),
              (std::vector<std::string>{dir / "first", dir / "twin", dir / "third"}));
    // An unreadable date leaves the list as it came.
    const std::vector<std::string> withMissing{dir / "third", dir / "gone", dir / "first"};
    EXPECT_EQ(FileUtilities::orderFilePathsByCreationDate(withMissing), withMissing);
}

TEST(CardCleanup, ClearKeepsFoldersPruneSparesContentsAndRemovalReportsFailure)
{
    TempDir card;
    writeFile(card / "CONTENTS/VIDEO/a.MXF", "x");
    writeFile(card / "CONTENTS/b.XML", "x");
    writeFile(card / "LASTCLIP.TXT", "x");
    EXPECT_TRUE(DirectoryUtilities::clearDirectoryContents(card / "CONTENTS"));
    EXPECT_TRUE(exists(card / "CONTENTS/VIDEO"));
    EXPECT_FALSE(exists(card / "CONTENTS/VIDEO/a.MXF"));
    EXPECT_FALSE(exists(card / "CONTENTS/b.XML"));

    DirectoryUtilities::removeDirectoriesAtPath(card.path());
    EXPECT_TRUE(exists(card / "CONTENTS"));
    EXPECT_TRUE(exists(card / "LASTCLIP.TXT"));

    writeFile(card / "OLD/deep/c.MXF", "x");
    DirectoryUtilities::removeDirectoriesAtPath(card.path());
    EXPECT_FALSE(exists(card / "OLD"));
    EXPECT_TRUE(exists(card / "CONTENTS/VIDEO"));

    writeFile(card / "x/y/z", "1");
    EXPECT_TRUE(DirectoryUtilities::removeContentsAtPath(card / "x"));
    EXPECT_FALSE(exists(card / "x"));
    EXPECT_FALSE(DirectoryUtilities::removeContentsAtPath(card / "x"));
}

TEST(CardCleanup, ClearNeverFollowsALinkOffTheCard)
{
    TempDir dir;
    writeFile(dir / "elsewhere/precious.mov", "keep");
    writeFile(dir / "card/a.mov", "x");
    ASSERT_EQ(::symlink((dir / "elsewhere").c_str(), (dir / "card/link").c_str()), 0);
    EXPECT_TRUE(DirectoryUtilities::clearDirectoryContents(dir / "card"));
    EXPECT_EQ(readFile(dir / "elsewhere/precious.mov"), "keep");
    EXPECT_FALSE(exists(dir / "card/link"));
}
