#include "cards/HDUtilities.h"
#include "cards/JVCMP4Utilities.h"
#include "cards/PanasonicP2Utilities.h"
#include "cards/SonyXDCAMExUtilities.h"
#include "support/CardFixtures.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

using namespace ferrydeck;
using namespace ferrydeck::test;
using namespace std::chrono_literals;

namespace {

const PanasonicP2Utilities &p2()
{
    return *PanasonicP2Utilities::utility();
}

} // namespace

TEST(PanasonicP2Metadata, ReadsTheClipIndexFile)
{
    TempDir dir;
    const BuiltCard card = buildCard(CardKind::P2, dir / "CARD");
    const std::string clip = card.clips.front();
    const std::string xml = dir / "CARD/CONTENTS/CLIP/0001AB.XML";
    EXPECT_EQ(HDUtilities::dataFilePathForVideoFile(clip), xml);
    EXPECT_EQ(p2().startTimecodeForVideoFile(clip), "10:00:00:00");
    EXPECT_EQ(p2().uniqueIdentifierForVideoFile(clip), P2Clip{}.globalClipId);
    EXPECT_EQ(p2().userClipNameForVideoFile(clip), "0001AB");
    EXPECT_EQ(p2().framerateForVideoFile(clip), "29.97");
    EXPECT_FALSE(p2().videoFileIsDropFrame(clip));

    P2Clip fast{"0001AB"};
    fast.editUnit = "1001/60000";
    fast.frameRate = "59.94i";
    fast.userClipName = "Interview";
    std::string dropFrame = p2ClipXml(fast);
    writeFile(xml, dropFrame.replace(dropFrame.find("<FrameRate>"), 11, "<FrameRate DropFrame=\"true\">"));
    EXPECT_EQ(p2().framerateForVideoFile(clip, VolumeUtilities::kFramerateFromEditUnit), "59.94");
    EXPECT_EQ(p2().framerateForVideoFile(clip, 7), "29.97");
    EXPECT_TRUE(p2().videoFileIsDropFrame(clip));
    EXPECT_EQ(p2().userClipNameForVideoFile(clip), "Interview");
    writeFile(xml, p2ClipXml(fast));
    EXPECT_EQ(p2().framerateForVideoFile(clip, VolumeUtilities::kFramerateFromFrameRate), "59.94");

    for (const char *editUnit : {"1001", "0/30000", "abc"}) {
        fast.editUnit = editUnit;
        writeFile(xml, p2ClipXml(fast));
        EXPECT_EQ(p2().framerateForVideoFile(clip), "29.97") << editUnit;
    }

    std::filesystem::remove(xml);
    EXPECT_EQ(p2().startTimecodeForVideoFile(clip), "00:00:00:00");
    EXPECT_EQ(p2().uniqueIdentifierForVideoFile(clip), "0001AB");
    EXPECT_EQ(p2().framerateForVideoFile(clip, VolumeUtilities::kFramerateFromFrameRate), "29.97");
    EXPECT_FALSE(p2().videoFileIsDropFrame(clip));
}

TEST(PanasonicP2Metadata, AudioFilesComeInChannelOrderOnceComplete)
{
    TempDir dir;
    const BuiltCard card = buildCard(CardKind::P2, dir / "CARD");
    const PanasonicP2Utilities::AudioWait quick{10ms, 2s, nullptr};
    const auto audio = p2().audioFilesForMoviePath(card.clips.front(), quick);
    ASSERT_TRUE(audio);
    EXPECT_EQ(*audio, (std::vector<std::string>{dir / "CARD/CONTENTS/AUDIO/0001AB00.MXF",
                                                dir / "CARD/CONTENTS/AUDIO/0001AB01.MXF"}));

    // A channel file that never gets any data ends the wait at the limit.
    writeFile(dir / "CARD/CONTENTS/AUDIO/0001AB02.MXF", "");
    const PanasonicP2Utilities::AudioWait bounded{10ms, 300ms, nullptr};
    const auto start = std::chrono::steady_clock::now();
    const auto withEmpty = p2().audioFilesForMoviePath(card.clips.front(), bounded);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
    ASSERT_TRUE(withEmpty);
    EXPECT_EQ(withEmpty->size(), 3u);

    std::atomic<bool> cancel{false};
    std::thread canceller([&cancel] {
        std::this_thread::sleep_for(100ms);
        cancel = true;
    });
    const PanasonicP2Utilities::AudioWait cancellable{10ms, std::chrono::minutes(10), &cancel};
    EXPECT_FALSE(p2().audioFilesForMoviePath(card.clips.front(), cancellable));
    canceller.join();

    EXPECT_FALSE(p2().audioFilesForMoviePath(dir / "CARD/CONTENTS/VIDEO/9999ZZ.MXF", quick));
}

