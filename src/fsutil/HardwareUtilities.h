#pragma once

#include <cstdint>
#include <string>

namespace ferrydeck {

// What the application knows of the machine. The overloads taking paths read
// from another sysfs root or cpuinfo file, for tests.
class HardwareUtilities {
public:
    HardwareUtilities() = delete;

    static constexpr const char *kUnknownMachine = "machineType: machine name cannot be determined";

    // The configured processors, not only those online.
    static int32_t countProcessors();

    // Hertz, 0 when unknown. Wider than 32 bits on purpose: clocks above
    // 2.147 GHz would not fit.
    static int64_t processorClockSpeed();
    static int64_t processorClockSpeed(const std::string &sysfsRoot, const std::string &cpuinfoPath);
    // Truncated, not rounded.
    static int32_t processorClockSpeedInMHz();
    static int32_t processorClockSpeedInMHz(const std::string &sysfsRoot, const std::string &cpuinfoPath);

    static std::string machineType();
    static std::string machineType(const std::string &sysfsRoot, const std::string &deviceTreeModelPath);
};

} // namespace ferrydeck
