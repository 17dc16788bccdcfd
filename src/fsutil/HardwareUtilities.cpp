#include "fsutil/HardwareUtilities.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace ferrydeck {

namespace {

constexpr const char *kSysfsRoot = "/sys";
constexpr const char *kCpuinfoPath = "/proc/cpuinfo";
constexpr const char *kDeviceTreeModelPath = "/proc/device-tree/model";

std::string readText(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string trimmed(const std::string &text)
{
    const char *space = " \t\r\n";
    const size_t first = text.find_first_not_of(space);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(space) - first + 1);
}

// The largest value of a "cpu MHz : 2596.152" line in cpuinfo, in hertz.
int64_t clockFromCpuinfo(const std::string &cpuinfoPath)
{
    std::istringstream lines(readText(cpuinfoPath));
    std::string line;
    double bestMegahertz = 0;
    while (std::getline(lines, line)) {
        if (line.rfind("cpu MHz", 0) != 0) continue;
        const size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
        char *end = nullptr;
        const std::string value = trimmed(line.substr(colon + 1));
        const double megahertz = std::strtod(value.c_str(), &end);
        if (end != value.c_str() && megahertz > bestMegahertz) bestMegahertz = megahertz;
    }
    return static_cast<int64_t>(bestMegahertz * 1000000.0);
}

} // namespace

int32_t HardwareUtilities::countProcessors()
{
    const long count = ::sysconf(_SC_NPROCESSORS_CONF);
    return count > 0 ? static_cast<int32_t>(count) : 1;
}

int64_t HardwareUtilities::processorClockSpeed()
{
    return processorClockSpeed(kSysfsRoot, kCpuinfoPath);
}

int64_t HardwareUtilities::processorClockSpeed(const std::string &sysfsRoot, const std::string &cpuinfoPath)
{
    // cpufreq gives the rated maximum in kHz; virtual machines often lack it
    // and only report the current clock in cpuinfo.
    const std::string maximum = trimmed(readText(sysfsRoot + "/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq"));
    if (!maximum.empty()) {
        char *end = nullptr;
        const long long kilohertz = std::strtoll(maximum.c_str(), &end, 10);
        if (*end == '\0' && kilohertz > 0) return static_cast<int64_t>(kilohertz) * 1000;
    }
    return clockFromCpuinfo(cpuinfoPath);
}

int32_t HardwareUtilities::processorClockSpeedInMHz()
{
    return static_cast<int32_t>(processorClockSpeed() / 1000000);
}

int32_t HardwareUtilities::processorClockSpeedInMHz(const std::string &sysfsRoot, const std::string &cpuinfoPath)
{
    return static_cast<int32_t>(processorClockSpeed(sysfsRoot, cpuinfoPath) / 1000000);
}

std::string HardwareUtilities::machineType()
{
    return machineType(kSysfsRoot, kDeviceTreeModelPath);
}

std::string HardwareUtilities::machineType(const std::string &sysfsRoot, const std::string &deviceTreeModelPath)
{
    std::string name = trimmed(readText(sysfsRoot + "/class/dmi/id/product_name"));
    if (name.empty()) {
        // Boards without firmware tables name themselves in the device tree,
        // a NUL-terminated string.
        const std::string model = readText(deviceTreeModelPath);
        name = trimmed(model.substr(0, model.find('\0')));
    }
    return name.empty() ? kUnknownMachine : name;
}

} // namespace ferrydeck