TEST(PanasonicP2Metadata, SpannedSeriesIsPutInRecordingOrder)
{
    TempDir dir;
    const std::string contents = dir / "CARD/CONTENTS";
    const std::vector<std::string> names = {"0001AB", "0002AB", "0003AB"};
    std::vector<std::string> clips;
    for (size_t i = 0; i < names.size(); ++i) {
        P2Clip clip{names[i]};
        clip.shotId = "SHOT-1";
        clip.top = names.front();
        if (i > 0) clip.previous = names[i - 1];
        if (i + 1 < names.size()) clip.next = names[i + 1];
        writeFile(contents + "/CLIP/" + names[i] + ".XML", p2ClipXml(clip));
        writeFile(contents + "/VIDEO/" + names[i] + ".MXF", "video");
        clips.push_back(contents + "/VIDEO/" + names[i] + ".MXF");
    }
    const std::vector<std::string> reversed(clips.rbegin(), clips.rend());
    EXPECT_EQ(p2().sortSpannedClipSeries(reversed), clips);
    EXPECT_TRUE(HDUtilities::fileCouldBeInASpannedSeries(clips[1]));
    EXPECT_EQ(p2().spanPartnerIdentifierForPath(clips[2]), "SHOT-1");
    EXPECT_TRUE(p2().filesArePartOfTheSameSpanSeries(clips[0], clips[2]));

    // A middle file pointing at a clip not in the list: no order.
    P2Clip stray{names[1]};
    stray.top = names[0];
    stray.previous = "0009ZZ";
    stray.next = names[2];
    writeFile(contents + "/CLIP/0002AB.XML", p2ClipXml(stray));
    EXPECT_EQ(p2().sortSpannedClipSeries(reversed), reversed);

    // One index file without "Top": the input comes back unchanged.
    writeFile(contents + "/CLIP/0002AB.XML", p2ClipXml(P2Clip{names[1]}));
    EXPECT_EQ(p2().sortSpannedClipSeries(reversed), reversed);
    EXPECT_FALSE(HDUtilities::fileCouldBeInASpannedSeries(clips[1]));
    EXPECT_FALSE(p2().filesArePartOfTheSameSpanSeries(clips[0], clips[1]));
}

TEST(SonyXDCAMMetadata, StartTimecodeFramesFirstAndSpanPartnersOfXdcamExAndJvcMp4)
{
    EXPECT_EQ(SonyXDCAMUtilities::reverseXDCAMTimeCodeString(std::string("12345678")), "78:56:34:12");
    EXPECT_FALSE(SonyXDCAMUtilities::reverseXDCAMTimeCodeString(std::string("1234567")));
    EXPECT_FALSE(SonyXDCAMUtilities::reverseXDCAMTimeCodeString(std::nullopt));

    TempDir dir;
    const BuiltCard ex = buildCard(CardKind::XdcamEx, dir / "EX");
    const auto &xdcam = *SonyXDCAMExUtilities::utility();
    EXPECT_EQ(xdcam.xmlFileForPath(ex.clips[0]), dir / "EX/BPAV/CLPR/436_0001_01/436_0001_01M01.XML");
    EXPECT_EQ(xdcam.startTimecodeForVideoFile(ex.clips[0]), "10:00:00:00");
    EXPECT_FALSE(xdcam.xmlFileForPath(dir / "missing/C0001.MP4"));

    const std::string partner = dir / "EX/BPAV/CLPR/436_0001_02/436_0001_02.MP4";
    writeFile(partner, "video");
    EXPECT_EQ(xdcam.spanPartnerIdentifierForPath(partner), "436_0001");
    EXPECT_FALSE(xdcam.spanPartnerIdentifierForPath(dir / "EX/BPAV/CLPR/C1/C1.MP4"));
    EXPECT_TRUE(xdcam.filesArePartOfTheSameSpanSeries(ex.clips[0], partner));
    EXPECT_FALSE(xdcam.filesArePartOfTheSameSpanSeries(ex.clips[0], ex.clips[1]));
    EXPECT_FALSE(xdcam.filesArePartOfTheSameSpanSeries(ex.clips[0], dir / "EX/BPAV/CLPR/436_0001_03/436_0001_03.MP4"));
    EXPECT_EQ(xdcam.volumePartnerIdentifierForFilePath(partner), dir / "EX/BPAV/CLPR");
    EXPECT_TRUE(xdcam.filesArePartOfTheSameVolume(ex.clips[0], partner));

    const BuiltCard jvc = buildCard(CardKind::JvcMp4, dir / "JVC");
    const auto &mp4 = *JVCMP4Utilities::utility();
    EXPECT_EQ(mp4.spanPartnerIdentifierForPath(jvc.clips[0]), "001");
    EXPECT_EQ(mp4.spanPartnerIdentifierForPath("/x/CLIP.MP4"), "CLIP.MP4");
    EXPECT_TRUE(mp4.filesArePartOfTheSameSpanSeries(jvc.clips[0], jvc.clips[1]));
    EXPECT_FALSE(mp4.filesArePartOfTheSameSpanSeries(jvc.clips[0], ex.clips[0]));
    EXPECT_FALSE(mp4.filesArePartOfTheSameVolume(jvc.clips[0], ex.clips[0]));

    // Without its index file the clip starts at zero.
    std::filesystem::remove(*xdcam.xmlFileForPath(ex.clips[0]));
    EXPECT_EQ(xdcam.startTimecodeForVideoFile(ex.clips[0]), "00:00:00:00");
}

TEST(CardMetadata, OtherTypesAnswerTheBaseDefaults)
{
    TempDir dir;
    const BuiltCard gopro = buildCard(CardKind::GoPro, dir / "GOPRO");
    const auto utility = HDUtilities::utilityForFilePath(gopro.clips[0]);
    ASSERT_EQ(utility->volumeType(), 12);
    EXPECT_EQ(utility->uniqueIdentifierForVideoFile(gopro.clips[0]), "GOPR0001");
    EXPECT_EQ(utility->startTimecodeForVideoFile(gopro.clips[0]), "00:00:00:00");
    EXPECT_EQ(utility->framerateForVideoFile(gopro.clips[0]), "29.97");
    EXPECT_FALSE(utility->audioFilesForMoviePath(gopro.clips[0]));
    EXPECT_TRUE(utility->filesArePartOfTheSameVolume(gopro.clips[0], gopro.clips[1]));
    EXPECT_FALSE(HDUtilities::fileCouldBeInASpannedSeries(gopro.clips[0]));
    EXPECT_EQ(HDUtilities::durationOfMovieFileInMiliSeconds(gopro.clips[0]), 5000);
}
