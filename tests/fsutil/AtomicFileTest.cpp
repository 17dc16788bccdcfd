#include "fsutil/AtomicFile.h"
#include "fsutil/Guarded.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

namespace ferrydeck {
namespace {

using fsutil::ReplaceResult;

TEST(AtomicFile, ReplacesWithTheCallersModeOrRefusesATakenName)
{
    const struct {
        const char *name;
        bool existing, replace;
        mode_t mode;
        ReplaceResult result;
        const char *contents;
    } cases[] = {
        {"new file", false, true, 0600, ReplaceResult::Replaced, "new"},
        {"replaced", true, true, 0644, ReplaceResult::Replaced, "new"},
        {"taken name kept", true, false, 0644, ReplaceResult::Failed, "old"},
        {"free name with no-replace", false, false, 0640, ReplaceResult::Replaced, "new"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const test::TempDir dir;
        const std::string target = dir / "file.txt";
        if (c.existing) test::writeFile(target, "old");
        errno = 0;
        EXPECT_EQ(fsutil::replaceFileAtomically(target, "new", {.mode = c.mode, .replaceExisting = c.replace}),
                  c.result);
        if (c.result == ReplaceResult::Failed) EXPECT_EQ(errno, EEXIST);
        else EXPECT_EQ(test::statOf(target).st_mode & 07777, c.mode);
        EXPECT_EQ(test::readFile(target), c.contents);
        EXPECT_EQ(test::listFolder(dir.path()), std::vector<std::string>{"file.txt"}) << "a temporary was left behind";
    }
}

TEST(AtomicFile, MissingFolderMakesNoTemporary)
{
    test::TempDir dir;
    EXPECT_EQ(fsutil::replaceFileAtomically(dir / "missing/file.txt", "x"), ReplaceResult::NoTemporary);
    EXPECT_EQ(errno, ENOENT);
}

TEST(Guarded, UpdatesFromManyThreadsAreNotLost)
{
    Guarded<std::vector<int>> values;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&values] {
            for (int i = 0; i < 1000; ++i)
                values.update([i](std::vector<int> &list) { list.push_back(i); });
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(values.read([](const std::vector<int> &list) { return list.size(); }), 4000u);
}

} // namespace
} // namespace ferrydeck
