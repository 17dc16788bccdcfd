#pragma once

#include "proof/MhlGenerationWriter.h"
#include "proof/MhlHistory.h"

#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// A folder re-read against its hash-list history.
struct MhlFolderCheck {
    enum class Outcome { Matched, Changed, Missing, New, Unreadable, Invalid };
    struct Item {
        Outcome outcome = Outcome::Matched;
        std::string relativePath;
        HashMethod method = HashMethod::Xxh64;
        std::string recorded; // the history's value; empty for a new file
        std::string found;    // what the file gives now; empty when unread
        uint64_t size = 0;
        std::optional<int64_t> modificationTime;
        std::string detail; // why a file could not be read or a path was refused
    };

    std::vector<Item> items; // sorted by path
    std::vector<std::string> chainProblems;
    HashMethod newFileMethod = HashMethod::Xxh64; // what new files were hashed with

    bool allMatch() const;

    // Re-reads every file the history lists (one format per file: the
    // fastest one recorded, since one proves as much as another here) and
    // hashes every file it does not list. Paths the history's ignore
    // patterns match take no part; links and other non-files are not read.
    static MhlFolderCheck run(const std::string &rootFolder, const MhlHistory &history);

    // The next generation from this check: "in-place", "verified" for
    // matches, "failed" with the value found for changes, "original" for new
    // files; missing and unreadable files are not recorded.
    std::optional<MhlGenerationWriter::Written> seal(const std::string &rootFolder, const MhlHistory &history,
                                                     std::string *error) const;
};

std::string_view outcomeName(MhlFolderCheck::Outcome outcome);

} // namespace ferrydeck
