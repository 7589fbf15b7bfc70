// SPDX-License-Identifier: MIT
//
// Calls a program again and again, each time with another allocation refused.
#ifndef QOLM_TESTS_FAULTS_MEMORY_SWEEP_H_
#define QOLM_TESTS_FAULTS_MEMORY_SWEEP_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "faults/called_main.h"

namespace qolm::test {

// From the first allocation on, every `stride`th, until a call is refused none.
// `prepare` goes before each call, and `judge` looks at each that was refused
// some. All must leave as many blocks as the first call with no refusal does.
template <typename Prepare, typename Judge>
void SweepAllocations(CalledMain& program, const std::vector<std::string>& arguments,
                      AllocationFault fault, uint64_t stride, const Prepare& prepare,
                      const Judge& judge) {
  // What is made once and kept exists from here on.
  prepare();
  ASSERT_EQ(program.Call(arguments).exit_code, 0);
  for (fault.at = 1; !testing::Test::HasFailure(); fault.at += stride) {
    SCOPED_TRACE("allocation " + std::to_string(fault.at));
    prepare();
    const MainCall call = program.Call(arguments, fault);
    EXPECT_EQ(call.blocks_left, 0);
    if (call.refused == 0) {
      EXPECT_EQ(call.exit_code, 0) << call.err;
      // A sweep that ends at once has proven nothing.
      EXPECT_GT(call.allocations, 50u);
      break;
    }
    EXPECT_TRUE(call.exit_code == 0 || call.exit_code == 1) << call.exit_code;
    judge(call);
  }
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_FAULTS_MEMORY_SWEEP_H_
