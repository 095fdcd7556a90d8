// The commands of marlindex-cli, runnable in process so that tests see exactly what a user
// sees: stdout carries only the result, stderr one clear line per problem.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace marlindex {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;  // the work could not be done (output, system)
inline constexpr int kExitBadInput = 2; // the input or the command line is wrong

// `args` excludes the program name.
int RunCli(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
           std::ostream& err);

} // namespace marlindex
