// SPDX-License-Identifier: MIT
//
// Where libFuzzer hands its inputs over; QOLM_FUZZ_TARGET is the target's function.
#include <cstddef>
#include <cstdint>

#include "base/parallel_for.h"
#include "fuzz/targets.h"

// Threads that run one small input would only wait for each other.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  qolm::ForceWorkerCount(1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qolm::fuzz::QOLM_FUZZ_TARGET({data, size});
  return 0;
}
