// A line about work that the report is silent about, on standard error and only
// where that is a terminal: it is no part of the report, and gone before the next
// text.
#ifndef QOLM_CLI_STATUS_LINE_H_
#define QOLM_CLI_STATUS_LINE_H_

#include <cstddef>
#include <iosfwd>
#include <string>

namespace qolm::cli {

class StatusLine {
 public:
  // One that is not visible prints nothing.
  StatusLine(std::ostream& err, bool visible) : err_(err), visible_(visible) {}
  ~StatusLine() { Clear(); }
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  // In place of what it showed before; `text` is ASCII.
  void Show(const std::string& text);
  void Clear();

 private:
  std::ostream& err_;
  const bool visible_;
  size_t shown_ = 0;  // characters
};

}  // namespace qolm::cli

#endif  // QOLM_CLI_STATUS_LINE_H_
