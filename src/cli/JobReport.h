#pragma once

#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>

namespace ferrydeck {
class OffloadInstance;
}

namespace ferrydeck::cli {

// What a finished job tells a script: status, figures, how it was verified,
// how long it took, every failed file with its reason and, on request, every
// file with its checksum.
nlohmann::json jobJson(const OffloadInstance &job, const std::optional<std::string> &log, bool withFiles);

// The same for a person, on standard error after the job's status line:
// the method ("not verified" when there was none), time and throughput, one
// line per failed file.
std::string jobSummaryText(const OffloadInstance &job);

} // namespace ferrydeck::cli
