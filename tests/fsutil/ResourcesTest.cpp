#include "fsutil/HardwareUtilities.h"
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

TEST(HardwareUtilities, ClockPrefersTheRatedMaximumAndTheNameTheFirmware)
{
    TempDir dir;
    writeFile(dir / "cpuinfo", "processor\t: 0\ncpu MHz\t\t: 1200.000\nprocessor\t: 1\ncpu MHz\t\t: 2596.152\n");
    // Only cpuinfo (virtual machines): the fastest core, truncated to MHz.
    EXPECT_EQ(HardwareUtilities::processorClockSpeed(dir / "sys", dir / "cpuinfo"), 2596152000);
    EXPECT_EQ(HardwareUtilities::processorClockSpeedInMHz(dir / "sys", dir / "cpuinfo"), 2596);

    writeFile(dir / "sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "2660000\n");
    EXPECT_EQ(HardwareUtilities::processorClockSpeed(dir / "sys", dir / "cpuinfo"), 2660000000);
    EXPECT_EQ(HardwareUtilities::processorClockSpeedInMHz(dir / "sys", dir / "cpuinfo"), 2660);

    writeFile(dir / "sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "garbage\n");
    EXPECT_EQ(HardwareUtilities::processorClockSpeedInMHz(dir / "sys", dir / "cpuinfo"), 2596);
    EXPECT_EQ(HardwareUtilities::processorClockSpeed(dir / "sys", dir / "missing"), 0);
    EXPECT_GE(HardwareUtilities::countProcessors(), 1);

    // The machine's name: from the firmware, else the device tree, else a text saying so.
    EXPECT_EQ(HardwareUtilities::machineType(dir / "sys", dir / "model"),
              "machineType: machine name cannot be determined");
    writeFile(dir / "model", std::string("Raspberry Pi 4 Model B Rev 1.4\0", 31));
    EXPECT_EQ(HardwareUtilities::machineType(dir / "sys", dir / "model"), "Raspberry Pi 4 Model B Rev 1.4");
    writeFile(dir / "sys/class/dmi/id/product_name", "ThinkPad X1 Carbon\n");
    EXPECT_EQ(HardwareUtilities::machineType(dir / "sys", dir / "model"), "ThinkPad X1 Carbon");
}
