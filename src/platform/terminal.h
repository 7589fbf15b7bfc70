// SPDX-License-Identifier: MIT
//
// Whether a person reads what the program prints.
#ifndef QOLM_PLATFORM_TERMINAL_H_
#define QOLM_PLATFORM_TERMINAL_H_

namespace qolm::platform {

bool StandardOutputIsTerminal();
bool StandardErrorIsTerminal();

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_TERMINAL_H_
