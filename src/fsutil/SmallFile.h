#pragma once

#include <cstdint>
#include <string>

namespace ferrydeck::fsutil {

enum class SmallFileRead { Read, Failed, NotAFile, TooLarge };

// Reads a whole small file of our own (preferences, the saved queue).
// Non-blocking, so that a FIFO in place of the file cannot hang the start-up,
// and bounded, so that /dev/zero or a runaway file cannot exhaust memory.
// `error` is errno for Failed (ENOENT for a missing file).
SmallFileRead readSmallFile(const std::string &filePath, uint64_t maximumBytes, std::string &text, int &error);

} // namespace ferrydeck::fsutil
