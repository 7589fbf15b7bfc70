// SPDX-License-Identifier: MIT
//
// The whole program except main: banner, command dispatch and the handler of the
// exceptions that a command throws.
#ifndef QOLM_CLI_PROGRAM_H_
#define QOLM_CLI_PROGRAM_H_

#include <iosfwd>
#include <string>
#include <vector>

namespace qolm::cli {

// `arguments` holds UTF-8, argument 0 first. Returns the exit code.
int RunProgram(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace qolm::cli

#endif  // QOLM_CLI_PROGRAM_H_
