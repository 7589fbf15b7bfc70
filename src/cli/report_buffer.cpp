// SPDX-License-Identifier: MIT
#include "cli/report_buffer.h"

#include <cerrno>

#include "platform/output_stream.h"

namespace qolm::cli {

ReportBuffer::int_type ReportBuffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) {
    return traits_type::not_eof(character);
  }
  const char text = traits_type::to_char_type(character);
  return xsputn(&text, 1) == 1 ? character : traits_type::eof();
}

std::streamsize ReportBuffer::xsputn(const char* text, std::streamsize length) {
  errno = 0;
  const std::streamsize written = target_.sputn(text, length);
  if (written != length) NoteFailure();
  return written;
}

int ReportBuffer::sync() {
  errno = 0;
  const int result = target_.pubsync();
  if (result != 0) NoteFailure();
  return result;
}

void ReportBuffer::NoteFailure() {
  if (failure_) return;
  const int reason = platform::StreamError();
  failure_ = std::error_code(reason != 0 ? reason : EIO, std::generic_category());
}

}  // namespace qolm::cli
