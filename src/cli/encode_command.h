// SPDX-License-Identifier: MIT
//
// The encode command with this build's media framework, the system's clock and its signals.
#ifndef QOLM_CLI_ENCODE_COMMAND_H_
#define QOLM_CLI_ENCODE_COMMAND_H_

#include <iosfwd>

#include "cli/conversion.h"

namespace qolm::cli {

// Returns and throws what EncodeVideo does.
int RunEncodeCommand(const EncodeRequest& request, std::ostream& out, std::ostream& err);

}  // namespace qolm::cli

#endif  // QOLM_CLI_ENCODE_COMMAND_H_
