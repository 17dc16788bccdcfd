#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace ferrydeck {

// The checksum formats a hash list can carry. Declared in the order their
// elements must appear inside one <hash> of a hash list.
enum class HashMethod { C4, Md5, Sha1, Xxh128, Xxh3, Xxh64 };

inline constexpr std::array<HashMethod, 6> kAllHashMethods = {HashMethod::C4,     HashMethod::Md5,  HashMethod::Sha1,
                                                              HashMethod::Xxh128, HashMethod::Xxh3, HashMethod::Xxh64};

// The element name in a hash list, which is also the name people and the
// command line use ("xxh64", "c4", ...).
std::string_view hashMethodName(HashMethod method);
std::optional<HashMethod> hashMethodFromName(std::string_view name);

// Bytes of the raw digest: 8, 16, 20 or 64 (C4 carries a whole SHA-512).
size_t rawDigestSize(HashMethod method);

// Text form <-> raw digest. The text is lowercase hex for every format but
// C4, whose text is "c4" and the digest in base 58, padded to 90 characters.
// rawDigestFromText answers none for text that is not a value of the format
// (wrong length, foreign characters, a base-58 number too large).
std::string textFromRawDigest(HashMethod method, std::string_view raw);
std::optional<std::string> rawDigestFromText(HashMethod method, std::string_view text);

} // namespace ferrydeck
