#include "controller/OffloadHistory.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace ferrydeck::test {

TEST(OffloadHistory, ANewOffloadReplacesTheCardsRecordAndItsOldJobsNoLongerWriteIntoIt)
{
    TempDir dir;
    const OffloadHistory history(dir / "state");
    const auto first = history.beginOffload("card-a", "/media/A", {"/one", "/two"});
    ASSERT_TRUE(first);
    OffloadHistory::Job done{"/one", "Completed", "contents", {{"DCIM/A.MOV", 3, 7}}};
    ASSERT_TRUE(history.recordJob(*first, done));
    ASSERT_TRUE(history.beginOffload("card-b", "/media/B", {"/one"}));

    const auto second = history.beginOffload("card-a", "/media/A", {"/three"});
    ASSERT_TRUE(second);
    ASSERT_TRUE(history.recordJob(*first, done)); // a late job of the replaced offload
    const auto card = history.lastOffload("card-a");
    ASSERT_TRUE(card);
    ASSERT_EQ(card->jobs.size(), 1u);
    EXPECT_EQ(card->jobs[0].destination, "/three");
    EXPECT_EQ(card->jobs[0].status, "In Queue");
    EXPECT_EQ(history.cards().size(), 2u);
}

TEST(OffloadHistory, AnUnusableFileIsToldAndCountsAsNothingRecorded)
{
    struct Case {
        const char *name;
        void (*make)(const std::string &file);
    };
    const Case cases[] = {
        {"corrupt", [](const std::string &file) { writeFile(file, "{\"cards\": [ {\"identity\": "); }},
        {"not an object", [](const std::string &file) { writeFile(file, "[1, 2, 3]"); }},
        {"a FIFO, which must not block", [](const std::string &file) { ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); }},
        {"too large",
         [](const std::string &file) {
             writeFile(file, "");
             ASSERT_EQ(::truncate(file.c_str(), OffloadHistory::kMaximumBytes + 1), 0);
         }},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.name);
        TempDir dir;
        makeDirectory(dir / "state");
        const OffloadHistory history(dir / "state");
        test.make(history.filePath());
        std::string error;
        EXPECT_TRUE(history.cards(&error).empty());
        EXPECT_NE(error.find(history.filePath()), std::string::npos) << error;
        EXPECT_FALSE(history.lastOffload("card"));
        // The next offload starts a fresh history and keeps the bad one aside.
        EXPECT_TRUE(history.beginOffload("card", "/media/C", {"/one"}));
        EXPECT_TRUE(history.lastOffload("card"));
        EXPECT_TRUE(exists(history.filePath() + ".corrupt"));
    }
}

} // namespace ferrydeck::test
