// SPDX-License-Identifier: MIT
//
// Makes failed writes return errors instead of raising signals that terminate the
// program. Does nothing on systems whose failed writes raise none.
#ifndef QOLM_PLATFORM_WRITE_SIGNALS_H_
#define QOLM_PLATFORM_WRITE_SIGNALS_H_

namespace qolm::platform {

// Raised when a file exceeds the user's limit.
void IgnoreFileSizeSignal();

// Raised when the reader of a pipe has closed it, as `head` does.
void IgnoreBrokenPipeSignal();

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_WRITE_SIGNALS_H_
