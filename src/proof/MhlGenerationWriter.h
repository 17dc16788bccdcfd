#pragma once

#include "proof/AscMhl.h"

#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace ferrydeck {

// Collects one generation of a folder's hash list and writes it, with the
// chain file, into ROOT/ascmhl. addFile and addDirectory may be called from
// any number of threads at once (the job's copy threads); writeGeneration
// once, after the last file, from any thread.
class MhlGenerationWriter {
public:
    struct Options {
        mhl::Process process = mhl::Process::Transfer;
        // Beyond mhl::defaultIgnorePatterns(), which every generation has.
        std::vector<std::string> ignorePatterns;
        // Directory and root hashes in this format; by default the one format
        // every file has, and none when the files do not share one.
        std::optional<HashMethod> directoryHashMethod;
        std::string hostName;                // default: gethostname()
        std::optional<int64_t> creationTime; // default: now
    };
    struct Written {
        int number = 0;
        std::string path; // of the new generation file
        std::string c4;   // of its bytes, as the chain records it
    };

    // One value of one file; a file hashed in two formats is added twice.
    void addFile(mhl::FileHash hash);
    // Folders that hold no recorded file still take part in directory hashes.
    void addDirectory(const std::string &relativePath);
    size_t fileCount() const;

    // Writes the next generation of `rootFolder`'s history (creating the
    // ascmhl folder for the first) and appends it to the chain. Nothing is
    // written when a path is unsafe, the chain cannot be read or the folder
    // is not writable; `error` then says why. An ignore pattern that would
    // hide a recorded file is left out, so the list never hides what it holds.
    std::optional<Written> writeGeneration(const std::string &rootFolder, const Options &options,
                                           std::string *error) const;

    // The document alone, for a given generation; used by writeGeneration.
    std::optional<std::string> generationXml(const Options &options, std::string *error) const;

private:
    mutable std::mutex m_lock;
    std::vector<mhl::FileHash> m_files;
    std::set<std::string> m_directories;
};

} // namespace ferrydeck
