#include "support/HashTools.h"

#include "fsutil/Process.h"
#include "support/TestFiles.h"

#include <cstdint>
#include <map>
#include <vector>

namespace ferrydeck::test {

std::string bytesFromHex(const std::string &hex)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string c4FromSha512Hex(const std::string &hex)
{
    // 32-bit limbs, most significant first, divided by 58 until zero.
    std::vector<uint64_t> limbs;
    for (size_t i = 0; i < hex.size(); i += 8)
        limbs.push_back(std::stoull(hex.substr(i, 8), nullptr, 16));
    static const char alphabet[] = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
    std::string reversed;
    for (bool zero = false; !zero;) {
        uint64_t remainder = 0;
        zero = true;
        for (uint64_t &limb : limbs) {
            const uint64_t value = (remainder << 32) | limb;
            limb = value / 58;
            remainder = value % 58;
            zero = zero && limb == 0;
        }
        reversed.push_back(alphabet[remainder]);
    }
    reversed.resize(88, '1');
    return "c4" + std::string(reversed.rbegin(), reversed.rend());
}

std::optional<std::string> toolHashOfFile(HashMethod method, const std::string &path)
{
    // C4 is the base 58 of SHA-512's digest.
    static const std::map<HashMethod, std::vector<std::string>> tools = {{HashMethod::Xxh64, {"xxhsum", "-q", "-H1"}},
                                                                         {HashMethod::Xxh128, {"xxhsum", "-q", "-H2"}},
                                                                         {HashMethod::Xxh3, {"xxhsum", "-q", "-H3"}},
                                                                         {HashMethod::Md5, {"md5sum"}},
                                                                         {HashMethod::Sha1, {"sha1sum"}},
                                                                         {HashMethod::C4, {"sha512sum"}}};
    std::vector<std::string> argv = tools.at(method);
    argv.push_back(path);
    const Process::Result result = Process::run(argv, Process::Output::Capture);
    if (!result.succeeded()) return std::nullopt;
    // "VALUE  PATH", or "XXH3 (PATH) = VALUE" for XXH3.
    const size_t equals = result.output.rfind(" = ");
    std::string value = equals != std::string::npos ? result.output.substr(equals + 3)
                                                    : result.output.substr(0, result.output.find(' '));
    value = value.substr(0, value.find_first_of(" \n"));
    return method == HashMethod::C4 ? c4FromSha512Hex(value) : value;
}

std::optional<std::string> toolHashOfBytes(HashMethod method, const std::string &bytes)
{
    const TempDir dir;
    writeFile(dir / "bytes", bytes);
    return toolHashOfFile(method, dir / "bytes");
}

} // namespace ferrydeck::test
