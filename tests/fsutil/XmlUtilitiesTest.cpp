#include "fsutil/FileUtilities.h"
#include "fsutil/XmlUtilities.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <tuple>

using ferrydeck::XmlDocument;
using ferrydeck::XmlUtilities;
using namespace ferrydeck::test;

namespace {

const char *kClipFile = R"(<?xml version="1.0" encoding="UTF-8"?>
<NonRealTimeMeta xmlns="urn:schemas-professionalDisc:nonRealTimeMeta:ver.1.30">
  <Duration value="250"/>
  <LtcChangeTable tcFps="25" halfStep="false">
    <LtcChange frameCount="0" value="10000000" status="increment"/>
    <LtcChange frameCount="249" value="34090010" status="end"/>
  </LtcChangeTable>
  <StartTimecode>10:00:00:00</StartTimecode>
  <StartTimecode>11:00:00:00</StartTimecode>
  <VideoFormat><VideoFrame videoCodec="MPEG2HD422" captureFps="25p"/></VideoFormat>
</NonRealTimeMeta>
)";

} // namespace

TEST(XmlFind, FindsTheFirstMatchingLineBelowTheRoot)
{
    const struct {
        const char *name;
        std::string file;
        const char *tag;
        std::optional<std::string> descriptor, found;
    } cases[] = {
        {"text between the tags", kClipFile, "<StartTimecode>", std::nullopt, "10:00:00:00"},
        {"first of two equal elements", kClipFile, "<LtcChange ",
         "frameCount=", R"(<LtcChange frameCount="0" value="10000000" status="increment"/>)"},
        {"descriptor selects the line", kClipFile, "<LtcChange ", "status=\"end",
         R"(<LtcChange frameCount="249" value="34090010" status="end"/>)"},
        {"descriptor is case-sensitive", kClipFile, "<LtcChange ", "Status=", std::nullopt},
        {"root is never examined", R"(<StartTimecode value="1">10:00:00:00</StartTimecode>)", "<StartTimecode", "value",
         std::nullopt},
        {"malformed markup is recovered",
         "<Clip><Name>C0001</Name><StartTimecode>01:02:03:04</StartTimecode><Unclosed a=1>", "<StartTimecode>",
         std::nullopt, "01:02:03:04"},
        // Nodes after the root are walked; one named like the root inside it is found.
        {"root's namesake", "<A><A>inner</A></A><!--after-->", "<A>", std::nullopt, "inner"},
        {"after the root", "<A><A>inner</A></A><!--after-->", "<!--", std::nullopt, "after-->"},
    };
    TempDir dir;
    for (const auto &c : cases) {
        const std::string file = dir / (std::string(c.name) + ".xml");
        writeFile(file, c.file);
        EXPECT_EQ(XmlUtilities::findXmlTagInfo(c.tag, file, c.descriptor), c.found) << c.name;
    }
    // A bare prefix matches the enclosing table first: the table's line holds its children's text.
    const std::string clip = dir / "text between the tags.xml";
    const auto table = XmlUtilities::findXmlTagInfo("<LtcChange", clip, std::string("status=\"end"));
    ASSERT_TRUE(table);
    EXPECT_TRUE(table->starts_with("<LtcChangeTable tcFps=\"25\"") && table->ends_with("</LtcChangeTable>")) << *table;
    // Nodes are looked up the same way, below the root.
    const auto node = XmlUtilities::nodeWithName("StartTimecode", clip);
    ASSERT_TRUE(node);
    EXPECT_EQ(node->stringValue(), "10:00:00:00");
    EXPECT_EQ(XmlUtilities::nodeWithName("StartTimecode", dir / "root is never examined.xml"), std::nullopt);
}

TEST(XmlFindLines, UnreadableOrUnparseableFilesGiveNone)
{
    TempDir dir;
    writeFile(dir / "empty.xml", "");
    writeFile(dir / "binary.xml", std::string("\x00\x01\xff\xfe garbage", 13));
    makeDirectory(dir / "folder.xml");
    ASSERT_EQ(::mkfifo((dir / "pipe.xml").c_str(), 0600), 0);
    writeFile(dir / "huge.xml", "<A>");
    ASSERT_EQ(::truncate((dir / "huge.xml").c_str(), XmlDocument::kMaximumFileSize + 1), 0);
    for (const std::string &name : {dir / "empty.xml", dir / "binary.xml", dir / "missing.xml", dir / "folder.xml",
                                    dir / "pipe.xml", dir / "huge.xml", std::string("/dev/zero")}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(XmlUtilities::findXmlTagInfo("<A>", name), std::nullopt);
        EXPECT_EQ(XmlUtilities::nodeWithName("A", name), std::nullopt);
    }
    // Nothing that is not a regular file of card size is emptied, nor waited on.
    for (const std::string &name : {dir / "pipe.xml", dir / "huge.xml", std::string("/dev/zero")}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(XmlUtilities::removeXMLNode("A", name, false));
    }
    EXPECT_EQ(static_cast<uint64_t>(statOf(dir / "huge.xml").st_size), XmlDocument::kMaximumFileSize + 1);
}

