#include "fsutil/MountTable.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace ferrydeck {

namespace {

bool isOctalDigit(char c)
{
    return c >= '0' && c <= '7';
}

std::vector<std::string> splitFields(const std::string &line)
{
    std::vector<std::string> fields;
    std::istringstream in(line);
    std::string field;
    while (in >> field)
        fields.push_back(field);
    return fields;
}

} // namespace

std::string MountTable::decodeOctalEscapes(const std::string &field)
{
    std::string decoded;
    decoded.reserve(field.size());
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctalDigit(field[i + 1]) && isOctalDigit(field[i + 2]) &&
            isOctalDigit(field[i + 3])) {
            const int value = (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
            if (value <= 0xFF) {
                decoded.push_back(static_cast<char>(value));
                i += 3;
                continue;
            }
        }
        decoded.push_back(field[i]);
    }
    return decoded;
}

std::vector<MountEntry> MountTable::parse(const std::string &text)
{
    std::vector<MountEntry> entries;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        // id parent major:minor root mount-point options [optional...] - type source super-options
        const std::vector<std::string> fields = splitFields(line);
        if (fields.size() < 7) continue;
        size_t separator = 6;
        while (separator < fields.size() && fields[separator] != "-")
            ++separator;
        if (separator + 2 >= fields.size()) continue;

        MountEntry entry;
        char tail = '\0';
        if (std::sscanf(fields[2].c_str(), "%u:%u%c", &entry.major, &entry.minor, &tail) != 2) continue;
        entry.root = decodeOctalEscapes(fields[3]);
        entry.mountPoint = decodeOctalEscapes(fields[4]);
        if (entry.mountPoint.empty() || entry.mountPoint[0] != '/') continue;
        entry.fsType = decodeOctalEscapes(fields[separator + 1]);
        entry.source = decodeOctalEscapes(fields[separator + 2]);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<MountEntry> MountTable::read(const std::string &mountinfoPath)
{
    std::ifstream in(mountinfoPath, std::ios::binary);
    if (!in) return {};
    std::ostringstream text;
    text << in.rdbuf();
    return parse(text.str());
}

} // namespace ferrydeck
