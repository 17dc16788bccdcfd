#include "proof/HashMethod.h"

#include <cstdint>

namespace ferrydeck {

namespace {

constexpr std::string_view kBase58 = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
constexpr size_t kC4DigitCount = 88;

int hexValue(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10; // other tools may write capitals
    return -1;
}

std::string c4Text(std::string_view raw)
{
    // Long division of the big-endian number by 58, least significant digit first.
    std::string number(raw);
    std::string digits;
    bool nonZero = true;
    while (nonZero) {
        nonZero = false;
        unsigned remainder = 0;
        for (char &byte : number) {
            const unsigned value = (remainder << 8) | static_cast<unsigned char>(byte);
            byte = static_cast<char>(value / 58);
            remainder = value % 58;
            if (byte != 0) nonZero = true;
        }
        digits.push_back(kBase58[remainder]);
    }
    while (digits.size() < kC4DigitCount)
        digits.push_back('1');
    return "c4" + std::string(digits.rbegin(), digits.rend());
}

std::optional<std::string> c4Raw(std::string_view text)
{
    if (text.size() != 2 + kC4DigitCount || !text.starts_with("c4")) return std::nullopt;
    std::string number(rawDigestSize(HashMethod::C4), '\0');
    for (const char c : text.substr(2)) {
        const size_t digit = kBase58.find(c);
        if (digit == std::string_view::npos) return std::nullopt;
        unsigned carry = static_cast<unsigned>(digit);
        for (auto byte = number.rbegin(); byte != number.rend(); ++byte) {
            const unsigned value = static_cast<unsigned char>(*byte) * 58u + carry;
            *byte = static_cast<char>(value & 0xff);
            carry = value >> 8;
        }
        if (carry != 0) return std::nullopt; // larger than 512 bits
    }
    return number;
}

} // namespace

std::string_view hashMethodName(HashMethod method)
{
    switch (method) {
    case HashMethod::C4:
        return "c4";
    case HashMethod::Md5:
        return "md5";
    case HashMethod::Sha1:
        return "sha1";
    case HashMethod::Xxh128:
        return "xxh128";
    case HashMethod::Xxh3:
        return "xxh3";
    case HashMethod::Xxh64:
        return "xxh64";
    }
    return {};
}

std::optional<HashMethod> hashMethodFromName(std::string_view name)
{
    for (const HashMethod method : kAllHashMethods) {
        if (hashMethodName(method) == name) return method;
    }
    return std::nullopt;
}

size_t rawDigestSize(HashMethod method)
{
    switch (method) {
    case HashMethod::C4:
        return 64;
    case HashMethod::Md5:
        return 16;
    case HashMethod::Sha1:
        return 20;
    case HashMethod::Xxh128:
        return 16;
    case HashMethod::Xxh3:
        return 8;
    case HashMethod::Xxh64:
        return 8;
    }
    return 0;
}

std::string textFromRawDigest(HashMethod method, std::string_view raw)
{
    if (method == HashMethod::C4) return c4Text(raw);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string text;
    text.reserve(raw.size() * 2);
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        text.push_back(kHex[byte >> 4]);
        text.push_back(kHex[byte & 0xf]);
    }
    return text;
}

std::optional<std::string> rawDigestFromText(HashMethod method, std::string_view text)
{
    if (method == HashMethod::C4) return c4Raw(text);
    if (text.size() != rawDigestSize(method) * 2) return std::nullopt;
    std::string raw;
    raw.reserve(text.size() / 2);
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = hexValue(text[i]);
        const int low = hexValue(text[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        raw.push_back(static_cast<char>((high << 4) | low));
    }
    return raw;
}

} // namespace ferrydeck
