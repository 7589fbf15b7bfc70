#include <windows.h>

#include <cerrno>
#include <cstdlib>

#include "output/stream_error.h"

namespace qolm::output {

int StreamError() {
  // The C library takes a pipe that closes for an invalid argument.
  return errno == EINVAL && _doserrno == ERROR_NO_DATA ? EPIPE : errno;
}

}  // namespace qolm::output
