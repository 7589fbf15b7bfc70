// A program that is ended from outside leaves no unfinished output behind.
#ifndef QOLM_OUTPUT_PART_CLEANUP_H_
#define QOLM_OUTPUT_PART_CLEANUP_H_

#include <cstdint>
#include <filesystem>

namespace qolm::output {

// From now on a SIGINT, SIGTERM or SIGHUP, or on Windows a Ctrl-C, Ctrl-Break
// or the end of the console or the session, removes this file before it ends
// the program as ever; null removes nothing. The path stays unchanged until the
// next call. One file at a time. Windows removes it only if everybody who has
// it open lets it be deleted.
void RemoveFileOnSignal(const std::filesystem::path* file);

// While one lives, what would end the program so waits for its end, though on POSIX
// systems a second signal, 0.3 s after the first or later, does not. For between making a file and
// naming it to RemoveFileOnSignal. One at a time.
class EndSignalsWait {
 public:
  // A clock of milliseconds, which signals are timed by; null for the system's.
  using SignalClock = uint32_t (*)();

  explicit EndSignalsWait(SignalClock clock = nullptr);
  ~EndSignalsWait();
  EndSignalsWait(const EndSignalsWait&) = delete;
  EndSignalsWait& operator=(const EndSignalsWait&) = delete;
};

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_PART_CLEANUP_H_
