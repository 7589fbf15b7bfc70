// SPDX-License-Identifier: MIT
#include "platform/interrupt.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "support/default_signals.h"

namespace qolm::platform {
namespace {

// Every case runs in a process of its own, which ends with this code when it
// reaches its end.
constexpr int kCompleted = 7;

class InterruptListenerDeathTest : public testing::Test {
 protected:
  const test::DefaultSignals signals_;
};

uint32_t g_now = 0;  // milliseconds
uint32_t Now() { return g_now; }

// What two signals do, the second `apart` milliseconds after the first.
[[noreturn]] void RaiseTwice(int first, int second, uint32_t start = 1000, uint32_t apart = 300) {
  g_now = start;
  const InterruptListener listener(Now);
  if (listener.interrupted()) _exit(1);
  raise(first);
  if (!listener.interrupted()) _exit(2);
  g_now += apart;
  raise(second);
  _exit(listener.interrupted() ? kCompleted : 3);
}

TEST_F(InterruptListenerDeathTest, TheFirstSignalIsOnlyNoted) {
  for (const int signal_number : {SIGINT, SIGTERM}) {
    EXPECT_EXIT(
        {
          const InterruptListener listener;
          raise(signal_number);
          _exit(listener.interrupted() ? kCompleted : 1);
        },
        testing::ExitedWithCode(kCompleted), "");
  }
}

TEST_F(InterruptListenerDeathTest, TheSecondSignalEndsTheProgram) {
  EXPECT_EXIT(RaiseTwice(SIGINT, SIGINT), testing::KilledBySignal(SIGINT), "");
  EXPECT_EXIT(RaiseTwice(SIGTERM, SIGTERM), testing::KilledBySignal(SIGTERM), "");
  EXPECT_EXIT(RaiseTwice(SIGINT, SIGTERM), testing::KilledBySignal(SIGTERM), "");
}

// As timeout sends them, to the program and then to its group.
TEST_F(InterruptListenerDeathTest, SignalsWithinAMomentAreOneRequest) {
  for (const uint32_t start : {0U, 1U, 1000U, 0xffff'ff00U}) {
    for (const uint32_t apart : {0U, 1U, 298U}) {
      EXPECT_EXIT(RaiseTwice(SIGINT, SIGINT, start, apart), testing::ExitedWithCode(kCompleted),
                  "");
      EXPECT_EXIT(RaiseTwice(SIGTERM, SIGINT, start, apart), testing::ExitedWithCode(kCompleted),
                  "");
      EXPECT_EXIT(RaiseTwice(SIGHUP, SIGTERM, start, apart), testing::ExitedWithCode(kCompleted),
                  "");
    }
    EXPECT_EXIT(RaiseTwice(SIGINT, SIGINT, start, 301), testing::KilledBySignal(SIGINT), "");
  }
}

TEST_F(InterruptListenerDeathTest, AfterThemTheNextOneEndsTheProgram) {
  EXPECT_EXIT(
      {
        g_now = 1000;
        const InterruptListener listener(Now);
        raise(SIGINT);
        raise(SIGINT);
        g_now += 300;  // since the first
        raise(SIGTERM);
        _exit(kCompleted);
      },
      testing::KilledBySignal(SIGTERM), "");
}

TEST_F(InterruptListenerDeathTest, AClosingTerminalIsNoSecondRequest) {
  EXPECT_EXIT(
      {
        const InterruptListener listener;
        raise(SIGHUP);
        if (!listener.interrupted()) _exit(1);
        raise(SIGHUP);
        _exit(kCompleted);
      },
      testing::ExitedWithCode(kCompleted), "");
  EXPECT_EXIT(RaiseTwice(SIGHUP, SIGHUP), testing::ExitedWithCode(kCompleted), "");
  EXPECT_EXIT(RaiseTwice(SIGINT, SIGHUP), testing::ExitedWithCode(kCompleted), "");
  EXPECT_EXIT(RaiseTwice(SIGHUP, SIGTERM), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(InterruptListenerDeathTest, ANewListenerHasHeardNothing) {
  EXPECT_EXIT(
      {
        {
          const InterruptListener listener;
          raise(SIGINT);
        }
        const InterruptListener listener;
        _exit(listener.interrupted() ? 1 : kCompleted);
      },
      testing::ExitedWithCode(kCompleted), "");
}

TEST_F(InterruptListenerDeathTest, WithoutAListenerTheSignalsActAsEver) {
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(
        {
          { const InterruptListener listener; }
          raise(signal_number);
          _exit(1);
        },
        testing::KilledBySignal(signal_number), "");
  }
}

TEST_F(InterruptListenerDeathTest, AnIgnoredSignalStaysIgnored) {
  EXPECT_EXIT(
      {
        signal(SIGINT, SIG_IGN);
        signal(SIGHUP, SIG_IGN);  // as nohup does
        { const InterruptListener earlier; }
        const InterruptListener listener;
        raise(SIGINT);
        raise(SIGINT);
        raise(SIGHUP);
        _exit(listener.interrupted() ? 1 : kCompleted);
      },
      testing::ExitedWithCode(kCompleted), "");
}

}  // namespace
}  // namespace qolm::platform
