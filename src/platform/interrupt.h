// SPDX-License-Identifier: MIT
//
// Ctrl-C, SIGTERM and the end of the terminal ask a conversion to stop after
// the current frame; a second Ctrl-C or SIGTERM terminates the program at once. Signals
// within 0.3 s of the first do not count as a second one, since programs that stop others
// send several. On Windows Ctrl-Break counts as Ctrl-C, and the end of the session or of
// the system as the end of the terminal.
#ifndef QOLM_PLATFORM_INTERRUPT_H_
#define QOLM_PLATFORM_INTERRUPT_H_

#include <cstdint>

namespace qolm::platform {

// Listens from construction to destruction. One at a time.
class InterruptListener {
 public:
  // A clock in milliseconds that times the signals; null for the system's.
  using SignalClock = uint32_t (*)();

  explicit InterruptListener(SignalClock clock = nullptr);
  ~InterruptListener();
  InterruptListener(const InterruptListener&) = delete;
  InterruptListener& operator=(const InterruptListener&) = delete;

  bool interrupted() const;
};

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_INTERRUPT_H_
