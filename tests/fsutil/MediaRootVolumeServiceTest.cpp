#include "fsutil/DirectoryUtilities.h"
#include "fsutil/MediaRootVolumeService.h"
#include "support/FixedVolumes.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

using namespace ferrydeck;
using namespace ferrydeck::test;

namespace {

// A reader with two cards, a hidden folder, a stray file and earlier ejects.
class MediaRoot : public ::testing::Test {
protected:
    void SetUp() override
    {
        writeFile(m_root / "CARD_B/DCIM/A001.MOV", "b");
        writeFile(m_root / "A CARD/clip.mxf", "a");
        makeDirectory(m_root / ".Trash-0");
        writeFile(m_root / "notes.txt", "not a card");
        makeDirectory(m_root / ".ejected/OLD");
    }

    // The system's removable volumes never count: the folder replaces them.
    static MediaRootVolumeService service(const std::string &root)
    {
        return MediaRootVolumeService(
            root, std::make_shared<FixedVolumes>(std::vector<std::string>{"/"}, std::vector<std::string>{"/mnt/usb"}));
    }

    TempDir m_root;
};

} // namespace

TEST_F(MediaRoot, ListsVisibleSubFoldersAsRemovableAndAddsThemToTheLocalVolumes)
{
    auto media = service(m_root.path() + "/");
    auto removable = media.removableVolumePaths();
    std::sort(removable.begin(), removable.end());
    EXPECT_EQ(removable, (std::vector<std::string>{m_root / "A CARD", m_root / "CARD_B"}));
    auto local = media.localVolumePaths();
    std::sort(local.begin(), local.end());
    EXPECT_EQ(local, (std::vector<std::string>{"/", m_root / "A CARD", m_root / "CARD_B"}));

    EXPECT_TRUE(service(m_root / "missing").removableVolumePaths().empty());
}

TEST_F(MediaRoot, RenamesAFolderWithoutEverReplacingAnother)
{
    auto media = service(m_root.path());
    const std::optional<std::string> identity = media.volumeIdentity(m_root / "CARD_B");
    ASSERT_TRUE(identity && identity->rfind("dev:ino:", 0) == 0);
    EXPECT_NE(identity, media.volumeIdentity(m_root / "A CARD"));
    EXPECT_TRUE(media.renameVolume("RENAMED", "CARD_B"));
    // The same card under its new name; nothing else is one.
    EXPECT_EQ(media.volumeIdentity(m_root / "RENAMED"), identity);
    EXPECT_TRUE(media.hasRemovableMedium(m_root / "RENAMED"));
    for (const std::string &other : {m_root / "CARD_B", m_root / ".ejected/OLD", m_root / "RENAMED/DCIM"}) {
        EXPECT_FALSE(media.hasRemovableMedium(other) || media.volumeIdentity(other)) << other;
    }
    EXPECT_EQ(readFile(m_root / "RENAMED/DCIM/A001.MOV"), "b");
    EXPECT_FALSE(exists(m_root / "CARD_B"));

    // Taken name, missing card, and names that would leave the root or hide
    // the card: refused, and both folders stay whole.
    EXPECT_FALSE(media.renameVolume("A CARD", "RENAMED"));
    EXPECT_FALSE(media.renameVolume("X", "NOSUCH"));
    for (const char *hostile : {"", ".", "..", "../escaped", "a/b", ".hidden"}) {
        EXPECT_FALSE(media.renameVolume(hostile, "RENAMED")) << hostile;
        EXPECT_FALSE(media.renameVolume("X", hostile)) << hostile;
    }
    EXPECT_EQ(readFile(m_root / "A CARD/clip.mxf"), "a");
    EXPECT_EQ(readFile(m_root / "RENAMED/DCIM/A001.MOV"), "b");
    EXPECT_FALSE(exists(m_root.path() + "/../escaped"));
}

TEST_F(MediaRoot, EjectMovesTheCardAsideAndKeepsEarlierEjects)
{
    auto media = service(m_root.path());
    EXPECT_TRUE(media.ejectVolume("CARD_B"));
    EXPECT_EQ(readFile(m_root / ".ejected/CARD_B/DCIM/A001.MOV"), "b");
    EXPECT_EQ(media.removableVolumePaths(), std::vector<std::string>{m_root / "A CARD"});

    // The same card name inserted and ejected again.
    writeFile(m_root / "CARD_B/second", "2");
    EXPECT_TRUE(media.ejectVolume("CARD_B"));
    EXPECT_EQ(readFile(m_root / ".ejected/CARD_B/DCIM/A001.MOV"), "b");
    EXPECT_EQ(readFile(m_root / ".ejected/CARD_B-2/second"), "2");

    for (const char *refused : {"CARD_B", ".ejected", "..", "notes.txt"})
        EXPECT_FALSE(media.ejectVolume(refused)) << refused;
    EXPECT_TRUE(exists(m_root / ".ejected/OLD"));
}

// Ejecting through the variable's back end is WatchCommand.ANewCardIsOffloaded...'s.
TEST_F(MediaRoot, EnvironmentSelectsTheBackEndForTheUtilities)
{
    ASSERT_EQ(::setenv(VolumeService::kMediaRootVariable, m_root.path().c_str(), 1), 0);
    EXPECT_EQ(DirectoryUtilities::removableDrives(), (std::vector<std::string>{m_root / "A CARD", m_root / "CARD_B"}));
    EXPECT_EQ(DirectoryUtilities::renameDrive("CARD_C", "CARD_B"), std::optional<std::string>("CARD_C"));
    EXPECT_TRUE(DirectoryUtilities::driveIsRemovable(m_root / "CARD_C"));
    // Deliberately true even when there was nothing to eject.
    EXPECT_TRUE(DirectoryUtilities::ejectDrive("NOSUCH"));
    ::unsetenv(VolumeService::kMediaRootVariable);
    EXPECT_FALSE(DirectoryUtilities::driveIsRemovable(m_root / "A CARD"));
}
