// marlindex-cli run: what the main window's Run does, without the window. The formula is
// written where the analysis application keeps formulas and its analysis explores or scans
// it: AmiBroker through automation on Windows, the local host of a database folder anywhere.
#pragma once

#include "amibroker/Broker.h"
#include "cli/CliSupport.h"

#include <cstdint>
#include <optional>
#include <string>

namespace marlindex {

struct RunCommandOptions {
    std::string formula; // a scan file (.json) or a formula file; "-" reads AFL from stdin
    bool explore = false;
    bool scan = false;
    std::string applyTo; // all, current, filter; empty: the scan file's own (all for AFL)
    std::string range;   // all, bars, days; empty: the scan file's own (all for AFL)
    std::optional<std::int32_t> n;
    std::string symbol; // the current symbol of the local host
    std::string registryFile;
    std::string programFolder;
    std::string database; // the local host's database folder
    // The analysis application to run through instead of the one the options choose, and the
    // header comment's date instead of today's: for tests.
    Broker* broker = nullptr;
    std::string today;
};

int RunThroughBroker(const RunCommandOptions& options, CliStreams streams);

} // namespace marlindex
