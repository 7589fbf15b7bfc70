// Ctrl-C, SIGTERM and the end of the terminal ask a conversion to stop after
// the frame in hand; a second Ctrl-C or SIGTERM ends the program at once.
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
