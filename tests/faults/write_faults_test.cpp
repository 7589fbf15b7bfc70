// SPDX-License-Identifier: MIT
//
// Outputs whose disk fails: every call that the programs make on them, one after
// the other.
#include <gtest/gtest.h>

#include <cerrno>
#include <system_error>

#include "faults/program_case.h"

namespace qolm::test {
namespace {

struct Failure {
  const char* call;
  int error;
};

std::string Words(int error) { return std::generic_category().message(error); }

class WriteFaults : public ProgramCaseTest {
 protected:
  void SetUp() override { MakeSource({.width = 96, .height = 64, .frames = 10, .noise = 80}); }

  Fault FaultOf(const Failure& failure) const {
    return {.files = {},
            .call = failure.call,
            .action = "e" + std::to_string(failure.error),
            .longest_write = whole_.size() / 8 + 1};
  }

  // From the first call on, one after the other, until a run meets no fault.
  template <typename Judge>
  void Sweep(Fault fault, const Judge& judge) {
    for (fault.at = 1; !HasFailure(); ++fault.at) {
      SCOPED_TRACE(fault.call + " " + std::to_string(fault.at) + ", " + fault.action);
      WriteFile(output_, old_);
      const FaultedRun run = Run(fault);
      if (run.faults == 0) {
        ExpectSuccess(run);
        // The kind of call is one that the program makes.
        EXPECT_GT(run.calls, 0u);
        return;
      }
      judge(run);
    }
  }

  void ExpectHonest(const FaultedRun& run, const std::string& reason) {
    if (run.exit_code == 0) {
      ExpectSuccess(run);
    } else {
      ExpectFailure(run, reason);
    }
  }
};

TEST_P(WriteFaults, OneFailedCall) {
  for (const Failure& failure :
       {Failure{"open", EMFILE}, Failure{"write", ENOSPC}, Failure{"close", EIO},
        Failure{"sync", EIO}, Failure{"rename", EACCES}, Failure{"chmod", EPERM},
        Failure{"lock", ENOLCK}}) {
    int failed_runs = 0;
    Sweep(FaultOf(failure), [&](const FaultedRun& run) {
      ExpectHonest(run, Words(failure.error));
      failed_runs += run.exit_code;
    });
    // What a file system cannot do for a finished file costs nothing.
    const bool harmless = failure.error == EPERM || failure.error == ENOLCK;
    EXPECT_EQ(failed_runs > 0, !harmless) << failure.call;
  }
}

TEST_P(WriteFaults, AllCallsFromOneOnFail) {
  for (const Failure& failure :
       {Failure{"write", ENOSPC}, Failure{"sync", EIO}, Failure{"any", EIO}}) {
    Fault fault = FaultOf(failure);
    fault.from_then = true;
    Sweep(fault, [&](const FaultedRun& run) { ExpectHonest(run, Words(failure.error)); });
  }
}

TEST_P(WriteFaults, ShortWritesAreContinued) {
  for (const uint64_t longest : {whole_.size() / 3000 + 1, whole_.size() / 7 + 1}) {
    Fault fault = FaultOf({"write", EIO});
    fault.longest_write = longest;
    const FaultedRun run = Run(fault);
    ExpectSuccess(run);
    EXPECT_GE(run.calls, whole_.size() / longest);
  }
}

INSTANTIATE_TEST_SUITE_P(Outputs, WriteFaults,
                         testing::Values(kFastStart, kMonolithic, kBidirectional, kY4m, kWav, kPng),
                         CaseName);

// Only the encoder places bytes in the middle of what it has written.
class SeekFaults : public WriteFaults {};

TEST_P(SeekFaults, OneFailedCall) {
  Sweep(FaultOf({"seek", EIO}), [&](const FaultedRun& run) { ExpectFailure(run, Words(EIO)); });
}

// A signal that is handled, or a debugger, may end a call early.
TEST_P(SeekFaults, AnInterruptedCallIsRepeated) {
  for (const char* const call : {"open", "write", "sync", "close"}) {
    Sweep(FaultOf({call, EINTR}), [&](const FaultedRun& run) { ExpectSuccess(run); });
  }
}

INSTANTIATE_TEST_SUITE_P(Outputs, SeekFaults,
                         testing::Values(kFastStart, kMonolithic, kBidirectional), CaseName);

}  // namespace
}  // namespace qolm::test
