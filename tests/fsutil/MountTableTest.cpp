#include "fsutil/MountTable.h"

#include <gtest/gtest.h>

using ferrydeck::MountTable;

TEST(MountTable, DecodesOctalEscapesAndLeavesOtherBackslashesAlone)
{
    EXPECT_EQ(MountTable::decodeOctalEscapes("/media/me/MY\\040CARD"), "/media/me/MY CARD");
    EXPECT_EQ(MountTable::decodeOctalEscapes("a\\011b\\012c\\134d"), "a\tb\nc\\d");
    EXPECT_EQ(MountTable::decodeOctalEscapes("\\377"), "\xff");
    // Not three octal digits: kept as written.
    EXPECT_EQ(MountTable::decodeOctalEscapes("x\\08y\\04"), "x\\08y\\04");
    EXPECT_EQ(MountTable::decodeOctalEscapes("trailing\\"), "trailing\\");
}

TEST(MountTable, ReadsFieldsAroundOptionalTagsAndSkipsMalformedLines)
{
    const std::string text = "27 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
                             "40 27 8:17 / /mnt/USB\\040STICK rw,nosuid shared:5 master:3 - exfat /dev/sdb1 rw\n"
                             "41 27 0:50 /sub /srv/bind rw - cifs //server/share rw\n"
                             "garbage line\n"
                             "42 27 x:y / /bad rw - ext4 /dev/sdz rw\n"
                             "43 27 8:3 / relative rw - ext4 /dev/sda3 rw\n"
                             "44 27 8:4 / /no-separator rw ext4 /dev/sda4 rw\n"
                             "45 27 8:5 / /no-source rw -\n";
    const auto entries = MountTable::parse(text);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].mountPoint, "/");
    EXPECT_EQ(entries[0].source, "/dev/sda2");
    EXPECT_EQ(entries[1].major, 8u);
    EXPECT_EQ(entries[1].minor, 17u);
    EXPECT_EQ(entries[1].mountPoint, "/mnt/USB STICK");
    EXPECT_EQ(entries[1].fsType, "exfat");
    EXPECT_EQ(entries[2].root, "/sub");
    EXPECT_EQ(entries[2].source, "//server/share");
}
