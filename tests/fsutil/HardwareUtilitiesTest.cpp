#include "fsutil/HardwareUtilities.h"

#include "support/TestFiles.h"

#include <gtest/gtest.h>

using namespace ferrydeck;
using namespace ferrydeck::test;

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
