#include "media/MovieBoxReader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto info = ferrydeck::MovieBoxReader::readMemory(data, size);
    // A reader that answers must answer something consistent.
    if (info && (info->timeScale == 0 || info->videoTrackCount > info->trackCount)) __builtin_trap();
    return 0;
}
