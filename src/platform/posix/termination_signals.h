// SPDX-License-Identifier: MIT
//
// How a program that writes files handles the signals that would terminate it.
#ifndef QOLM_PLATFORM_POSIX_TERMINATION_SIGNALS_H_
#define QOLM_PLATFORM_POSIX_TERMINATION_SIGNALS_H_

#include <atomic>
#include <cstdint>

namespace qolm::platform {

using SignalHandler = void (*)(int signal_number);

// Sets the handler of SIGINT, SIGTERM or SIGHUP. A signal that the parent process set to
// be ignored stays ignored, and existing handlers are not replaced. Reads and writes in
// progress are restarted.
void HandleTerminationSignal(int signal_number, SignalHandler handler);

// Restores the signal's default action, unless it is ignored.
void StopHandlingTerminationSignal(int signal_number);

// For a handler: terminates the program as if the signal had none.
void TerminateBySignal(int signal_number);

// Milliseconds of a monotonic clock that wraps. Safe in a signal handler.
using SignalClock = uint32_t (*)();
uint32_t SignalMilliseconds();

// The user's request to terminate, which may arrive as several signals at once: timeout
// and service managers signal a program and then its process group.
class TerminationRequest {
 public:
  static constexpr uint32_t kEchoMilliseconds = 300;

  // Clears the request. No handler may use the object meanwhile.
  void Reset(SignalClock clock = SignalMilliseconds);

  bool made() const { return first_ != 0; }

  // For handlers, on any thread: records a signal. True when it repeats a request that was
  // made at least kEchoMilliseconds ago.
  bool Repeated();

 private:
  std::atomic<SignalClock> clock_{SignalMilliseconds};
  std::atomic<uint32_t> first_{0};  // when it was made; 0 for not yet
  static_assert(std::atomic<SignalClock>::is_always_lock_free);
  static_assert(std::atomic<uint32_t>::is_always_lock_free);
};

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_POSIX_TERMINATION_SIGNALS_H_
