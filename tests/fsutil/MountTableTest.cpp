#include "fsutil/MountTable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using ferrydeck::MountTable;

TEST(MountTable, DecodesOctalEscapesReadsFieldsAroundOptionalTagsAndSkipsMalformedLines)
{
    EXPECT_EQ(MountTable::decodeOctalEscapes("/media/me/MY\\040CARD"), "/media/me/MY CARD");
    EXPECT_EQ(MountTable::decodeOctalEscapes("a\\011b\\012c\\134d"), "a\tb\nc\\d");
    EXPECT_EQ(MountTable::decodeOctalEscapes("\\377"), "\xff");
    // Not three octal digits: kept as written.
    EXPECT_EQ(MountTable::decodeOctalEscapes("x\\08y\\04"), "x\\08y\\04");
    EXPECT_EQ(MountTable::decodeOctalEscapes("trailing\\"), "trailing\\");

    // Fields are read around the optional tags; malformed lines are skipped.
    const std::string text = "27 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
                             "40 27 8:17 / /mnt/USB\\040STICK rw,nosuid shared:5 master:3 - exfat /dev/sdb1 rw\n"
                             "41 27 0:50 /sub /srv/bind rw - cifs //server/share rw\n"
                             "garbage line\n"
                             "42 27 x:y / /bad rw - ext4 /dev/sdz rw\n"
                             "43 27 8:3 / relative rw - ext4 /dev/sda3 rw\n"
                             "44 27 8:4 / /no-separator rw ext4 /dev/sda4 rw\n"
                             "45 27 8:5 / /no-source rw -\n";
    std::vector<std::string> entries;
    for (const auto &e : MountTable::parse(text))
        entries.push_back(std::to_string(e.major) + ":" + std::to_string(e.minor) + " " + e.root + " " + e.mountPoint +
                          " " + e.fsType + " " + e.source);
    EXPECT_EQ(entries, (std::vector<std::string>{"8:2 / / ext4 /dev/sda2", "8:17 / /mnt/USB STICK exfat /dev/sdb1",
                                                 "0:50 /sub /srv/bind cifs //server/share"}));
}
