// SPDX-License-Identifier: MIT
#include "platform/terminal.h"

#include <unistd.h>

namespace qolm::platform {

bool StandardOutputIsTerminal() { return isatty(STDOUT_FILENO) != 0; }

bool StandardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

}  // namespace qolm::platform
