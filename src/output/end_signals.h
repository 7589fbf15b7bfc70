// How a program that writes files takes the signals that would end it, where the
// system has such.
#ifndef QOLM_OUTPUT_END_SIGNALS_H_
#define QOLM_OUTPUT_END_SIGNALS_H_

#include <atomic>
#include <cstdint>

namespace qolm::output {

using SignalHandler = void (*)(int signal_number);

// Sets the handler of SIGINT, SIGTERM or SIGHUP. A signal that the program's
// starter ignores stays ignored, and nobody else's handler is replaced. Reads
// and writes in progress go on.
void HandleEndSignal(int signal_number, SignalHandler handler);

// The signal ends the program again, unless it is ignored.
void StopHandlingEndSignal(int signal_number);

// For a handler: ends the program as if the signal had none.
void EndBySignal(int signal_number);

// Milliseconds on a clock that never goes back, but wraps. A handler may call it.
using SignalClock = uint32_t (*)();
uint32_t SignalMilliseconds();

// The user's request to end, which may arrive as several signals at once: timeout and
// service managers signal a program and then the group that it is in.
class EndRequest {
 public:
  static constexpr uint32_t kEchoMilliseconds = 300;

  // Forgets the request. No handler may use the object meanwhile.
  void Reset(SignalClock clock = SignalMilliseconds);

  bool made() const { return first_ != 0; }

  // For handlers, on any thread: a signal has come. True when the request had been
  // made before, and not by another signal of just now.
  bool Repeated();

 private:
  std::atomic<SignalClock> clock_{SignalMilliseconds};
  std::atomic<uint32_t> first_{0};  // when it was made; 0 for not yet
  static_assert(std::atomic<SignalClock>::is_always_lock_free);
  static_assert(std::atomic<uint32_t>::is_always_lock_free);
};

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_END_SIGNALS_H_
