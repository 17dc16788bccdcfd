#include "cards/HDUtilities.h"
#include "support/CardFixtures.h"
#include "support/CliRun.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

using namespace ferrydeck;
using namespace ferrydeck::test;

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

void PrintTo(const Layout &layout, std::ostream *out)
{
    *out << layout.name;
}

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
