#include "FaultChecks.h"

#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ferrydeck::test {

namespace {

TreeSnapshot *g_snapshot = nullptr;
size_t g_rootLength = 0;

uint64_t checksum(const std::string &path)
{
    // FNV-1a: enough to see any change on a test card.
    uint64_t hash = 14695981039346656037ull;
    for (const unsigned char c : readFile(path))
        hash = (hash ^ c) * 1099511628211ull;
    return hash;
}

int visit(const char *path, const struct stat *info, int, struct FTW *)
{
    std::string entry = std::to_string(info->st_mode) + " " + std::to_string(info->st_size) + " " +
                        std::to_string(info->st_mtim.tv_sec) + "." + std::to_string(info->st_mtim.tv_nsec);
    // Only regular files that can be read without blocking are summed.
    if (S_ISREG(info->st_mode) && ::access(path, R_OK) == 0) entry += " " + std::to_string(checksum(path));
    (*g_snapshot)[std::string(path).substr(g_rootLength)] = entry;
    return 0;
}

} // namespace

TreeSnapshot snapshotTree(const std::string &root)
{
    TreeSnapshot snapshot;
    g_snapshot = &snapshot;
    g_rootLength = root.size();
    ::nftw(root.c_str(), visit, 16, FTW_PHYS);
    g_snapshot = nullptr;
    return snapshot;
}

std::vector<std::pair<std::string, std::string>> verifiedInLog(const std::string &log)
{
    static const std::string opening = "\nComparing \"", middle = "\" to \"", closing = ":\n";
    static const std::vector<std::string> verdicts = {"File contents compare verification succeeded",
                                                      "File size verification complete"};
    std::vector<std::pair<std::string, std::string>> pairs;
    for (size_t at = log.find(opening); at != std::string::npos; at = log.find(opening, at + 1)) {
        const size_t from = at + opening.size();
        const size_t to = log.find(middle, from);
        const size_t end = to == std::string::npos ? to : log.find(closing, to);
        if (end == std::string::npos) break;
        for (const std::string &verdict : verdicts) {
            if (log.compare(end + closing.size(), verdict.size(), verdict) == 0) {
                pairs.emplace_back(log.substr(from, to - from),
                                   log.substr(to + middle.size(), end - to - middle.size()));
            }
        }
    }
    return pairs;
}

size_t expectVerifiedCopiesIdentical(const std::string &log)
{
    const auto pairs = verifiedInLog(log);
    for (const auto &[source, copy] : pairs) {
        EXPECT_TRUE(exists(copy)) << copy;
        EXPECT_EQ(readFile(source), readFile(copy)) << source << " reported verified but differs from " << copy;
    }
    return pairs.size();
}

} // namespace ferrydeck::test
