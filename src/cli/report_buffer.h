// SPDX-License-Identifier: MIT
//
// Passes a command's report on to standard output and records the reason of the first
// failure, which a stream alone does not report.
#ifndef QOLM_CLI_REPORT_BUFFER_H_
#define QOLM_CLI_REPORT_BUFFER_H_

#include <streambuf>
#include <system_error>

namespace qolm::cli {

class ReportBuffer : public std::streambuf {
 public:
  // `target` must outlive the buffer.
  explicit ReportBuffer(std::streambuf& target) : target_(target) {}

  // No error while everything was written.
  std::error_code failure() const { return failure_; }

 protected:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize length) override;
  int sync() override;

 private:
  void NoteFailure();

  std::streambuf& target_;
  std::error_code failure_;
};

}  // namespace qolm::cli

#endif  // QOLM_CLI_REPORT_BUFFER_H_
