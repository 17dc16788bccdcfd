#include "cards/HDUtilities.h"
#include "cards/PanasonicAVCHDUtilities.h"
#include "fsutil/Resources.h"
#include "support/CardFixtures.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace ferrydeck;
using namespace ferrydeck::test;
using Tree = std::vector<std::string>;

namespace {

class CardReformat : public ::testing::Test {
protected:
    TempDir media;
    ScopedMediaRoot reader{media.path()};

    BuiltCard card(CardKind kind) { return buildCard(kind, media / "CARD_A"); }
    Tree tree() const { return listTree(media / "CARD_A"); }
};

std::string sizeOf(const std::string &text)
{
    return std::to_string(text.size());
}

} // namespace

TEST_F(CardReformat, P2KeepsContentsAndAFreshClipCounter)
{
    card(CardKind::P2);
    writeFile(media / "CARD_A/EXTRA/notes.txt", "x");
    ASSERT_TRUE(HDUtilities::reformatDrive(media / "CARD_A"));
    const auto lastClip = resourcePath("LASTCLIP.TXT");
    ASSERT_TRUE(lastClip);
    const std::string counter = readFile(*lastClip);
    EXPECT_EQ(tree(), (Tree{"CONTENTS/", "CONTENTS/AUDIO/", "CONTENTS/CLIP/", "CONTENTS/ICON/", "CONTENTS/PROXY/",
                            "CONTENTS/VIDEO/", "CONTENTS/VOICE/", "LASTCLIP.TXT " + sizeOf(counter)}));
    EXPECT_EQ(readFile(media / "CARD_A/LASTCLIP.TXT"), counter);
    EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(media / "CARD_A"), 1) << "the camera must take it again";
}

TEST_F(CardReformat, XdcamExEmptiesBpavAndLeavesTheRestAlone)
{
    card(CardKind::XdcamEx);
    writeFile(media / "CARD_A/GENERAL/notes.txt", "x");
    ASSERT_TRUE(HDUtilities::reformatDrive(media / "CARD_A"));
    const std::string cueup = readFile(media / "CARD_A/BPAV/CUEUP.XML");
    const std::string mediaPro = readFile(media / "CARD_A/BPAV/MEDIAPRO.XML");
    EXPECT_EQ(tree(), (Tree{"BPAV/", "BPAV/CLPR/", "BPAV/CUEUP.XML " + sizeOf(cueup),
                            "BPAV/MEDIAPRO.XML " + sizeOf(mediaPro), "BPAV/TAKR/", "GENERAL/", "GENERAL/notes.txt 1"}));
    EXPECT_NE(cueup.find("<history"), std::string::npos);
    EXPECT_EQ(cueup.find("<entry"), std::string::npos);
    EXPECT_EQ(mediaPro.find("Contents"), std::string::npos);
    EXPECT_EQ(mediaPro.find("Material"), std::string::npos);

    // A card whose backup index is already gone reformats the same way.
    card(CardKind::XdcamEx);
    std::filesystem::remove(media / "CARD_A/BPAV/MEDIAPRO.BAK");
    EXPECT_TRUE(HDUtilities::reformatDrive(media / "CARD_A"));
    EXPECT_FALSE(exists(media / "CARD_A/BPAV/CLPR/436_0001_01"));
}

TEST_F(CardReformat, JvcMp4LosesAStrayTopFolderAndKeepsItsIndexFilesEmptied)
{
    card(CardKind::JvcMp4);
    writeFile(media / "CARD_A/DCIM/100JVC/x.JPG", "x");
    ASSERT_TRUE(HDUtilities::reformatDrive(media / "CARD_A"));
    const std::string bpav = "PRIVATE/JVC/BPAV/";
    const std::string cueup = readFile(media / "CARD_A" + "/" + bpav + "CUEUP.XML");
    const std::string mediaPro = readFile(media / "CARD_A" + "/" + bpav + "MEDIAPRO.XML");
    EXPECT_EQ(tree(), (Tree{"PRIVATE/", "PRIVATE/JVC/", bpav, bpav + "CLPR/", bpav + "CUEUP.XML " + sizeOf(cueup),
                            bpav + "MEDIAPRO.XML " + sizeOf(mediaPro), bpav + "TAKR/"}));
    EXPECT_EQ(cueup.find("<entry"), std::string::npos);
    EXPECT_EQ(mediaPro.find("Contents"), std::string::npos);
}