TEST(XmlStrip, CutsTheQuotedValueAfterTheDescriptor)
{
    const std::tuple<const char *, const char *, std::optional<std::string>> cases[] = {
        {R"(<Item frameCount="0" value="10"/>)", "value=\"", "10"},
        {R"(<Item frameCount="0" value="17"/>)", "value=", "17"},
        {R"(<Item name="" value="9"/>)", "name=", ""},
        // The first occurrence wins, even inside another attribute's name.
        {R"(<Item startvalue="5" value="6"/>)", "value=", "5"},
        {R"(<Item value=17/>)", "value=", std::nullopt},
        {R"(<Item value="17/>)", "value=", std::nullopt},
        {R"(<Item frameCount="0"/>)", "value=", std::nullopt},
    };
    for (const auto &[line, descriptor, value] : cases)
        EXPECT_EQ(XmlUtilities::stripValueFromInfo(std::string(line), descriptor), value) << line;
    EXPECT_EQ(XmlUtilities::stripValueFromInfo(std::nullopt, "value="), std::nullopt);
}

namespace {

const char *kMediaInfo = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<MediaInfo><Header>h</Header><ClipInfo><Clip name=\"a\"/><Clip name=\"b\"/>"
                         "</ClipInfo><Footer>f</Footer></MediaInfo>\n";

} // namespace

// An unparseable file is deliberately emptied; a missing one is left alone.
TEST(XmlRemove, TheHeaderFlagDecidesWhetherTheOpeningElementGoesAndOnlyABareOneIsAnOpening)
{
    TempDir dir;
    const std::string header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    const std::string withAttributes = header + "<M><ClipInfo v=\"1\"><Clip/></ClipInfo><Tail/></M>\n";
    const struct {
        std::string before;
        bool withHeader;
        std::string after;
    } cases[] = {
        {kMediaInfo, false, header + "<MediaInfo><Header>h</Header><ClipInfo/></MediaInfo>\n"},
        {kMediaInfo, true, header + "<MediaInfo><Header>h</Header></MediaInfo>\n"},
        {withAttributes, true, withAttributes},
        {"this is not xml", false, ""},
    };
    for (const auto &c : cases) {
        writeFile(dir / "MEDIAINF.XML", c.before);
        EXPECT_TRUE(XmlUtilities::removeXMLNode("ClipInfo", dir / "MEDIAINF.XML", c.withHeader));
        EXPECT_EQ(readFile(dir / "MEDIAINF.XML"), c.after);
    }
    EXPECT_TRUE(XmlUtilities::removeXMLNode("ClipInfo", dir / "missing.xml", false));
    EXPECT_FALSE(exists(dir / "missing.xml"));
}

TEST(XmlRemove, NodesHeldBeforeARemovalStayUsable)
{
    auto document = XmlDocument::parseMemory(kMediaInfo);
    ASSERT_TRUE(document);
    auto clipInfo = XmlUtilities::childNodeWithName("ClipInfo", *document->rootElement());
    ASSERT_TRUE(clipInfo);
    XmlUtilities::removeXMLNode("ClipInfo", *document, true);
    EXPECT_EQ(clipInfo->xmlString(), R"(<ClipInfo><Clip name="a"/><Clip name="b"/></ClipInfo>)");
    EXPECT_EQ(XmlUtilities::findTagLine("<ClipInfo>", *document, std::nullopt), std::nullopt);
}

TEST(XmlNodes, ChildLookupIsDirectChildrenOnlyAndNodesOutliveTheFile)
{
    TempDir dir;
    writeFile(dir / "clip.xml", "<P2Main><ClipContent><ClipName>0001AB</ClipName><Relation><ClipName>x</ClipName>"
                                "</Relation><GlobalClipID>ID1</GlobalClipID></ClipContent></P2Main>");
    auto content = XmlUtilities::nodeWithName("ClipContent", dir / "clip.xml");
    ::unlink((dir / "clip.xml").c_str());
    ASSERT_TRUE(content);
    auto id = XmlUtilities::childNodeWithName("GlobalClipID", *content);
    ASSERT_TRUE(id);
    EXPECT_EQ(id->stringValue(), "ID1");
    auto relation = XmlUtilities::childNodeWithName("Relation", *content);
    ASSERT_TRUE(relation);
    EXPECT_EQ(XmlUtilities::childNodeWithName("ClipName", *relation)->stringValue(), "x");
    EXPECT_EQ(XmlUtilities::childNodeWithName("Missing", *content), std::nullopt);
    EXPECT_EQ(XmlUtilities::childNodeWithName("ClipName", *id), std::nullopt);
}

