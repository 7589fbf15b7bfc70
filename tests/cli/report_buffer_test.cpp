// SPDX-License-Identifier: MIT
#include "cli/report_buffer.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ostream>
#include <sstream>

#include "cli/messages.h"
#include "cli/program.h"

namespace qolm::cli {
namespace {

// Takes so many characters and then fails for a reason, as a device does.
class LimitedBuffer : public std::stringbuf {
 public:
  LimitedBuffer(size_t limit, int reason) : limit_(limit), reason_(reason) {}

  void set_reason(int reason) { reason_ = reason; }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    const auto taken = std::min(static_cast<size_t>(length), limit_ - str().size());
    std::stringbuf::xsputn(text, static_cast<std::streamsize>(taken));
    if (taken < static_cast<size_t>(length)) errno = reason_;
    return static_cast<std::streamsize>(taken);
  }
  int sync() override {
    errno = reason_;
    return reason_ == 0 ? 0 : -1;
  }

 private:
  size_t limit_;
  int reason_;
};

TEST(ReportBuffer, PassesEverythingOn) {
  std::stringbuf target;
  ReportBuffer buffer(target);
  std::ostream report(&buffer);
  report << "two words" << '!' << 7 << std::flush;
  report.put('\n');
  EXPECT_EQ(target.str(), "two words!7\n");
  EXPECT_FALSE(buffer.failure());
}

TEST(ReportBuffer, KeepsTheFirstReason) {
  LimitedBuffer target(4, ENOSPC);
  ReportBuffer buffer(target);
  std::ostream report(&buffer);
  report << "four";
  EXPECT_FALSE(buffer.failure());
  report << "more"
         << "and more";
  EXPECT_FALSE(report);
  errno = EIO;
  EXPECT_EQ(buffer.failure(), std::errc::no_space_on_device);
  EXPECT_EQ(target.str(), "four");
}

// A flush goes on to fail for a reason of its own.
TEST(ReportBuffer, KeepsTheReasonOfALostTextThroughAFailedFlush) {
  LimitedBuffer target(4, ENOSPC);
  ReportBuffer buffer(target);
  EXPECT_EQ(buffer.sputn("more than four", 14), 4);
  target.set_reason(EIO);
  EXPECT_EQ(buffer.pubsync(), -1);
  EXPECT_EQ(buffer.failure(), std::errc::no_space_on_device);
}

TEST(ReportBuffer, AFailedFlushIsAFailure) {
  LimitedBuffer target(100, ENOSPC);
  ReportBuffer buffer(target);
  std::ostream report(&buffer);
  report << "text" << std::flush;
  EXPECT_EQ(buffer.failure(), std::errc::no_space_on_device);
}

TEST(ReportBuffer, AFailureWithoutAReasonIsOneToo) {
  LimitedBuffer target(0, 0);
  ReportBuffer buffer(target);
  std::ostream report(&buffer);
  report.put('x');
  EXPECT_EQ(buffer.failure(), std::errc::io_error);
}

// What each command makes of a report that is lost after so many characters.
int RunLimited(const std::vector<std::string>& arguments, size_t limit, std::string& errors) {
  LimitedBuffer target(limit, ENOSPC);
  std::ostream out(&target);
  std::ostringstream err;
  const int exit_code = RunProgram(arguments, out, err);
  errors = err.str();
  return exit_code;
}

TEST(LostReport, AUsageThatNobodyGetsIsAFailure) {
  std::string errors;
  const std::string reason = std::error_code(ENOSPC, std::generic_category()).message();
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"p"}, {"p", "--help"}, {"p", "--version"}}) {
    EXPECT_EQ(RunLimited(arguments, 20, errors), 1);
    EXPECT_EQ(errors, "[-] Error: Cannot write the report to standard output (" + reason + ")\n");
  }
}

TEST(LostReport, ACommandThatFailsKeepsItsOneErrorLine) {
  std::string errors;
  EXPECT_EQ(RunLimited({"p", "info", "missing.qolm"}, 20, errors), 1);
  EXPECT_EQ(errors.find("[-] Error: Cannot open as a QOLM v2 file ("), 0U) << errors;
  EXPECT_EQ(errors.find('\n'), errors.size() - 1);
}

}  // namespace
}  // namespace qolm::cli
