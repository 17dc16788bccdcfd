#include "cards/AVCHDUtilities.h"
#include "cards/HDUtilities.h"
#include "cards/PanasonicAVCHDUtilities.h"
#include "cards/SonyXDCAMUtilities.h"
#include "fsutil/Resources.h"
#include "support/CardFixtures.h"
#include "support/CliRun.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace ferrydeck;
using namespace ferrydeck::test;
using Tree = std::vector<std::string>;

// Ids are stored in preferences; titles are what the operator picks from.
TEST(HDUtilities, RegistryRoundTripsTitlesAndIdsAndUnknownsAreTheUndefinedType)
{
    const auto all = HDUtilities::allUtilities();
    ASSERT_EQ(all.size(), 19u);
    for (const auto &utility : all) {
        EXPECT_EQ(HDUtilities::volumeTypeFromTitle(utility->volumeTitle()), utility->volumeType());
        EXPECT_EQ(HDUtilities::volumeTitleForType(utility->volumeType()), utility->volumeTitle());
    }
    EXPECT_EQ(all.front()->volumeTitle(), "Panasonic P2");
    EXPECT_EQ(HDUtilities::volumeTitleForType(10), "Apple QuickTime");
    EXPECT_EQ(HDUtilities::volumeTitleForType(13), "Sony NXCAM AVCHD");
    EXPECT_EQ(HDUtilities::volumeTitleForType(6), "JVC-MP4");
    for (int32_t type : {11, 0, 99, -1})
        EXPECT_EQ(HDUtilities::utilityForType(type)->volumeTitle(), "Volume");
    for (const char *title : {"panasonic p2", "Volume", "AVCHD"})
        EXPECT_EQ(HDUtilities::volumeTypeFromTitle(title), 11) << title;
    // The family classes are not registered and answer the undefined id.
    EXPECT_EQ(AVCHDUtilities::utility()->volumeType(), 11);
    EXPECT_EQ(SonyXDCAMUtilities::utility()->volumeType(), 11);
}

TEST(HDUtilities, EveryKindOfDriveAndClipIsRecognisedOnlyOnARemovableVolume)
{
    const struct {
        CardKind kind;
        int32_t driveType; // on a removable volume
        int32_t fileType;  // of its first clip
    } cases[] = {{CardKind::P2, 1, 1},
                 {CardKind::XdcamEx, 4, 4},
                 {CardKind::XdcamHd, 11, 5},
                 {CardKind::JvcMp4, 6, 6},
                 {CardKind::JvcQuickTime, 7, 7},
                 {CardKind::CanonEos, 8, 8},
                 {CardKind::Red, 3, 3},
                 {CardKind::PanasonicAvchd, 11, 2},
                 {CardKind::CanonAvchd, 11, 9},
                 {CardKind::SonyAvchd, 11, 13},
                 // DCIM and MISC are all the Canon EOS drive rule asks for.
                 {CardKind::GoPro, 8, 12},
                 {CardKind::QuickTime, 11, 10}};
    for (const auto &c : cases) {
        SCOPED_TRACE(cardKindName(c.kind));
        TempDir media, fixed;
        ScopedMediaRoot reader(media.path());
        const BuiltCard card = buildCard(c.kind, media / "CARD_A");
        const BuiltCard copy = buildCard(c.kind, fixed / "CARD_A");
        EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(card.root), c.driveType);
        EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(copy.root), 11) << "a fixed-disk folder is never a card";
        EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(card.root + "/"), 11);
        EXPECT_EQ(HDUtilities::volumeTypeFromFilePath(card.clips.front()), c.fileType);
        EXPECT_TRUE(HDUtilities::filePathMatchesVolumeType(copy.clips.front(), c.fileType));
    }
}

