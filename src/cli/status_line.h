// SPDX-License-Identifier: MIT
//
// A temporary line about work in progress, on standard error and only on a terminal. It is
// not part of the report and is erased before the next output.
#ifndef QOLM_CLI_STATUS_LINE_H_
#define QOLM_CLI_STATUS_LINE_H_

#include <cstddef>
#include <iosfwd>
#include <string>

namespace qolm::cli {

class StatusLine {
 public:
  // Prints nothing unless `visible`.
  StatusLine(std::ostream& err, bool visible) : err_(err), visible_(visible) {}
  ~StatusLine() { Clear(); }
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  // Replaces what it showed before; `text` is ASCII.
  void Show(const std::string& text);
  void Clear();

 private:
  std::ostream& err_;
  const bool visible_;
  size_t shown_ = 0;  // characters
};

}  // namespace qolm::cli

#endif  // QOLM_CLI_STATUS_LINE_H_
