#include "fsutil/DirectoryWalk.h"

#include "fsutil/UniqueFd.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>

namespace ferrydeck {

namespace {

// Owns a DIR stream made from a folder descriptor.
class DirStream {
public:
    explicit DirStream(int fd)
        : m_dir(::fdopendir(fd))
    {
    }
    DirStream(const DirStream &) = delete;
    DirStream &operator=(const DirStream &) = delete;
    ~DirStream()
    {
        if (m_dir) ::closedir(m_dir);
    }
    DIR *get() const { return m_dir; }

private:
    DIR *m_dir;
};

void walkFolder(int folderFd, std::string &relative, const DirectoryWalk::Visitor &visitor)
{
    DirStream stream(folderFd);
    if (!stream.get()) {
        ::close(folderFd);
        return;
    }
    const int fd = ::dirfd(stream.get());
    const size_t base = relative.size();
    while (const dirent *entry = ::readdir(stream.get())) {
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;

        bool isDirectory = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat info {};
            if (::fstatat(fd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
            isDirectory = S_ISDIR(info.st_mode);
        }

        relative.resize(base);
        if (base != 0) relative.push_back('/');
        const size_t nameOffset = relative.size();
        relative.append(name);

        const DirectoryWalk::Entry visited{relative, nameOffset, isDirectory, fd, name};
        if (visitor(visited) == DirectoryWalk::Step::Descend && isDirectory) {
            const int child = ::openat(fd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child >= 0) walkFolder(child, relative, visitor);
        }
    }
    relative.resize(base);
}

} // namespace

bool DirectoryWalk::walk(const std::string &directory, const Visitor &visitor)
{
    const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    std::string relative;
    relative.reserve(4096);
    walkFolder(fd, relative, visitor);
    return true;
}

} // namespace ferrydeck
