#include "fsutil/VolumeService.h"

#include "fsutil/MediaRootVolumeService.h"
#include "fsutil/SystemVolumeService.h"

#include <cstdlib>
#include <mutex>

namespace ferrydeck {

namespace {

std::mutex &overrideMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<VolumeService> &overrideService()
{
    static std::shared_ptr<VolumeService> service;
    return service;
}

} // namespace

std::shared_ptr<VolumeService> VolumeService::current()
{
    {
        std::lock_guard lock(overrideMutex());
        if (overrideService()) return overrideService();
    }
    const char *mediaRoot = std::getenv(kMediaRootVariable);
    if (mediaRoot && *mediaRoot) return std::make_shared<MediaRootVolumeService>(mediaRoot);
    return std::make_shared<SystemVolumeService>();
}

void VolumeService::setCurrent(std::shared_ptr<VolumeService> service)
{
    std::lock_guard lock(overrideMutex());
    overrideService() = std::move(service);
}

} // namespace ferrydeck
