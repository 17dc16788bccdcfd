#pragma once

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <map>
#include <vector>

#include <cstdint>
#include <string>

namespace ferrydeck::test {

// A fresh folder under the system's temporary folder, removed with its
// contents (made writable first) when the object goes.
class TempDir {
public:
    TempDir();
    // Under `parent` instead of the temporary folder.
    explicit TempDir(const std::string &parent);
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::string &path() const { return m_path; }
    std::string operator/(const std::string &relative) const { return m_path + "/" + relative; }

private:
    std::string m_path;
};

// A folder on another file system than TempDir's, as a card in its reader is; empty where none.
std::string otherFileSystem();

// Writes `content` to `path`, creating missing parent folders.
void writeFile(const std::string &path, const std::string &content);
// `size` bytes of a repeatable pattern that depends on `pattern`.
void writeSizedFile(const std::string &path, uint64_t size, unsigned pattern = 1);
std::string readFile(const std::string &path);
void makeDirectory(const std::string &path);
bool exists(const std::string &path);
// The entry's own status (links not followed); a failure to read it fails the test.
struct stat statOf(const std::string &path);
// A bound Unix socket at `path`, which no copy may ever open; false where it cannot be made.
bool makeSocket(const std::string &path);
// The names in a folder (not below it), sorted; none for a missing folder.
std::vector<std::string> listFolder(const std::string &path);

// The JSON objects of a command's `--json` output, one per line.
std::vector<nlohmann::json> jsonLines(const std::string &output);
// The same, keyed by their `field` ("source", "destination"); lines that are not JSON are skipped.
std::map<std::string, nlohmann::json> jobsBy(const std::string &output, const std::string &field);
inline std::map<std::string, nlohmann::json> jobsBySource(const std::string &output)
{
    return jobsBy(output, "source");
}

} // namespace ferrydeck::test
