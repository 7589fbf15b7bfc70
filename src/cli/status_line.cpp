// SPDX-License-Identifier: MIT
#include "cli/status_line.h"

#include <ostream>

namespace qolm::cli {

void StatusLine::Show(const std::string& text) {
  if (!visible_) return;
  std::string line = "\r" + text;
  if (text.size() < shown_) line.append(shown_ - text.size(), ' ');
  err_ << line << std::flush;
  shown_ = text.size();
}

void StatusLine::Clear() {
  if (shown_ == 0) return;
  err_ << "\r" + std::string(shown_, ' ') + "\r" << std::flush;
  shown_ = 0;
}

}  // namespace qolm::cli
