// SPDX-License-Identifier: MIT
#include "container/record_header_walk.h"

#include <algorithm>

namespace qolm::container {
namespace {

constexpr uint64_t kWindowBytes = 64 << 10;
// Below this distance between two headers a window serves at least 16.
constexpr uint64_t kCloseBytes = kWindowBytes / 16;

}  // namespace

bool RecordHeaderWalk::read(uint64_t offset, RecordHeader& header) {
  const uint64_t file_size = file_.size();
  if (offset > file_size || file_size - offset < kRecordHeaderBytes) return false;

  const bool in_window = offset >= window_position_ &&
                         offset - window_position_ + kRecordHeaderBytes <= window_.size();
  if (!in_window) {
    const bool close = offset >= last_offset_ && offset - last_offset_ < kCloseBytes;
    const uint64_t wanted = close ? kWindowBytes : kRecordHeaderBytes;
    window_.resize(static_cast<size_t>(std::min(wanted, file_size - offset)));
    window_position_ = offset;
    if (!file_.read_at(offset, window_)) {
      window_.clear();
      return false;
    }
  }
  last_offset_ = offset;
  const auto at = static_cast<size_t>(offset - window_position_);
  header =
      DecodeRecordHeader(std::span<const uint8_t>(window_).subspan(at).first<kRecordHeaderBytes>());
  return true;
}

}  // namespace qolm::container
