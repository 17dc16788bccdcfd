#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace ferrydeck::test {

// What a card holds, entry by entry (relative path -> type, mode, size,
// modification time and a checksum of the contents), links not followed.
using TreeSnapshot = std::map<std::string, std::string>;
TreeSnapshot snapshotTree(const std::string &root);

// The (source, copy) pairs that a log reports as verified.
std::vector<std::pair<std::string, std::string>> verifiedInLog(const std::string &log);

// Asserts, for the current test, that every pair the log reports as verified
// has identical bytes at both ends; answers how many there were.
size_t expectVerifiedCopiesIdentical(const std::string &log);

} // namespace ferrydeck::test
