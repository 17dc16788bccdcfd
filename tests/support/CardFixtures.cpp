#include "support/CardFixtures.h"

#include "support/TestFiles.h"

#include "fsutil/MediaRootVolumeService.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace fs = std::filesystem;

namespace ferrydeck::test {

std::string be32(uint32_t value)
{
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

std::string be64(uint64_t value)
{
    return be32(static_cast<uint32_t>(value >> 32)) + be32(static_cast<uint32_t>(value));
}

std::string box(const std::string &type, const std::string &payload)
{
    return be32(static_cast<uint32_t>(8 + payload.size())) + type + payload;
}

std::string mvhd(int version, uint32_t timeScale, uint64_t duration)
{
    const std::string tail(80, '\0'); // rate, volume, matrix, next track id
    if (version == 1)
        return box("mvhd", be32(0x01000000) + be64(1) + be64(2) + be32(timeScale) + be64(duration) + tail);
    return box("mvhd", be32(0) + be32(1) + be32(2) + be32(timeScale) + be32(static_cast<uint32_t>(duration)) + tail);
}

std::string trak(const std::string &handler, bool quickTime)
{
    const std::string hdlr = box("hdlr", be32(0) + (quickTime ? "mhlr" : std::string(4, '\0')) + handler +
                                             std::string(12, '\0') + "Handler" + '\0');
    return box("trak", box("tkhd", std::string(84, '\0')) + box("mdia", box("mdhd", std::string(24, '\0')) + hdlr));
}

namespace {

const char *const kXmlHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// <name>text</name> on a line of its own.
std::string element(const std::string &name, const std::string &text)
{
    return "<" + name + ">" + text + "</" + name + ">\n";
}

std::string xdcamClipXml(const std::string &timecodeFramesFirst)
{
    return kXmlHeader +
           std::string("<NonRealTimeMeta xmlns=\"urn:schemas-professionalDisc:nonRealTimeMeta:ver.1.30\">\n"
                       "<Duration value=\"300\"/>\n<LtcChangeTable tcFps=\"30\" halfStep=\"false\">\n"
                       "<LtcChange frameCount=\"0\" value=\"") +
           timecodeFramesFirst +
           "\" status=\"increment\"/>\n<LtcChange frameCount=\"299\" value=\"29590301\" status=\"end\"/>\n"
           "</LtcChangeTable>\n</NonRealTimeMeta>\n";
}

void bpavIndexFiles(const std::string &bpav, const std::string &clip)
{
    writeFile(bpav + "/CUEUP.XML", kXmlHeader + ("<CueUpInfo>\n<history>\n<entry clip=\"" + clip +
                                                 "\" frame=\"0\"/>\n</history>\n</CueUpInfo>\n"));
    writeFile(bpav + "/MEDIAPRO.XML", kXmlHeader + ("<MediaProfile>\n<Contents>\n<Material uri=\"./CLPR/" + clip + "/" +
                                                    clip + ".MP4\"/>\n</Contents>\n</MediaProfile>\n"));
}

// XDCAM EX and JVC-MP4 share the BPAV layout.
std::vector<std::string> buildBpav(const std::string &bpav, const std::string &takePrefix)
{
    std::vector<std::string> clips;
    for (int take = 1; take <= 2; ++take) {
        const std::string clip = takePrefix + "_000" + std::to_string(take) + "_01";
        const std::string folder = bpav + "/CLPR/" + clip;
        writeFile(folder + "/" + clip + ".MP4", movieBytes(30000, 300300));
        writeFile(folder + "/" + clip + "M01.XML", xdcamClipXml("00000010"));
        writeFile(folder + "/" + clip + "R01.BIM", "bim");
        writeFile(bpav + "/TAKR/" + clip.substr(0, clip.size() - 3) + "/" + clip.substr(0, clip.size() - 3) + "M01.XML",
                  "<?xml version=\"1.0\"?><Take/>");
        clips.push_back(folder + "/" + clip + ".MP4");
    }
    bpavIndexFiles(bpav, takePrefix + "_0001_01");
    return clips;
}

std::vector<std::string> buildAvchd(const std::string &avchd)
{
    writeFile(avchd + "/BDMV/INDEX.BDM", "INDX0100");
    writeFile(avchd + "/BDMV/MOVIEOBJ.BDM", "MOBJ0100");
    writeFile(avchd + "/BDMV/PLAYLIST/00000.MPL", "MPLS0100");
    writeFile(avchd + "/BDMV/CLIPINF/00000.CPI", "HDMV0100");
    writeFile(avchd + "/BDMV/STREAM/00000.MTS", std::string(188, 'G'));
    return {avchd + "/BDMV/STREAM/00000.MTS"};
}

// Two movies named `stem` 1 and 2, each with its thumbnail, as stills cameras write them.
std::vector<std::string> dcimClips(const std::string &stem, const std::string &extension, const std::string &movie)
{
    std::vector<std::string> clips;
    for (const char *number : {"1", "2"}) {
        clips.push_back(stem + number + extension);
        writeFile(clips.back(), movie);
        writeFile(stem + number + ".THM", "thumbnail");
    }
    return clips;
}

} // namespace

namespace {
// In the enum's order.
const char *const kCardKindNames[] = {"P2",  "XdcamEx",        "XdcamHd",    "JvcMp4",    "JvcQuickTime", "CanonEos",
                                      "Red", "PanasonicAvchd", "CanonAvchd", "SonyAvchd", "GoPro",        "QuickTime"};
static_assert(std::size(kCardKindNames) == static_cast<size_t>(CardKind::QuickTime) + 1);
} // namespace

const char *cardKindName(CardKind kind)
{
    const auto index = static_cast<size_t>(kind);
    return index < std::size(kCardKindNames) ? kCardKindNames[index] : "Unknown";
}

std::string movieBytes(uint32_t timeScale, uint64_t duration, bool withVideo)
{
    const std::string tracks = (withVideo ? trak("vide", false) : std::string()) + trak("soun", false);
    return box("ftyp", "isom" + be32(0x200) + "isomiso2avc1mp41") + box("mdat", std::string(64, 'x')) +
           box("moov", mvhd(0, timeScale, duration) + tracks);
}

std::string timecodeMovieBytes(const TimecodeMovie &movie)
{
    const std::string ftyp = box("ftyp", "qt  " + be32(0x200) + "qt  ");
    const uint32_t sampleOffset = static_cast<uint32_t>(ftyp.size() + 8);
    const std::string mdat = box("mdat", be32(static_cast<uint32_t>(movie.firstFrame)));
    const std::string entry = box("tmcd", std::string(6, '\0') + std::string("\0\1", 2) + be32(0) + be32(movie.flags) +
                                              be32(movie.timeScale) + be32(movie.frameDuration) +
                                              static_cast<char>(movie.framesPerSecond) + '\0');
    const std::string chunks = movie.sixtyFourBitOffsets ? box("co64", be32(0) + be32(1) + be32(0) + be32(sampleOffset))
                                                         : box("stco", be32(0) + be32(1) + be32(sampleOffset));
    const std::string stbl = box("stbl", box("stsd", be32(0) + be32(1) + entry) + chunks);
    const std::string hdlr = box("hdlr", be32(0) + "mhlr" + "tmcd" + std::string(12, '\0') + "Timecode" + '\0');
    const std::string mdia = box("mdia", box("mdhd", std::string(24, '\0')) + hdlr + box("minf", stbl));
    return ftyp + mdat +
           box("moov", mvhd(0, movie.timeScale, 1001) + box("trak", box("tkhd", std::string(84, '\0')) + mdia));
}

std::string p2ClipXml(const P2Clip &clip)
{
    std::string connection;
    for (const auto &[name, link] : {std::pair{"Top", clip.top}, {"Previous", clip.previous}, {"Next", clip.next}})
        if (link) connection += "<" + std::string(name) + "><ClipName>" + *link + "</ClipName></" + name + ">";
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
                      "<P2Main xmlns=\"urn:schemas-Professional-Plug-in:P2:ClipMetadata:v3.1\">\n<ClipContent>\n" +
                      element("ClipName", clip.name) + element("GlobalClipID", clip.globalClipId) +
                      element("Duration", "300") + element("EditUnit", clip.editUnit) + "<EssenceList><Video>\n" +
                      element("FrameRate", clip.frameRate) + element("StartTimecode", clip.startTimecode) +
                      element("StartBinaryGroup", "00000000") +
                      element("DropFrameFlag", clip.dropFrame ? "true" : "false") + "</Video></EssenceList>\n";
    if (clip.shotId || !connection.empty()) {
        xml += "<Relation>\n<OffsetInShot>0</OffsetInShot>\n";
        if (clip.shotId) xml += element("GlobalShotID", *clip.shotId);
        if (!connection.empty()) xml += element("Connection", connection);
        xml += "</Relation>\n";
    }
    return xml + "<ClipMetadata>\n" + (clip.userClipName ? element("UserClipName", *clip.userClipName) : "") +
           "</ClipMetadata>\n</ClipContent>\n</P2Main>\n";
}

BuiltCard buildCard(CardKind kind, const std::string &rootDir)
{
    BuiltCard card{rootDir, {}};
    makeDirectory(rootDir);
    const std::string &r = rootDir;
    switch (kind) {
    case CardKind::P2: {
        for (const char *folder : {"AUDIO", "CLIP", "ICON", "PROXY", "VIDEO", "VOICE"}) {
            makeDirectory(r + "/CONTENTS/" + folder);
        }
        for (const char *name : {"0001AB", "0002CD"}) {
            const std::string clip = r + "/CONTENTS/VIDEO/" + name + ".MXF";
            writeSizedFile(clip, 4096, 7);
            writeSizedFile(r + "/CONTENTS/AUDIO/" + name + "00.MXF", 512, 8);
            writeSizedFile(r + "/CONTENTS/AUDIO/" + name + "01.MXF", 512, 9);
            writeFile(r + "/CONTENTS/CLIP/" + name + ".XML", p2ClipXml(P2Clip{name}));
            writeFile(r + "/CONTENTS/ICON/" + name + ".BMP", "BM");
            card.clips.push_back(clip);
        }
        writeFile(r + "/LASTCLIP.TXT", "0002CD\r\n1.0\r\n");
        writeFile(r + "/._LASTCLIP.TXT", "companion");
        break;
    }
    case CardKind::XdcamEx:
        card.clips = buildBpav(r + "/BPAV", "436");
        writeFile(r + "/BPAV/MEDIAPRO.BAK", "backup");
        break;
    case CardKind::XdcamHd:
        for (const char *name : {"C0001", "C0002"}) {
            writeSizedFile(r + "/Clip/" + name + ".MXF", 4096, 3);
            writeFile(r + "/Clip/" + name + "M01.XML", xdcamClipXml("00000001"));
            writeSizedFile(r + "/Sub/" + name + "S01.MXF", 256, 4);
            card.clips.push_back(r + "/Clip/" + name + ".MXF");
        }
        writeFile(r + "/INDEX.XML", "<?xml version=\"1.0\"?><indexFile/>");
        break;
    case CardKind::JvcMp4:
        card.clips = buildBpav(r + "/PRIVATE/JVC/BPAV", "001");
        break;
    case CardKind::JvcQuickTime: {
        const std::string cqav = r + "/PRIVATE/JVC/CQAV";
        for (const char *name : {"CLIP0001", "CLIP0002"}) {
            writeFile(cqav + "/CLIP/" + name + ".MOV", movieBytes(600, 6000));
            writeFile(cqav + "/INFO/" + name + ".XML", "<?xml version=\"1.0\"?><Clip/>");
            card.clips.push_back(cqav + "/CLIP/" + name + ".MOV");
        }
        const std::string index = "<?xml version=\"1.0\"?>\n<MediaInfo>\n<ClipInfo>\n<Clip name=\"CLIP0001\"/>\n"
                                  "<Clip name=\"CLIP0002\"/>\n</ClipInfo>\n</MediaInfo>\n";
        writeFile(cqav + "/MEDIAINF.XML", index);
        writeFile(cqav + "/MEDIAINF.BAK", index);
        break;
    }
    case CardKind::CanonEos:
        card.clips = dcimClips(r + "/DCIM/100CANON/MVI_000", ".MOV", movieBytes(2997, 29970));
        writeFile(r + "/MISC/CANONMSC.DAT", "settings");
        break;
    case CardKind::Red: {
        const std::string clip = r + "/REDMAG/A001_0101XX.RDM/A001_C001_0101AB.RDC";
        writeSizedFile(clip + "/A001_C001_0101AB_001.R3D", 8192, 5);
        writeFile(clip + "/A001_C001_0101AB_H.mov", movieBytes(24000, 240240));
        card.clips.push_back(clip + "/A001_C001_0101AB_H.mov");
        break;
    }
    case CardKind::PanasonicAvchd:
        card.clips = buildAvchd(r + "/PRIVATE/AVCHD");
        break;
    case CardKind::CanonAvchd:
        card.clips = buildAvchd(r + "/PRIVATE/AVCHD");
        makeDirectory(r + "/PRIVATE/AVCHD/CANON");
        break;
    case CardKind::SonyAvchd:
        card.clips = buildAvchd(r + "/AVCHD");
        break;
    case CardKind::GoPro:
        card.clips = dcimClips(r + "/DCIM/100GOPRO/GOPR000", ".MP4", movieBytes(1000, 5000));
        makeDirectory(r + "/MISC");
        break;
    case CardKind::QuickTime:
        writeFile(r + "/Movies/interview.mov", movieBytes(600, 1200));
        writeFile(r + "/Movies/broll.mp4", movieBytes(600, 1200));
        card.clips = {r + "/Movies/interview.mov", r + "/Movies/broll.mp4"};
        break;
    }
    return card;
}

BuiltCard insertCard(CardKind kind, const std::string &staging, const std::string &mountPoint)
{
    BuiltCard card = buildCard(kind, staging);
    if (std::rename(staging.c_str(), mountPoint.c_str()) != 0) throw std::runtime_error("cannot insert " + staging);
    for (std::string &clip : card.clips)
        clip = mountPoint + clip.substr(staging.size());
    card.root = mountPoint;
    return card;
}

std::vector<std::string> listTree(const std::string &root)
{
    std::vector<std::string> entries;
    std::error_code error;
    for (auto it = fs::recursive_directory_iterator(root, error); !error && it != fs::recursive_directory_iterator();
         it.increment(error)) {
        std::string relative = fs::relative(it->path(), root).string();
        if (it->is_symlink()) {
            entries.push_back(relative + " -> " + fs::read_symlink(it->path()).string());
        } else if (it->is_directory()) {
            entries.push_back(relative + "/");
        } else {
            entries.push_back(relative + " " + std::to_string(it->file_size()));
        }
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

ScopedMediaRoot::ScopedMediaRoot(const std::string &mediaRoot)
{
    VolumeService::setCurrent(std::make_shared<MediaRootVolumeService>(mediaRoot));
}

ScopedMediaRoot::~ScopedMediaRoot()
{
    VolumeService::setCurrent(nullptr);
}

} // namespace ferrydeck::test
