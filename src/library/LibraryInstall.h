// The install step ("marlindex I"): before a new release first runs, the library is backed up
// and rewritten in the current layout.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>

namespace marlindex {

// Copies MARLXS in `programFolder` to "MARLX." + `hhmmss` beside it (never over an existing
// file), then converts it: reads it and writes it again, record by record. This release knows
// no earlier layout than its own, so a readable file comes out as it went in; one without
// formulas is not written at all. Without a library nothing happens.
// Returns 0 when done (or nothing to do), 1 when the backup or the rewrite could not be
// written, 2 when the library is damaged; the library itself is then left as it was, and
// `err` says why.
int RunInstallStep(const std::filesystem::path& programFolder, std::string_view hhmmss,
                   std::ostream& err);

// The local time as "hhmmss", for the backup's name.
std::string CurrentTimeHhmmss();

} // namespace marlindex
