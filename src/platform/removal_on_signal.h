// SPDX-License-Identifier: MIT
//
// A program that a signal terminates leaves no unfinished output behind.
#ifndef QOLM_PLATFORM_REMOVAL_ON_SIGNAL_H_
#define QOLM_PLATFORM_REMOVAL_ON_SIGNAL_H_

#include <cstdint>
#include <filesystem>

namespace qolm::platform {

// From now on a SIGINT, SIGTERM or SIGHUP (on Windows a Ctrl-C, Ctrl-Break, or the end
// of the console or the session) removes this file before it terminates the program;
// null removes nothing. `*file` must not change before the next call. One file at a time.
// Windows removes it only if every process that has it open allows deletion.
void RemoveFileOnSignal(const std::filesystem::path* file);

// Defers the signals and events above until it is destroyed; on POSIX systems a second
// signal, 0.3 s after the first or later, still terminates at once. For the time between
// creating a file and naming it to RemoveFileOnSignal. One at a time.
class ScopedSignalBlock {
 public:
  // A clock in milliseconds that times the signals; null for the system's.
  using SignalClock = uint32_t (*)();

  explicit ScopedSignalBlock(SignalClock clock = nullptr);
  ~ScopedSignalBlock();
  ScopedSignalBlock(const ScopedSignalBlock&) = delete;
  ScopedSignalBlock& operator=(const ScopedSignalBlock&) = delete;
};

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_REMOVAL_ON_SIGNAL_H_
