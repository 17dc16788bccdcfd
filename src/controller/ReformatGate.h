#pragma once

#include "controller/OffloadHistory.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ferrydeck {

// The one place that decides whether a card may be reformatted: the card
// action and `ferrydeck-cli reformat` both ask it. A reformat erases what
// exists nowhere else unless every file on the card has a verified copy, so
// anything unsure refuses, with a reason a person can act on.
class ReformatGate {
public:
    ReformatGate() = delete;

    // Why the volume is not a card a reformat may touch at all (no override).
    static std::optional<std::string> notACard(const std::string &mountPath, int32_t cardType);
    // Why the card's last offload does not cover what it holds now: nothing
    // recorded, a job that did not complete, a copy never verified, a file
    // without a verified copy of the same size and modification time.
    static std::optional<std::string> notSafelyOffloaded(const std::string &mountPath, int32_t cardType,
                                                         const OffloadHistory &history);
    // Both of the above, in that order; none when the reformat may go ahead.
    static std::optional<std::string> refusal(const std::string &mountPath, int32_t cardType,
                                              const OffloadHistory &history);

    // Every regular file on the card, hidden ones included, links never
    // followed, sorted by path; none (with the reason) when any folder of it
    // could not be read.
    static std::optional<std::vector<OffloadHistory::File>> cardFiles(const std::string &mountPath,
                                                                      std::string *error = nullptr);
};

} // namespace ferrydeck
