#include "fsutil/DirectoryUtilities.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

using ferrydeck::DirectoryUtilities;
using namespace ferrydeck::test;

namespace {

std::vector<std::string> listed(const std::string &dir, bool folders, uint64_t &count, uint64_t &bytes)
{
    auto files = DirectoryUtilities::sourceFilesAtDirectory(dir, folders, count, bytes);
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

TEST(SourceWalk, SkipsDotFilesAndEverythingUnderTopLevelDotFolders)
{
    TempDir card;
    writeSizedFile(card / "a.mov", 1000);
    writeFile(card / ".DS_Store", "x");
    writeFile(card / "._a.mov", "xx");
    writeFile(card / ".Trashes/501/x.mov", "trash");
    writeFile(card / "DCIM/.hidden/y.jpg", "12345");
    writeFile(card / "DCIM/.hidden/.z.jpg", "no");

    uint64_t count = 99, bytes = 99;
    const auto files = listed(card.path(), false, count, bytes);
    EXPECT_EQ(files, (std::vector<std::string>{card / "DCIM/.hidden/y.jpg", card / "a.mov"}));
    EXPECT_EQ(std::pair(count, bytes), (std::pair<uint64_t, uint64_t>(2, 1005)));
}

TEST(SourceWalk, ListsFoldersWhenAskedWithoutCountingThemEachBeforeItsContents)
{
    TempDir card;
    writeSizedFile(card / "DCIM/100/a.jpg", 300);
    writeFile(card / "DCIM/top.mov", "t");
    makeDirectory(card / ".Spotlight/store");

    uint64_t count = 0, bytes = 0, countWithout = 0, bytesWithout = 0;
    const auto all = DirectoryUtilities::sourceFilesAtDirectory(card.path(), true, count, bytes);
    listed(card.path(), false, countWithout, bytesWithout);
    auto files = all;
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, (std::vector<std::string>{card / "DCIM", card / "DCIM/100", card / "DCIM/100/a.jpg",
                                               card / "DCIM/top.mov"}));
    EXPECT_EQ(std::pair(count, bytes), std::pair(countWithout, bytesWithout));
    auto at = [&](const std::string &p) { return std::find(all.begin(), all.end(), card / p) - all.begin(); };
    EXPECT_LT(at("DCIM"), at("DCIM/100"));
    EXPECT_LT(at("DCIM/100"), at("DCIM/100/a.jpg"));
    EXPECT_LT(at("DCIM"), at("DCIM/top.mov"));
    EXPECT_EQ(DirectoryUtilities::subDirectoriesAtDirectory(card.path()),
              (std::vector<std::string>{card / "DCIM", card / "DCIM/100"}));
}

TEST(SourceWalk, SymbolicLinksCountWithTheirOwnSizeAndAreNotFollowed)
{
    TempDir root;
    writeSizedFile(root / "outside/big.bin", 100000);
    writeFile(root / "card/clip.mov", "12345");
    ASSERT_EQ(::symlink((root / "outside").c_str(), (root / "card/linkdir").c_str()), 0);
    ASSERT_EQ(::symlink("clip.mov", (root / "card/linkfile").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", (root / "card/dangling").c_str()), 0);

    uint64_t count = 0, bytes = 0;
    const auto files = listed(root / "card", false, count, bytes);
    EXPECT_EQ(files, (std::vector<std::string>{root / "card/clip.mov", root / "card/dangling", root / "card/linkdir",
                                               root / "card/linkfile"}));
    // 5 bytes of the clip plus the lengths of the three link targets.
    EXPECT_EQ(std::pair(count, bytes), (std::pair<uint64_t, uint64_t>(4, 5 + (root / "outside").size() + 8 + 7)));
}

TEST(SourceWalk, MissingOrEmptyFolderGivesNothing)
{
    TempDir dir;
    for (const std::string &folder : {dir.path(), dir / "missing"}) {
        uint64_t count = 7, bytes = 7;
        EXPECT_TRUE(DirectoryUtilities::sourceFilesAtDirectory(folder, count, bytes).empty()) << folder;
        EXPECT_EQ(count + bytes, 0u) << folder;
    }
}

TEST(SourceWalk, UnreadableSubfolderIsReportedAndTheRestListed)
{
    if (::geteuid() == 0) GTEST_SKIP() << "root reads every folder (test_faults covers it with an injected EACCES)";
    TempDir card;
    writeFile(card / "ok/a.mov", "a");
    writeFile(card / "locked/b.mov", "b");
    ASSERT_EQ(::chmod((card / "locked").c_str(), 0), 0);
    uint64_t count = 0, bytes = 0;
    std::vector<DirectoryUtilities::UnreadableEntry> unreadable;
    const auto files = DirectoryUtilities::sourceFilesAtDirectory(card.path(), false, count, bytes, unreadable);
    EXPECT_EQ(files, (std::vector<std::string>{card / "ok/a.mov"}));
    ASSERT_EQ(unreadable.size(), 1u);
    EXPECT_EQ(std::pair(unreadable[0].path, unreadable[0].error), std::pair(card / "locked", EACCES));
}

TEST(Permissions, WriteTestAndUnlockThroughTheTree)
{
    TempDir dir;
    EXPECT_TRUE(DirectoryUtilities::doesPathHaveWritePermissions(dir.path()));
    EXPECT_FALSE(DirectoryUtilities::doesPathHaveWritePermissions(dir / "missing"));

    // Unlocking adds the owner's write permission through the tree.
    writeFile(dir / "card/CLIP/a.mov", "x");
    ASSERT_EQ(::chmod((dir / "card/CLIP/a.mov").c_str(), 0444), 0);
    ASSERT_EQ(::chmod((dir / "card/CLIP").c_str(), 0555), 0);
    EXPECT_TRUE(DirectoryUtilities::unlockDirectory(dir / "card"));
    EXPECT_EQ(statOf(dir / "card/CLIP").st_mode & 0200, 0200u);
    EXPECT_EQ(statOf(dir / "card/CLIP/a.mov").st_mode & 07777, 0644u);
    EXPECT_FALSE(DirectoryUtilities::unlockDirectory(dir / "missing"));
}
