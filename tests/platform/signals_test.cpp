// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/posix/termination_signals.h"
#include "platform/write_signals.h"
#include "support/default_signals.h"

namespace qolm::platform {
namespace {

constexpr int kHandled = 7;

class SignalsDeathTest : public testing::Test {
 protected:
  const test::DefaultSignals signals_;
};

extern "C" void ExitFromHandler(int) { _exit(kHandled); }

TEST_F(SignalsDeathTest, AHandlerIsCalledUntilItIsTakenBack) {
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(
        {
          HandleTerminationSignal(signal_number, ExitFromHandler);
          raise(signal_number);
        },
        testing::ExitedWithCode(kHandled), "");
    EXPECT_EXIT(
        {
          HandleTerminationSignal(signal_number, ExitFromHandler);
          StopHandlingTerminationSignal(signal_number);
          raise(signal_number);
        },
        testing::KilledBySignal(signal_number), "");
  }
}

TEST_F(SignalsDeathTest, AnIgnoredSignalStaysIgnored) {
  EXPECT_EXIT(
      {
        signal(SIGHUP, SIG_IGN);  // as nohup does
        HandleTerminationSignal(SIGHUP, ExitFromHandler);
        raise(SIGHUP);
        StopHandlingTerminationSignal(SIGHUP);
        raise(SIGHUP);
        _exit(1);
      },
      testing::ExitedWithCode(1), "");
}

TEST_F(SignalsDeathTest, NobodyElsesHandlerIsReplaced) {
  EXPECT_EXIT(
      {
        signal(SIGTERM, ExitFromHandler);
        HandleTerminationSignal(SIGTERM, [](int) { _exit(1); });
        raise(SIGTERM);
      },
      testing::ExitedWithCode(kHandled), "");
}

TEST_F(SignalsDeathTest, AHandlerMayEndTheProgramAsEver) {
  EXPECT_EXIT(
      {
        HandleTerminationSignal(SIGINT, TerminateBySignal);
        raise(SIGINT);
      },
      testing::KilledBySignal(SIGINT), "");
}

[[noreturn]] void WriteIntoAClosedPipe() {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) _exit(1);
  close(ends[0]);
  const bool failed = write(ends[1], "x", 1) < 0 && errno == EPIPE;
  _exit(failed ? kHandled : 2);
}

[[noreturn]] void WriteBeyondTheLimit() {
  const rlimit limit = {0, 0};
  std::FILE* const file = std::tmpfile();
  if (file == nullptr || setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(1);
  const bool failed = write(fileno(file), "x", 1) < 0 && errno == EFBIG;
  _exit(failed ? kHandled : 2);
}

TEST_F(SignalsDeathTest, FailedWritesEndTheProgramUnlessTheirSignalsAreIgnored) {
  EXPECT_EXIT(WriteIntoAClosedPipe(), testing::KilledBySignal(SIGPIPE), "");
  EXPECT_EXIT(WriteBeyondTheLimit(), testing::KilledBySignal(SIGXFSZ), "");
  EXPECT_EXIT(
      {
        IgnoreBrokenPipeSignal();
        WriteIntoAClosedPipe();
      },
      testing::ExitedWithCode(kHandled), "");
  EXPECT_EXIT(
      {
        IgnoreFileSizeSignal();
        WriteBeyondTheLimit();
      },
      testing::ExitedWithCode(kHandled), "");
}

}  // namespace
}  // namespace qolm::platform
