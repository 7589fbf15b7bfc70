// SPDX-License-Identifier: MIT
//
// The info command: prints a file's header, decodes every frame once and
// reports the decoding speed.
#ifndef QOLM_CLI_INFO_COMMAND_H_
#define QOLM_CLI_INFO_COMMAND_H_

#include <chrono>
#include <functional>
#include <iosfwd>
#include <string>

namespace qolm::cli {

using MonotonicClock = std::function<std::chrono::nanoseconds()>;

// `path` is UTF-8, as given by the user. The exit code: 0 when the file opened
// as version 2, however many of its frames decode, else 1. A report that `out`
// does not take ends the command early, which `out` shows.
int RunInfoCommand(const std::string& path, std::ostream& out, std::ostream& err,
                   const MonotonicClock& now);

// With the system's clock.
int RunInfoCommand(const std::string& path, std::ostream& out, std::ostream& err);

}  // namespace qolm::cli

#endif  // QOLM_CLI_INFO_COMMAND_H_