TEST(HDUtilities, AvchdMakersByFolderAndNameCaseAndQuickTimeMoviesByTheCameraThatWroteThem)
{
    TempDir dir;
    makeDirectory(dir / "Z/PRIVATE/AVCHD/CANON");
    writeFile(dir / "R/A001.RDM/A001_C001.RDC/clip.mov", "not even a movie");
    writeFile(dir / "R/A001.RDM/A001_C001.RDC/clip.R3D", "raw");
    writeFile(dir / "X/DCIM/100GOPRO/GOPR0001.MP4", movieBytes(1000, 100));
    writeFile(dir / "X/DCIM/100GOPRO/GOPR0002.MP4", movieBytes(1000, 99));
    writeFile(dir / "X/DCIM/100GOPRO/GOPR0003.MP4", movieBytes(1000, 5000, false));
    writeFile(dir / "X/DCIM/100GOPRO/gopr0004.MP4", movieBytes(1000, 5000));
    writeFile(dir / "X/DCIM/GOPR0005.MP4", movieBytes(1000, 5000));
    const std::pair<const char *, int32_t> cases[] = {
        {"X/AVCHD/BDMV/STREAM/00000.MTS", 13},
        {"Y/PRIVATE/AVCHD/BDMV/STREAM/00000.MTS", 2},
        {"Z/PRIVATE/AVCHD/BDMV/STREAM/00000.MTS", 9},
        // The name is matched in its own case inside the upper-cased path.
        {"X/AVCHD/BDMV/STREAM/00000.mts", 11},
        {"X/AVCHD/BDMV/STREAM/clip0.MTS", 11},
        {"Y/private/avchd/BDMV/STREAM/00000.MTS", 13},
        // QuickTime movies are refined to the camera that wrote them.
        {"R/A001.RDM/A001_C001.RDC/clip.mov", 3},
        {"R/A001.RDM/A001_C001.RDC/clip.R3D", 11},
        {"X/DCIM/100GOPRO/GOPR0001.MP4", 12},
        {"X/DCIM/100GOPRO/GOPR0002.MP4", 11}, // too short to be a movie
        {"X/DCIM/100GOPRO/GOPR0003.MP4", 11}, // no video track
        {"X/DCIM/100GOPRO/gopr0004.MP4", 10},
        {"X/DCIM/GOPR0005.MP4", 10},
        {"X/DCIM/100CANON/MVI_0001.mov", 8},
        {"X/PRIVATE/JVC/CQAV/CLIP/CLIP0001.MOV", 7},
        {"X/Movies/CLIP0001.MOV", 10},
    };
    for (const auto &[path, type] : cases)
        EXPECT_EQ(HDUtilities::volumeTypeFromFilePath(dir / path), type) << path;
}

TEST(HDUtilities, RedDriveNeedsItsReelOneFolderBelowTheTop)
{
    TempDir media;
    ScopedMediaRoot reader(media.path());
    writeFile(media / "TOP/A001.RDM/A001_C001.RDC/A001_C001_001.R3D", "raw");
    writeFile(media / "LOWER/MAG/A001.RDM/A001_C001.RDC/A001_C001_001.r3d", "raw");
    EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(media / "TOP"), 17) << "not RED (3): the later RED type";
    EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(media / "LOWER"), 11) << "suffixes are case-sensitive";
    writeFile(media / "LOWER/MAG/A001.RDM/A001_C001.RDC/A001_C001_002.R3D", "raw");
    EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(media / "LOWER"), 3);
}

namespace {

// A card as its camera leaves it: files relative to the card, the first one
// being the clip asked about. A movie clip holds a real movie (the original
// rules call it a QuickTime movie first); anything else holds its own path.
struct Layout {
    const char *name;
    std::vector<std::string> files;
    int32_t driveType;
    int32_t clipType;
};

std::string build(const Layout &layout, const std::string &card)
{
    for (const std::string &file : layout.files)
        writeFile(card + "/" + file, file.ends_with("C0001.MP4") ? movieBytes(30000, 300300) : file);
    return card + "/" + layout.files.front();
}

// Every path with its bytes, so that any change to the card shows.
std::vector<std::string> snapshot(const std::string &card)
{
    std::vector<std::string> entries = listTree(card);
    for (std::string &entry : entries) {
        if (!entry.ends_with("/")) entry += "=" + readFile(card + "/" + entry.substr(0, entry.rfind(' ')));
    }
    return entries;
}

class LaterCards : public ::testing::TestWithParam<Layout> {};

} // namespace

