#include "engine/OffloadInstance.h"

#include "fsutil/FileUtilities.h"
#include "proof/AscMhl.h"
#include "proof/Hasher.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

namespace ferrydeck {

std::string OffloadInstance::verificationName() const
{
    if (const std::optional<HashMethod> method = hashMethod()) return std::string(hashMethodName(*method));
    if (noFileVerification()) return "none";
    return byteComparison() ? "contents" : "size";
}

void OffloadInstance::setVerificationByName(const std::string &name)
{
    setNoFileVerification(name == "none");
    setByteComparison(name == "contents");
    setHashMethod(hashMethodFromName(name));
}

std::string OffloadInstance::verifyChecksum(HashMethod method, const std::string &sourcePath, int folderFd,
                                            const std::string &name, const FileCopy::Result &copy,
                                            const std::string &sourceValue)
{
    if (copy.symbolicLink) {
        // A link has no content of its own; its copy must lead to the same place.
        std::string source(PATH_MAX, '\0'), made(PATH_MAX, '\0');
        const ssize_t read = ::readlink(sourcePath.c_str(), source.data(), source.size());
        const ssize_t written = ::readlinkat(folderFd, name.c_str(), made.data(), made.size());
        if (read < 0 || written < 0) return std::string("the link could not be read back: ") + std::strerror(errno);
        source.resize(static_cast<size_t>(read));
        made.resize(static_cast<size_t>(written));
        return made == source ? std::string() : "the copied link leads elsewhere than the source's";
    }
    if (sourceValue.empty()) return std::string(hashMethodName(method)) + " of the source could not be computed";
    UniqueFd in(::openat(folderFd, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    struct stat info {};
    if (!in || ::fstat(in.get(), &info) != 0)
        return std::string("the copy could not be opened to verify it: ") + std::strerror(errno);
    if (static_cast<uint64_t>(info.st_dev) != copy.copyDevice || static_cast<uint64_t>(info.st_ino) != copy.copyInode)
        return "the copy was moved or replaced before its check";
    const FileHashResult read = hashDescriptor(in.get(), method, nullptr);
    if (!read.value) return "the copy could not be read back: " + read.error;
    if (*read.value != sourceValue)
        return std::string(hashMethodName(method)) + " mismatch: source " + sourceValue + ", copy " + *read.value;
    return {};
}

bool OffloadInstance::writeHashList(std::string &error)
{
    const std::optional<HashMethod> method = hashMethod();
    if (!method) return true;
    const std::string root = fullOffloadPath();
    // Empty folders of the source are copied too, so they take part in the
    // folder hashes just as a fresh check of the copy would see them.
    for (const std::string &folder : sourceSubDirectories())
        if (const std::optional<std::string> relative = relativeToSource(folder, sourceDirectory()))
            m_hashList.addDirectory(*relative);
    MhlGenerationWriter::Options options;
    options.process = mhl::Process::Transfer;
    options.directoryHashMethod = method;
    // The job's own log may be saved beside the copy later; it is not footage.
    options.ignorePatterns = mhl::logIgnorePatterns(path::lastComponent(root));
    // Gone once the job has Completed, but a kill in between may leave it.
    options.ignorePatterns.push_back(OffloadJournal::kFileName);
    const std::optional<MhlGenerationWriter::Written> written = m_hashList.writeGeneration(root, options, &error);
    if (!written) return false;
    m_properties.set<&Properties::hashListPath>(written->path);
    return true;
}

} // namespace ferrydeck
