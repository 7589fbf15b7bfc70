// SPDX-License-Identifier: MIT
#include "platform/write_signals.h"

namespace qolm::platform {

void IgnoreFileSizeSignal() {}

void IgnoreBrokenPipeSignal() {}

}  // namespace qolm::platform
