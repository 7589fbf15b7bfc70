#include "output/write_signals.h"

namespace qolm::output {

void IgnoreFileSizeSignal() {}

void IgnoreBrokenPipeSignal() {}

}  // namespace qolm::output
