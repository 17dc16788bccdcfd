#pragma once

#include "fsutil/VolumeService.h"

#include <string>
#include <utility>
#include <vector>

namespace ferrydeck::test {

// Fixed lists of local and removable volumes, for VolumeService::setCurrent.
// Header-only: the window's tests include it without the support library.
class FixedVolumes : public VolumeService {
public:
    FixedVolumes(std::vector<std::string> local, std::vector<std::string> removable)
        : m_local(std::move(local))
        , m_removable(std::move(removable))
    {
    }
    std::vector<std::string> localVolumePaths() const override { return m_local; }
    std::vector<std::string> removableVolumePaths() const override { return m_removable; }
    bool renameVolume(const std::string &, const std::string &) override { return false; }
    bool ejectVolume(const std::string &) override { return false; }

private:
    std::vector<std::string> m_local, m_removable;
};

} // namespace ferrydeck::test
