// SPDX-License-Identifier: MIT
//
// Decodes coefficient tokens, at once or incrementally.
#ifndef QOLM_ENTROPY_TOKEN_DECODER_H_
#define QOLM_ENTROPY_TOKEN_DECODER_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "entropy/context_rans.h"

namespace qolm::entropy {

// The tokens, either in memory or decoded on demand by a reader.
class TokenSource {
 public:
  explicit TokenSource(std::span<const uint8_t> tokens)
      : next_(tokens.data()), end_(tokens.data() + tokens.size()) {}

  // The `count` bytes of an open reader.
  TokenSource(ContextRansReader& reader, uint32_t count) : reader_(&reader), unread_(count) {}
  TokenSource(const TokenSource&) = delete;
  TokenSource& operator=(const TokenSource&) = delete;

  bool at_end() const { return next_ == end_ && unread_ == 0; }

  [[nodiscard]] bool take(uint8_t& byte) {
    if (next_ == end_ && !refill()) return false;
    byte = *next_++;
    return true;
  }

 private:
  bool refill() {
    if (unread_ == 0) return false;
    const std::span<uint8_t> piece = std::span(buffer_).first(std::min<size_t>(unread_, kPiece));
    unread_ -= static_cast<uint32_t>(piece.size());
    next_ = piece.data();
    end_ = next_ + piece.size();
    return reader_->read(piece);
  }

  static constexpr size_t kPiece = 4096;

  const uint8_t* next_ = nullptr;
  const uint8_t* end_ = nullptr;
  ContextRansReader* reader_ = nullptr;
  uint32_t unread_ = 0;
  std::array<uint8_t, kPiece> buffer_;
};

class TokenDecoder {
 public:
  // For `count` values in all.
  explicit TokenDecoder(uint64_t count) : count_(count) {}

  // The next values. False, with `values` partly written, when the tokens are malformed;
  // surplus tokens are not detected.
  [[nodiscard]] bool decode(TokenSource& source, std::span<int16_t> values);

 private:
  uint64_t count_;
  uint64_t first_ = 0;  // position of the next value
  uint64_t zeros_ = 0;  // zeros left of the last run, which begin the next call
};

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_TOKEN_DECODER_H_
