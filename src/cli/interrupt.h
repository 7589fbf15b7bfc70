// Ctrl-C, SIGTERM and the end of the terminal ask a conversion to stop after
// the frame in hand; a second Ctrl-C or SIGTERM ends the program at once. On
// Windows Ctrl-Break counts as Ctrl-C, and leaving the session or shutting down
// as the end of the terminal.
#ifndef QOLM_CLI_INTERRUPT_H_
#define QOLM_CLI_INTERRUPT_H_

namespace qolm::cli {

// Listens while it lives. One at a time.
class InterruptListener {
 public:
  InterruptListener();
  ~InterruptListener();
  InterruptListener(const InterruptListener&) = delete;
  InterruptListener& operator=(const InterruptListener&) = delete;

  bool interrupted() const;
};

}  // namespace qolm::cli

#endif  // QOLM_CLI_INTERRUPT_H_