TEST_P(LaterCards, AreRecognisedAfterTheOriginalTypesAndNeverReformattedByUs)
{
    const Layout &layout = GetParam();
    TempDir media;
    ScopedMediaRoot reader(media.path());
    const std::string card = media / "CARD";
    const std::string clip = build(layout, card);
    EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(card), layout.driveType);
    EXPECT_EQ(HDUtilities::volumeTypeFromFilePath(clip), layout.clipType);
    if (layout.driveType == 11) return;

    const std::vector<std::string> before = snapshot(card);
    EXPECT_FALSE(HDUtilities::reformatDrive(card));
    // Even --force, which overrides a missing offload, leaves it to the camera.
    const CliRun::Result run = runCli({"reformat", "--yes", "--force", card},
                                      {{"FERRYDECK_MEDIA_ROOT", media.path()}, {"XDG_STATE_HOME", media / ".state"}});
    EXPECT_EQ(run.exitCode, 2) << run.err;
    EXPECT_NE(run.err.find("format this card in its camera"), std::string::npos) << run.err;
    EXPECT_EQ(snapshot(card), before);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, LaterCards,
    ::testing::Values(
        Layout{"SonyXavc", {"PRIVATE/M4ROOT/CLIP/C0001.MP4", "PRIVATE/M4ROOT/MEDIAPRO.XML"}, 14, 14},
        Layout{"SonyXavcWithoutPrivate", {"M4ROOT/CLIP/C0002.MP4"}, 11, 11},
        Layout{"ArriMxf", {"A001R1AB/A001C003_210101_R1AB.mxf"}, 15, 15},
        Layout{"ArriRawFrames", {"A002R2CD/A002C001_210102_R2CD/A002C001_210102_R2CD.0000001.ari"}, 15, 15},
        Layout{"ArriClipOutsideItsReel", {"Clips/A001C003_210101_R1AB.mxf"}, 11, 11},
        Layout{"Blackmagic", {"A001_08151432_C001.braw"}, 16, 16},
        Layout{"BlackmagicNameOnAFolder", {"TAKES.braw/notes.txt"}, 11, 11},
        // A clip alone cannot tell where the card's top is: the file stays unknown.
        Layout{"RedReelAtTheTop", {"A001_0101AB.RDM/A001_C001_0101AB.RDC/A001_C001_0101AB_001.R3D"}, 17, 11},
        Layout{"RedReelAtTheTopLowerCase", {"A001_0101AB.RDM/A001_C001_0101AB.RDC/A001_C001_0101AB_001.r3d"}, 11, 11},
        Layout{"CanonCinema", {"CONTENTS/CLIPS001/A001C001_210101AB_CANON.MXF"}, 18, 18},
        Layout{"CanonCinemaUnnumbered", {"CONTENTS/CLIPS/A001C001_210101AB_CANON.MXF"}, 11, 11},
        // The XDCAM HD file rule is original and keeps its clip.
        Layout{"VeniceXdroot", {"XDROOT/Clip/A001C001_220101AB.mxf"}, 19, 5},
        Layout{"VeniceReel", {"A001_X1/A001C001_220101.mxf"}, 19, 19},
        Layout{"VeniceReelBelowTheTop", {"MAG/A001_X1/A001C001_220101.mxf"}, 11, 19},
        Layout{"Dji", {"DCIM/100MEDIA/DJI_0001.MP4", "DCIM/100MEDIA/DJI_0002.JPG"}, 20, 20},
        Layout{"DjiPhotosOnly", {"DCIM/100MEDIA/DJI_0002.JPG"}, 11, 11}),
    [](const ::testing::TestParamInfo<Layout> &info) { return std::string(info.param.name); });

namespace {

class CardReformat : public ::testing::Test {
protected:
    TempDir media;
    ScopedMediaRoot reader{media.path()};

    BuiltCard card(CardKind kind) { return buildCard(kind, media / "CARD_A"); }
    Tree tree() const { return listTree(media / "CARD_A"); }
};

} // namespace