TEST_F(CardReformat, JvcQuickTimeRemovesItsBackupIndexAndIsNoLongerRecognised)
{
    card(CardKind::JvcQuickTime);
    ASSERT_TRUE(HDUtilities::reformatDrive(media / "CARD_A"));
    const std::string cqav = "PRIVATE/JVC/CQAV/";
    const std::string index = readFile(media / "CARD_A" + "/" + cqav + "MEDIAINF.XML");
    EXPECT_EQ(tree(), (Tree{"PRIVATE/", "PRIVATE/JVC/", cqav, cqav + "CLIP/", cqav + "INFO/",
                            cqav + "MEDIAINF.XML " + sizeOf(index)}));
    EXPECT_EQ(index.find("CLIP0001"), std::string::npos);
    EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(media / "CARD_A"), 11);
}

// Red has no top folder of its own to keep: the card is emptied and its reformat still succeeds.
TEST_F(CardReformat, CanonEosKeepsMiscAndEmptyDcimFoldersAndRedIsEmptied)
{
    for (const auto &[kind, after] :
         {std::pair{CardKind::CanonEos, Tree{"DCIM/", "DCIM/100CANON/", "MISC/", "MISC/CANONMSC.DAT 8"}},
          std::pair{CardKind::Red, Tree{}}}) {
        std::filesystem::remove_all(media / "CARD_A");
        card(kind);
        EXPECT_TRUE(HDUtilities::reformatDrive(media / "CARD_A")) << cardKindName(kind);
        EXPECT_TRUE(exists(media / "CARD_A"));
        EXPECT_EQ(tree(), after) << cardKindName(kind);
    }
}

TEST_F(CardReformat, UnknownStructuresAreNeverTouched)
{
    for (CardKind kind : {CardKind::QuickTime, CardKind::PanasonicAvchd, CardKind::XdcamHd}) {
        std::filesystem::remove_all(media / "CARD_A");
        card(kind);
        const Tree before = tree();
        EXPECT_FALSE(HDUtilities::reformatDrive(media / "CARD_A")) << cardKindName(kind);
        EXPECT_EQ(tree(), before) << cardKindName(kind);
    }
    // The AVCHD procedure exists, reached only by asking a type directly.
    EXPECT_TRUE(PanasonicAVCHDUtilities::utility()->reformatDrivePath(media / "CARD_A"));
    EXPECT_EQ(tree(), Tree{});
}

TEST_F(CardReformat, NothingOffARemovableVolumeIsEverReached)
{
    TempDir fixed;
    buildCard(CardKind::P2, fixed / "P2");
    const Tree before = listTree(fixed.path());
    // A perfect card on a fixed disk, asked for by name, by a dotted way round
    // to it, and through a link that the simulated reader lists as a card.
    std::filesystem::create_directory_symlink(fixed / "P2", media / "LINKED");
    makeDirectory(media / "CARD_A");
    for (const std::string &drive : {fixed / "P2", media / "CARD_A/../LINKED", media / "LINKED"}) {
        EXPECT_FALSE(HDUtilities::reformatDrive(drive)) << drive;
        for (const auto &utility : HDUtilities::allUtilities()) {
            EXPECT_FALSE(utility->reformatDrivePath(drive)) << utility->volumeTitle() << " " << drive;
        }
    }
    EXPECT_FALSE(PanasonicAVCHDUtilities::utility()->reformatDrivePath(fixed / "P2"));
    EXPECT_EQ(listTree(fixed.path()), before);
}

TEST_F(CardReformat, LinksOnACardNeverLeadOffIt)
{
    TempDir outside;
    writeFile(outside / "keep/CLPR/precious.MP4", "precious");
    writeFile(outside / "CUEUP.XML", "<?xml version=\"1.0\"?><a><history><entry/></history></a>");
    const Tree before = listTree(outside.path());

    // XDCAM EX whose BPAV folder is a link to another disk: stopped.
    card(CardKind::XdcamEx);
    std::filesystem::remove_all(media / "CARD_A/BPAV");
    std::filesystem::create_directory_symlink(outside / "keep", media / "CARD_A/BPAV");
    EXPECT_FALSE(HDUtilities::utilityForType(4)->reformatDrivePath(media / "CARD_A"));

    // JVC-MP4 with its index file a link: the link goes, the target stays.
    std::filesystem::remove_all(media / "CARD_A");
    card(CardKind::JvcMp4);
    const std::string cueup = media / "CARD_A/PRIVATE/JVC/BPAV/CUEUP.XML";
    std::filesystem::remove(cueup);
    std::filesystem::create_symlink(outside / "CUEUP.XML", cueup);
    std::filesystem::create_directory_symlink(outside / "keep", media / "CARD_A/PRIVATE/JVC/BPAV/CLPR/LINKED");
    EXPECT_TRUE(HDUtilities::reformatDrive(media / "CARD_A"));
    EXPECT_FALSE(exists(cueup));

    EXPECT_EQ(listTree(outside.path()), before);
}
