#pragma once

#include <optional>
#include <string>

namespace ferrydeck::test {

// The published hash-list schemas beside the source tree (../shared/ascmhl),
// or none where they are absent.
std::optional<std::string> mhlSchemaFolder();
// Empty when `xmlFile` is valid against `schemaFile`, else libxml2's reasons.
std::string schemaErrors(const std::string &schemaFile, const std::string &xmlFile);

} // namespace ferrydeck::test
