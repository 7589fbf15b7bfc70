// SPDX-License-Identifier: MIT
#include "platform/write_signals.h"

#include <csignal>

namespace qolm::platform {

void IgnoreFileSizeSignal() { std::signal(SIGXFSZ, SIG_IGN); }

void IgnoreBrokenPipeSignal() { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace qolm::platform
