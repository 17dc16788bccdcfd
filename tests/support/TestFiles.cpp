#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace ferrydeck::test {

TempDir::TempDir()
    : TempDir(fs::temp_directory_path().string())
{
}

TempDir::TempDir(const std::string &parent)
{
    std::string pattern = (fs::path(parent) / "ferrydeck-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    m_path = pattern;
}

std::string otherFileSystem()
{
    struct stat shm {};
    struct stat temp {};
    const std::string candidate = "/dev/shm";
    if (::stat(candidate.c_str(), &shm) != 0 || ::access(candidate.c_str(), W_OK) != 0 ||
        ::stat(fs::temp_directory_path().c_str(), &temp) != 0 || shm.st_dev == temp.st_dev) {
        return {};
    }
    return candidate;
}

TempDir::~TempDir()
{
    std::error_code error;
    // Tests make folders read-only on purpose; give them back before removal.
    for (auto it = fs::recursive_directory_iterator(m_path, fs::directory_options::skip_permission_denied, error);
         !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        if (it->is_directory(error) && !it->is_symlink(error)) {
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, error);
        }
    }
    fs::remove_all(m_path, error);
}

void writeFile(const std::string &path, const std::string &content)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out) ADD_FAILURE() << "could not write " << path;
}

void writeSizedFile(const std::string &path, uint64_t size, unsigned pattern)
{
    std::string content(size, '\0');
    uint32_t state = pattern * 2654435761u + 1;
    for (char &c : content) {
        state = state * 1664525u + 1013904223u;
        c = static_cast<char>(state >> 24);
    }
    writeFile(path, content);
}

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void makeDirectory(const std::string &path)
{
    fs::create_directories(path);
}

bool exists(const std::string &path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

struct stat statOf(const std::string &path)
{
    struct stat info {};
    EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
    return info;
}

bool makeSocket(const std::string &path)
{
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) return false;
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool bound = fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    if (fd >= 0) ::close(fd);
    return bound;
}

std::vector<std::string> listFolder(const std::string &path)
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(path, error))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<nlohmann::json> jsonLines(const std::string &output)
{
    std::vector<nlohmann::json> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(nlohmann::json::parse(line));
    return lines;
}

std::map<std::string, nlohmann::json> jobsBy(const std::string &output, const std::string &field)
{
    std::map<std::string, nlohmann::json> jobs;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const auto job = nlohmann::json::parse(line, nullptr, false);
        if (job.is_object()) jobs[job[field]] = job;
    }
    return jobs;
}

} // namespace ferrydeck::test
