#include <unistd.h>

#include "cli/status_line.h"

namespace qolm::cli {

bool StandardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

}  // namespace qolm::cli
