#include "fsutil/SystemSound.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace ferrydeck;

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
