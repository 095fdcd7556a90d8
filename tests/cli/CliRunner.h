// Runs marlindex-cli in process and keeps what a user would see: exit status, stdout, stderr.
#pragma once

#include "cli/CliCommands.h"

#include <sstream>
#include <string>
#include <vector>

namespace marlindex::test {

struct CliResult {
    int status = -1;
    std::string out;
    std::string err;
};

inline CliResult RunTool(const std::vector<std::string>& args, const std::string& input = "") {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    CliResult result;
    result.status = RunCli(args, in, out, err);
    result.out = out.str();
    result.err = err.str();
    return result;
}

} // namespace marlindex::test
