#pragma once

#include "fsutil/SourceReader.h"

#include <string>

namespace ferrydeck {

// The byte-by-byte comparison that `cmp FIRST SECOND` performs, done in this
// process: the same outcome (cmp's exit code) and the same report, word for
// word, so that nothing observable changes when no program is started.
class FileComparison {
public:
    FileComparison() = delete;

    enum class Outcome { Same = 0, Differ = 1, Trouble = 2 };

    // `report` receives what cmp would print (its difference line or its
    // message about an end of file or an error); empty when the files match.
    // `readFirst`, when set, reads the first file in place of the comparison.
    // The second file (the copy) is taken to be read once: its pages are dropped
    // from the cache behind the comparison.
    static Outcome compare(const std::string &first, const std::string &second, std::string &report,
                           const SourceReader &readFirst = {});
};

} // namespace ferrydeck