// Each type leaves the skeleton its camera expects; index files are rewritten
// (" *": any size) without their clip entries, and strays go or stay by type.
TEST_F(CardReformat, EachTypeLeavesTheSkeletonItsCameraExpects)
{
    const std::string bpav = "PRIVATE/JVC/BPAV/", cqav = "PRIVATE/JVC/CQAV/";
    const struct {
        CardKind kind;
        const char *stray; // written before the reformat
        Tree after;
        std::vector<std::tuple<std::string, const char *, bool>> texts; // file, text, still there
        int32_t typeAfter; // the camera must take it again, or it is no longer a card
    } cases[] = {
        {CardKind::P2,
         "EXTRA/notes.txt",
         {"CONTENTS/", "CONTENTS/AUDIO/", "CONTENTS/CLIP/", "CONTENTS/ICON/", "CONTENTS/PROXY/", "CONTENTS/VIDEO/",
          "CONTENTS/VOICE/", "LASTCLIP.TXT *"},
         {},
         1}, // with a fresh clip counter
        {CardKind::XdcamEx,
         "GENERAL/notes.txt",
         {"BPAV/", "BPAV/CLPR/", "BPAV/CUEUP.XML *", "BPAV/MEDIAPRO.XML *", "BPAV/TAKR/", "GENERAL/",
          "GENERAL/notes.txt 1"},
         {{"BPAV/CUEUP.XML", "<history", true},
          {"BPAV/CUEUP.XML", "<entry", false},
          {"BPAV/MEDIAPRO.XML", "Contents", false},
          {"BPAV/MEDIAPRO.XML", "Material", false}},
         4},
        {CardKind::JvcMp4,
         "DCIM/100JVC/x.JPG",
         {"PRIVATE/", "PRIVATE/JVC/", bpav, bpav + "CLPR/", bpav + "CUEUP.XML *", bpav + "MEDIAPRO.XML *",
          bpav + "TAKR/"},
         {{bpav + "CUEUP.XML", "<entry", false}, {bpav + "MEDIAPRO.XML", "Contents", false}},
         6},
        {CardKind::JvcQuickTime,
         nullptr,
         {"PRIVATE/", "PRIVATE/JVC/", cqav, cqav + "CLIP/", cqav + "INFO/", cqav + "MEDIAINF.XML *"},
         {{cqav + "MEDIAINF.XML", "CLIP0001", false}},
         11},
        {CardKind::CanonEos, nullptr, {"DCIM/", "DCIM/100CANON/", "MISC/", "MISC/CANONMSC.DAT 8"}, {}, 8},
        // Red has no top folder of its own to keep: the card is emptied and still succeeds.
        {CardKind::Red, nullptr, {}, {}, 11},
    };
    const auto lastClip = resourcePath("LASTCLIP.TXT");
    ASSERT_TRUE(lastClip);
    for (const auto &c : cases) {
        SCOPED_TRACE(cardKindName(c.kind));
        std::filesystem::remove_all(media / "CARD_A");
        card(c.kind);
        if (c.stray) writeFile(media / "CARD_A/" + c.stray, "x");
        ASSERT_TRUE(HDUtilities::reformatDrive(media / "CARD_A"));
        EXPECT_TRUE(exists(media / "CARD_A"));
        Tree after = tree();
        for (size_t i = 0; i < after.size() && i < c.after.size(); ++i) {
            if (c.after[i].ends_with(" *")) after[i] = after[i].substr(0, after[i].rfind(' ')) + " *";
        }
        EXPECT_EQ(after, c.after);
        for (const auto &[file, text, kept] : c.texts)
            EXPECT_EQ(readFile(media / "CARD_A/" + file).find(text) != std::string::npos, kept) << file << " " << text;
        EXPECT_EQ(HDUtilities::volumeTypeFromDrivePath(media / "CARD_A"), c.typeAfter);
        if (c.kind == CardKind::P2) {
            EXPECT_EQ(readFile(media / "CARD_A/LASTCLIP.TXT"), readFile(*lastClip));
        }
    }
    // An XDCAM EX card whose backup index is already gone reformats the same way.
    std::filesystem::remove_all(media / "CARD_A");
    card(CardKind::XdcamEx);
    std::filesystem::remove(media / "CARD_A/BPAV/MEDIAPRO.BAK");
    EXPECT_TRUE(HDUtilities::reformatDrive(media / "CARD_A"));
    EXPECT_FALSE(exists(media / "CARD_A/BPAV/CLPR/436_0001_01"));
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
