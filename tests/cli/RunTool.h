// Runs marlindex-cli in process, as a user runs it, and keeps what it wrote where.
#pragma once

#include "cli/CliCommands.h"

#include <sstream>
#include <string>
#include <vector>

namespace marlindex::test {

struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

inline Result RunTool(const std::vector<std::string>& args, const std::string& input = "") {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    Result result;
    result.status = RunCli(args, in, out, err);
    result.out = out.str();
    result.err = err.str();
    return result;
}

} // namespace marlindex::test
