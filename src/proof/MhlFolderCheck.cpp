#include "proof/MhlFolderCheck.h"

#include "fsutil/DirectoryWalk.h"
#include "proof/Hasher.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <map>

namespace ferrydeck {

namespace {

// Cheapest first: the format a file is re-read with when it has several.
constexpr HashMethod kPreference[] = {HashMethod::Xxh3, HashMethod::Xxh128, HashMethod::Xxh64,
                                      HashMethod::Md5,  HashMethod::Sha1,   HashMethod::C4};

int rank(HashMethod method)
{
    return static_cast<int>(std::find(std::begin(kPreference), std::end(kPreference), method) -
                            std::begin(kPreference));
}

int64_t nowSeconds()
{
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

struct OnDisk {
    uint64_t size = 0;
    int64_t modificationTime = 0;
};

} // namespace

std::string_view outcomeName(MhlFolderCheck::Outcome outcome)
{
    switch (outcome) {
    case MhlFolderCheck::Outcome::Matched:
        return "matched";
    case MhlFolderCheck::Outcome::Changed:
        return "changed";
    case MhlFolderCheck::Outcome::Missing:
        return "missing";
    case MhlFolderCheck::Outcome::New:
        return "new";
    case MhlFolderCheck::Outcome::Unreadable:
        return "unreadable";
    case MhlFolderCheck::Outcome::Invalid:
        return "invalid";
    }
    return {};
}

bool MhlFolderCheck::allMatch() const
{
    return chainProblems.empty() &&
           std::all_of(items.begin(), items.end(), [](const Item &item) { return item.outcome == Outcome::Matched; });
}

MhlFolderCheck MhlFolderCheck::run(const std::string &rootFolder, const MhlHistory &history)
{
    MhlFolderCheck check;
    check.chainProblems = history.chainProblems();
    const std::vector<std::string> patterns = history.ignorePatterns();

    std::map<std::string, OnDisk> files;
    DirectoryWalk::walk(rootFolder, [&](const DirectoryWalk::Entry &entry) {
        if (mhl::isIgnored(entry.relativePath, entry.isDirectory, patterns)) return DirectoryWalk::Step::Skip;
        struct stat info {};
        if (!entry.isDirectory && ::fstatat(entry.parentFd, entry.name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(info.st_mode)) {
            files[entry.relativePath] = OnDisk{static_cast<uint64_t>(info.st_size), info.st_mtim.tv_sec};
        }
        return DirectoryWalk::Step::Descend;
    });

    // New files take the format the newest generation used most.
    std::map<HashMethod, size_t> used;
    if (!history.generations().empty()) {
        for (const mhl::FileHash &hash : history.generations().back().hashes)
            ++used[hash.method];
    }
    if (!used.empty()) {
        check.newFileMethod =
            std::max_element(used.begin(), used.end(), [](auto &a, auto &b) { return a.second < b.second; })->first;
    }

    const auto hashInto = [&](Item &item) {
        const FileHashResult result = hashFile(rootFolder + "/" + item.relativePath, item.method);
        if (result.value) {
            item.found = *result.value;
        } else {
            item.outcome = Outcome::Unreadable;
            item.detail = result.error;
        }
    };
    for (const auto &[path, values] : history.latestHashes()) {
        Item item;
        item.relativePath = path;
        item.method = std::min_element(values.begin(), values.end(), [](auto &a, auto &b) {
                          return rank(a.method) < rank(b.method);
                      })->method;
        for (const mhl::FileHash &value : values) {
            if (value.method == item.method) item.recorded = value.value;
        }
        if (!mhl::isSafeRelativePath(path)) {
            item.outcome = Outcome::Invalid;
            item.detail = "the history names a path outside the folder";
        } else if (mhl::isIgnored(path, false, patterns)) {
            continue;
        } else if (const auto disk = files.find(path); disk == files.end()) {
            item.outcome = Outcome::Missing;
        } else {
            item.size = disk->second.size;
            item.modificationTime = disk->second.modificationTime;
            hashInto(item);
            if (item.outcome == Outcome::Matched && item.found != item.recorded) {
                // Other tools may write capitals; the digest decides.
                const bool same =
                    rawDigestFromText(item.method, item.found) == rawDigestFromText(item.method, item.recorded);
                if (!same) item.outcome = Outcome::Changed;
            }
            files.erase(disk);
        }
        check.items.push_back(std::move(item));
    }
    for (const auto &[path, disk] : files) {
        Item item;
        item.outcome = Outcome::New;
        item.relativePath = path;
        item.method = check.newFileMethod;
        item.size = disk.size;
        item.modificationTime = disk.modificationTime;
        hashInto(item);
        check.items.push_back(std::move(item));
    }
    std::sort(check.items.begin(), check.items.end(),
              [](const Item &a, const Item &b) { return a.relativePath < b.relativePath; });
    return check;
}

std::optional<MhlGenerationWriter::Written> MhlFolderCheck::seal(const std::string &rootFolder,
                                                                 const MhlHistory &history, std::string *error) const
{
    MhlGenerationWriter writer;
    const int64_t now = nowSeconds();
    for (const Item &item : items) {
        if (item.found.empty()) continue;
        mhl::Action action = mhl::Action::Original;
        if (item.outcome == Outcome::Matched) action = mhl::Action::Verified;
        if (item.outcome == Outcome::Changed) action = mhl::Action::Failed;
        writer.addFile(
            mhl::FileHash{item.relativePath, item.size, item.modificationTime, item.method, item.found, action, now});
    }
    MhlGenerationWriter::Options options;
    options.process = mhl::Process::InPlace;
    const std::vector<std::string> defaults = mhl::defaultIgnorePatterns();
    for (const std::string &pattern : history.ignorePatterns()) {
        if (std::find(defaults.begin(), defaults.end(), pattern) == defaults.end())
            options.ignorePatterns.push_back(pattern);
    }
    options.creationTime = now;
    return writer.writeGeneration(rootFolder, options, error);
}

} // namespace ferrydeck
