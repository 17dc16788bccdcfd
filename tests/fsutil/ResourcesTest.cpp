#include "fsutil/Resources.h"
#include "fsutil/SystemSound.h"
#include "support/EnvironmentGuard.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace ferrydeck;
using namespace ferrydeck::test;

// Without the override the build tree's copy beside the program is found;
// with it, the override folder is the only place looked at.
TEST(Resources, BuildTreeCopyWithoutOverrideAndOnlyTheOverrideFolderWhenSet)
{
    EnvironmentGuard unset(kResourcesVariable, nullptr);
    const auto lastClip = resourcePath("LASTCLIP.TXT");
    ASSERT_TRUE(lastClip);
    EXPECT_EQ(readFile(*lastClip), readFile(std::string(FERRYDECK_SOURCE_DIR) + "/resources/LASTCLIP.TXT"));
    EXPECT_FALSE(resourcePath("no-such-resource"));

    TempDir dir;
    writeFile(dir / "carHorn.wav", "RIFF");
    EnvironmentGuard resources(kResourcesVariable, dir.path().c_str());
    EXPECT_EQ(resourcePath("carHorn.wav"), dir / "carHorn.wav");
    EXPECT_FALSE(resourcePath("LASTCLIP.TXT")) << "no silent fallback to another copy";
    for (const char *name : {"", ".", "..", "../carHorn.wav", "sub/carHorn.wav"})
        EXPECT_FALSE(resourcePath(name));
}

// A station without audio offloads many cards; its log must not fill with one
// complaint per sound (the sound library's own lines included).
TEST(SystemSound, ManySoundsSayAtMostOneLineWhenNothingCanPlay)
{
    testing::internal::CaptureStderr();
    for (int i = 0; i < 4; ++i) {
        SystemSound::playEvent("complete");
        SystemSound::playFile("/nonexistent/carHorn.wav");
    }
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_LE(std::count(said.begin(), said.end(), '\n'), 1) << said;
}
