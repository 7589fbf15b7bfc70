// Where libFuzzer hands its inputs over; QOLM_FUZZ_TARGET is the target's function.
#include <cstddef>
#include <cstdint>

#include "fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qolm::fuzz::QOLM_FUZZ_TARGET({data, size});
  return 0;
}