// A listening socket on the loopback that no one should ever connect to.
struct Listener {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    int port = 0;
    Listener()
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr *>(&address), length) != 0 || ::listen(fd, 4) != 0 ||
            ::getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0)
            throw std::runtime_error("listener");
        port = ntohs(address.sin_port);
    }
    ~Listener() { ::close(fd); }
    bool connected() const
    {
        const int client = ::accept(fd, nullptr, nullptr);
        if (client >= 0) ::close(client);
        return client >= 0 || errno != EAGAIN;
    }
};

TEST(XmlSafety, ExternalEntitiesAndDtdsAreNeverFetched)
{
    TempDir dir;
    writeFile(dir / "secret.txt", "SECRET-MARKER");
    writeFile(dir / "param.ent", "<!ENTITY leak \"PARAM-MARKER\">");
    Listener listener;
    const std::string web = "http://127.0.0.1:" + std::to_string(listener.port);

    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, dir.path().c_str(), IN_OPEN | IN_ACCESS), 0);

    std::string evil = R"(<?xml version="1.0"?>
<!DOCTYPE Clip SYSTEM "WEB/clip.dtd" [
<!ENTITY secret SYSTEM "file://DIR/secret.txt">
<!ENTITY passwd SYSTEM "file:///etc/passwd">
<!ENTITY remote SYSTEM "WEB/remote.ent">
<!ENTITY % param SYSTEM "file://DIR/param.ent">
%param;
]>
<Clip><Name>&secret;</Name><Pw>&passwd;&remote;&leak;</Pw><Tc>01:00:00:00</Tc></Clip>
)";
    writeFile(dir / "evil.xml",
              ferrydeck::path::replaceAll(ferrydeck::path::replaceAll(evil, "WEB", web), "DIR", dir.path()));
    // Reading events of our own write first, so only the parse is watched.
    char events[4096];
    while (::read(watch, events, sizeof events) > 0) {
    }

    auto document = XmlDocument::parseFile(dir / "evil.xml");
    ASSERT_TRUE(document);
    const std::string all = document->xmlData();
    auto name = XmlUtilities::nodeWithName("Name", dir / "evil.xml");
    auto pw = XmlUtilities::findXmlTagInfo("<Pw>", dir / "evil.xml");
    EXPECT_EQ(XmlUtilities::findXmlTagInfo("<Tc>", dir / "evil.xml"), "01:00:00:00");

    for (const std::string &text : {all, name ? name->stringValue() : "", pw.value_or("")}) {
        EXPECT_EQ(text.find("SECRET-MARKER"), std::string::npos) << text;
        EXPECT_EQ(text.find("PARAM-MARKER"), std::string::npos) << text;
        EXPECT_EQ(text.find("root:"), std::string::npos) << text;
    }

    // Only evil.xml itself was opened in the folder, and nothing connected.
    std::string opened;
    for (ssize_t n; (n = ::read(watch, events, sizeof events)) > 0;) {
        for (char *p = events; p < events + n;) {
            auto *event = reinterpret_cast<inotify_event *>(p);
            if (event->len) opened += std::string(event->name) + " ";
            p += sizeof(inotify_event) + event->len;
        }
    }
    EXPECT_EQ(opened.find("secret.txt"), std::string::npos) << opened;
    EXPECT_EQ(opened.find("param.ent"), std::string::npos) << opened;
    EXPECT_FALSE(listener.connected());
    ::close(watch);
}

TEST(XmlSafety, EntityBombsAndDeepNestingAreReadInBoundedTimeAndMemory)
{
    TempDir dir;
    std::string bomb = "<?xml version=\"1.0\"?>\n<!DOCTYPE Clip [\n<!ENTITY a0 \"lollollollollollollollollollol\">\n";
    for (int i = 1; i < 10; ++i) {
        bomb += "<!ENTITY a" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k)
            bomb += "&a" + std::to_string(i - 1) + ";";
        bomb += "\">\n";
    }
    bomb += "]>\n<Clip><Name>&a9;</Name><Tc>01:00:00:00</Tc></Clip>\n";
    writeFile(dir / "bomb.xml", bomb);
    // A billion copies would be gigabytes: whether the parser gives up on the
    // file or leaves the entity unexpanded, what comes back stays small.
    for (const char *tag : {"<Name>", "<Tc>"}) {
        EXPECT_LT(XmlUtilities::findXmlTagInfo(tag, dir / "bomb.xml").value_or("").size(), 100u) << tag;
    }
    const auto document = XmlDocument::parseFile(dir / "bomb.xml");
    EXPECT_LT(document ? document->xmlData().size() : 0, 100000u);

    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    writeFile(dir / "deep.xml", "<Clip><Tc>02:00:00:00</Tc>" + deep);
    EXPECT_EQ(XmlUtilities::findXmlTagInfo("<Tc>", dir / "deep.xml"), "02:00:00:00");
}
