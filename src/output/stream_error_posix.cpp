#include <cerrno>

#include "output/stream_error.h"

namespace qolm::output {

int StreamError() { return errno; }

}  // namespace qolm::output
