#include "media/MovieBoxReader.h"

#include "fsutil/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ferrydeck {

namespace {

constexpr uint32_t fourCc(const char (&code)[5])
{
    return (uint32_t{static_cast<uint8_t>(code[0])} << 24) | (uint32_t{static_cast<uint8_t>(code[1])} << 16) |
           (uint32_t{static_cast<uint8_t>(code[2])} << 8) | uint32_t{static_cast<uint8_t>(code[3])};
}

// A damaged file of tiny boxes must not keep a worker busy for minutes.
constexpr int kMaxBoxes = 100000;

class Source {
public:
    Source(int fd, uint64_t size)
        : m_fd(fd)
        , m_size(size)
    {
    }
    Source(const uint8_t *data, uint64_t size)
        : m_data(data)
        , m_size(size)
    {
    }

    uint64_t size() const { return m_size; }

    bool read(uint64_t offset, uint8_t *out, size_t length) const
    {
        if (offset > m_size || length > m_size - offset) return false;
        if (m_data) {
            if (length) std::memcpy(out, m_data + offset, length);
            return true;
        }
        while (length > 0) {
            const ssize_t n = ::pread(m_fd, out, length, static_cast<off_t>(offset));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return false;
            out += n;
            offset += static_cast<uint64_t>(n);
            length -= static_cast<size_t>(n);
        }
        return true;
    }

private:
    int m_fd = -1;
    const uint8_t *m_data = nullptr;
    uint64_t m_size = 0;
};

uint32_t be32(const uint8_t *p)
{
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}

uint64_t be64(const uint8_t *p)
{
    return (uint64_t{be32(p)} << 32) | be32(p + 4);
}

struct Box {
    uint32_t type = 0;
    uint64_t payload = 0; // first byte after the header
    uint64_t end = 0;     // first byte after the box
};

class Walker {
public:
    explicit Walker(const Source &source)
        : m_source(source)
    {
    }

    // The box at `offset` within a container ending at `limit`. False for a
    // header that does not fit, a size smaller than its header, or a box
    // running past its container.
    bool boxAt(uint64_t offset, uint64_t limit, Box &box)
    {
        if (++m_boxesSeen > kMaxBoxes || offset >= limit || limit - offset < 8) return false;
        uint8_t header[16];
        if (!m_source.read(offset, header, 8)) return false;
        const uint64_t room = limit - offset;
        uint64_t size = be32(header);
        uint64_t headerSize = 8;
        box.type = be32(header + 4);
        if (size == 1) {
            if (room < 16 || !m_source.read(offset + 8, header + 8, 8)) return false;
            size = be64(header + 8);
            headerSize = 16;
        } else if (size == 0) {
            size = room; // runs to the end of its container
        }
        if (box.type == fourCc("uuid")) headerSize += 16;
        if (size < headerSize || size > room) return false;
        box.payload = offset + headerSize;
        box.end = offset + size;
        return true;
    }

    // The first child of the given type, looked for among the boxes between
    // `begin` and `end`.
    bool findChild(uint64_t begin, uint64_t end, uint32_t type, Box &found)
    {
        Box box;
        for (uint64_t offset = begin; boxAt(offset, end, box); offset = box.end) {
            if (box.type == type) {
                found = box;
                return true;
            }
        }
        return false;
    }

    bool readMovieHeader(const Box &mvhd, MovieInfo &info)
    {
        uint8_t bytes[32];
        const uint64_t length = mvhd.end - mvhd.payload;
        if (length < 20 || !m_source.read(mvhd.payload, bytes, 20)) return false;
        if (bytes[0] == 0) {
            info.timeScale = be32(bytes + 12);
            info.duration = be32(bytes + 16);
        } else if (bytes[0] == 1) {
            if (length < 32 || !m_source.read(mvhd.payload, bytes, 32)) return false;
            info.timeScale = be32(bytes + 20);
            info.duration = be64(bytes + 24);
        } else {
            return false;
        }
        return info.timeScale != 0;
    }

    // The media handler type of a track, 0 when it has none.
    uint32_t handlerType(const Box &trak)
    {
        Box mdia, hdlr;
        if (!findChild(trak.payload, trak.end, fourCc("mdia"), mdia)) return 0;
        if (!findChild(mdia.payload, mdia.end, fourCc("hdlr"), hdlr)) return 0;
        // Version and flags, then the QuickTime component type (zero in MP4),
        // then the handler type.
        uint8_t bytes[12];
        if (hdlr.end - hdlr.payload < 12 || !m_source.read(hdlr.payload, bytes, 12)) return 0;
        return be32(bytes + 8);
    }

