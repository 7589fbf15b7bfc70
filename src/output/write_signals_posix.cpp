#include <csignal>

#include "output/write_signals.h"

namespace qolm::output {

void IgnoreFileSizeSignal() { std::signal(SIGXFSZ, SIG_IGN); }

void IgnoreBrokenPipeSignal() { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace qolm::output
