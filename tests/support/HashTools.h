#pragma once

#include "proof/HashMethod.h"

#include <optional>
#include <string>

namespace ferrydeck::test {

// A file's checksum as Debian's own tools give it (xxhsum, md5sum, sha1sum,
// sha512sum; C4 from sha512sum's digest in base 58), so the values the
// program writes are checked against code that is not its own. None when
// the tool is missing.
std::optional<std::string> toolHashOfFile(HashMethod method, const std::string &path);
// The same for bytes, through a temporary file.
std::optional<std::string> toolHashOfBytes(HashMethod method, const std::string &bytes);
// Raw digest bytes of hex text.
std::string bytesFromHex(const std::string &hex);
// "c4" + base 58 of a 512-bit big-endian number given in hex, padded to 90.
std::string c4FromSha512Hex(const std::string &hex);

} // namespace ferrydeck::test
