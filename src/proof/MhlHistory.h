#pragma once

#include "proof/AscMhl.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// A folder's hash-list history as written by us or any other tool that
// follows the format: its generations in order and its chain.
class MhlHistory {
public:
    struct Generation {
        int number = 0;
        std::string fileName;
        std::string process;
        std::vector<std::string> ignorePatterns;
        std::vector<mhl::FileHash> hashes;
    };

    // True when `rootFolder` has an ascmhl folder at all.
    static bool exists(const std::string &rootFolder);
    // None when the history cannot be read: no folder, no generation, or a
    // generation that is not a well-formed hash list (`error` says which).
    static std::optional<MhlHistory> load(const std::string &rootFolder, std::string *error);

    const std::vector<Generation> &generations() const { return m_generations; }
    const std::vector<mhl::ChainEntry> &chain() const { return m_chain; }
    // The defaults and every pattern any generation named.
    std::vector<std::string> ignorePatterns() const;
    // Per path, the values of the newest generation that recorded it; a
    // "failed" value is what a check found, not what was proven, so the
    // proven value from before it stands.
    std::map<std::string, std::vector<mhl::FileHash>> latestHashes() const;
    // What a checker would reject about the chain: generations missing from
    // it, entries without their file, and C4 values that do not match.
    std::vector<std::string> chainProblems() const;

private:
    std::string m_folder;
    std::vector<Generation> m_generations;
    std::vector<mhl::ChainEntry> m_chain;
};

} // namespace ferrydeck
