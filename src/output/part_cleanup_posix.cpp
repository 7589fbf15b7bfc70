#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <initializer_list>

#include "output/end_signals.h"
#include "output/part_cleanup.h"

namespace qolm::output {
namespace {

// All that the handler touches; a signal may arrive on any thread.
std::atomic<const char*> g_file{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free);

extern "C" void RemoveAndEnd(int signal_number) {
  if (const char* const file = g_file.exchange(nullptr)) unlink(file);
  EndBySignal(signal_number);
}

}  // namespace

void RemoveFileOnSignal(const std::filesystem::path* file) {
  g_file = file != nullptr ? file->c_str() : nullptr;
  if (file == nullptr) return;
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    HandleEndSignal(signal_number, RemoveAndEnd);
  }
}

}  // namespace qolm::output
