#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "output/end_signals.h"
#include "output/write_signals.h"
#include "support/default_signals.h"

namespace qolm::output {
namespace {

constexpr int kThrough = 7;

class SignalsDeathTest : public testing::Test {
 protected:
  const test::DefaultSignals signals_;
};

extern "C" void ExitThrough(int) { _exit(kThrough); }

TEST_F(SignalsDeathTest, AHandlerIsCalledUntilItIsTakenBack) {
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(
        {
          HandleEndSignal(signal_number, ExitThrough);
          raise(signal_number);
        },
        testing::ExitedWithCode(kThrough), "");
    EXPECT_EXIT(
        {
          HandleEndSignal(signal_number, ExitThrough);
          StopHandlingEndSignal(signal_number);
          raise(signal_number);
        },
        testing::KilledBySignal(signal_number), "");
  }
}

TEST_F(SignalsDeathTest, AnIgnoredSignalStaysIgnored) {
  EXPECT_EXIT(
      {
        signal(SIGHUP, SIG_IGN);  // as nohup does
        HandleEndSignal(SIGHUP, ExitThrough);
        raise(SIGHUP);
        StopHandlingEndSignal(SIGHUP);
        raise(SIGHUP);
        _exit(1);
      },
      testing::ExitedWithCode(1), "");
}

TEST_F(SignalsDeathTest, NobodyElsesHandlerIsReplaced) {
  EXPECT_EXIT(
      {
        signal(SIGTERM, ExitThrough);
        HandleEndSignal(SIGTERM, [](int) { _exit(1); });
        raise(SIGTERM);
      },
      testing::ExitedWithCode(kThrough), "");
}

TEST_F(SignalsDeathTest, AHandlerMayEndTheProgramAsEver) {
  EXPECT_EXIT(
      {
        HandleEndSignal(SIGINT, EndBySignal);
        raise(SIGINT);
      },
      testing::KilledBySignal(SIGINT), "");
}

[[noreturn]] void WriteIntoAClosedPipe() {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) _exit(1);
  close(ends[0]);
  const bool failed = write(ends[1], "x", 1) < 0 && errno == EPIPE;
  _exit(failed ? kThrough : 2);
}

[[noreturn]] void WriteBeyondTheLimit() {
  const rlimit limit = {0, 0};
  std::FILE* const file = std::tmpfile();
  if (file == nullptr || setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(1);
  const bool failed = write(fileno(file), "x", 1) < 0 && errno == EFBIG;
  _exit(failed ? kThrough : 2);
}

TEST_F(SignalsDeathTest, FailedWritesEndTheProgramUnlessTheirSignalsAreIgnored) {
  EXPECT_EXIT(WriteIntoAClosedPipe(), testing::KilledBySignal(SIGPIPE), "");
  EXPECT_EXIT(WriteBeyondTheLimit(), testing::KilledBySignal(SIGXFSZ), "");
  EXPECT_EXIT(
      {
        IgnoreBrokenPipeSignal();
        WriteIntoAClosedPipe();
      },
      testing::ExitedWithCode(kThrough), "");
  EXPECT_EXIT(
      {
        IgnoreFileSizeSignal();
        WriteBeyondTheLimit();
      },
      testing::ExitedWithCode(kThrough), "");
}

}  // namespace
}  // namespace qolm::output
