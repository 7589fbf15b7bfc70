// Ctrl-C, SIGTERM and the end of the terminal ask a conversion to stop after
// the frame in hand; a second Ctrl-C or SIGTERM ends the program at once, but for
// signals within 0.3 s of the first, which programs that end others send. On
// Windows Ctrl-Break counts as Ctrl-C, and leaving the session or shutting down
// as the end of the terminal.
#ifndef QOLM_CLI_INTERRUPT_H_
#define QOLM_CLI_INTERRUPT_H_

#include <cstdint>

namespace qolm::cli {

// Listens while it lives. One at a time.
class InterruptListener {
 public:
  // A clock of milliseconds, which signals are timed by; null for the system's.
  using SignalClock = uint32_t (*)();

  explicit InterruptListener(SignalClock clock = nullptr);
  ~InterruptListener();
  InterruptListener(const InterruptListener&) = delete;
  InterruptListener& operator=(const InterruptListener&) = delete;

  bool interrupted() const;
};

}  // namespace qolm::cli

#endif  // QOLM_CLI_INTERRUPT_H_