    bool sampleTable(const Box &trak, Box &stbl)
    {
        Box mdia, minf;
        return findChild(trak.payload, trak.end, fourCc("mdia"), mdia) &&
               findChild(mdia.payload, mdia.end, fourCc("minf"), minf) &&
               findChild(minf.payload, minf.end, fourCc("stbl"), stbl);
    }

    // The first chunk's file offset, from "stco" or "co64".
    std::optional<uint64_t> firstChunkOffset(const Box &stbl)
    {
        Box table;
        uint8_t bytes[16];
        if (findChild(stbl.payload, stbl.end, fourCc("stco"), table)) {
            if (table.end - table.payload < 12 || !m_source.read(table.payload, bytes, 12) || be32(bytes + 4) == 0)
                return std::nullopt;
            return be32(bytes + 8);
        }
        if (findChild(stbl.payload, stbl.end, fourCc("co64"), table)) {
            if (table.end - table.payload < 16 || !m_source.read(table.payload, bytes, 16) || be32(bytes + 4) == 0)
                return std::nullopt;
            return be64(bytes + 8);
        }
        return std::nullopt;
    }

    std::optional<TimecodeTrack> readTimecodeTrack(const Box &trak)
    {
        Box stbl, stsd;
        if (!sampleTable(trak, stbl) || !findChild(stbl.payload, stbl.end, fourCc("stsd"), stsd)) return std::nullopt;
        // Version and flags, entry count, then the first entry: size, "tmcd",
        // 6 reserved bytes, data reference index, 4 reserved bytes, flags,
        // time scale, frame duration, frames per second.
        constexpr size_t kEntry = 8 + 33;
        uint8_t bytes[kEntry];
        if (stsd.end - stsd.payload < kEntry || !m_source.read(stsd.payload, bytes, kEntry)) return std::nullopt;
        const uint8_t *entry = bytes + 8;
        if (be32(bytes + 4) == 0 || be32(entry) < 33 || be32(entry + 4) != fourCc("tmcd")) return std::nullopt;
        TimecodeTrack track;
        track.flags = be32(entry + 20);
        track.timeScale = be32(entry + 24);
        track.frameDuration = be32(entry + 28);
        track.framesPerSecond = entry[32];
        if (const auto offset = firstChunkOffset(stbl)) {
            uint8_t sample[4];
            if (m_source.read(*offset, sample, 4)) track.firstFrame = static_cast<int32_t>(be32(sample));
        }
        return track;
    }

    std::optional<MovieInfo> read()
    {
        Box moov;
        if (!findChild(0, m_source.size(), fourCc("moov"), moov)) return std::nullopt;
        MovieInfo info;
        bool haveHeader = false;
        Box box;
        for (uint64_t offset = moov.payload; boxAt(offset, moov.end, box); offset = box.end) {
            if (box.type == fourCc("mvhd") && !haveHeader) {
                haveHeader = readMovieHeader(box, info);
                if (!haveHeader) return std::nullopt;
            } else if (box.type == fourCc("trak")) {
                ++info.trackCount;
                const uint32_t handler = handlerType(box);
                if (handler == fourCc("vide")) ++info.videoTrackCount;
                if (handler == fourCc("tmcd") && !info.timecode) info.timecode = readTimecodeTrack(box);
            }
        }
        if (!haveHeader) return std::nullopt;
        return info;
    }

private:
    const Source &m_source;
    int m_boxesSeen = 0;
};

} // namespace

std::optional<MovieInfo> MovieBoxReader::readFile(const std::string &path)
{
    // Non-blocking so that a FIFO named like a movie cannot hang the open.
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd) return std::nullopt;
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0) return std::nullopt;
    const Source source(fd.get(), static_cast<uint64_t>(info.st_size));
    return Walker(source).read();
}

std::optional<MovieInfo> MovieBoxReader::readMemory(const uint8_t *data, size_t size)
{
    if (!data) return std::nullopt;
    const Source source(data, size);
    return Walker(source).read();
}

} // namespace ferrydeck
