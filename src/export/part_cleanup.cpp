#include "export/part_cleanup.h"

#ifndef _WIN32
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <initializer_list>
#endif

namespace qolm::exporter {

#ifdef _WIN32

void RemoveOnSignal(const std::filesystem::path*) {}

#else

namespace {

// All that the handler touches; a signal may arrive on any thread.
std::atomic<const char*> g_part{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free);

extern "C" void RemovePartAndEnd(int signal_number) {
  if (const char* const part = g_part.exchange(nullptr)) unlink(part);
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

}  // namespace

void RemoveOnSignal(const std::filesystem::path* part) {
  g_part = part != nullptr ? part->c_str() : nullptr;
  if (part == nullptr) return;
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    sigaction(signal_number, nullptr, &action);
    // What the program's starter ignores stays ignored, and nobody else's
    // handler is replaced.
    if (action.sa_handler != SIG_DFL) continue;
    action = {};
    action.sa_handler = RemovePartAndEnd;
    sigemptyset(&action.sa_mask);
    sigaction(signal_number, &action, nullptr);
  }
}

#endif

}  // namespace qolm::exporter
