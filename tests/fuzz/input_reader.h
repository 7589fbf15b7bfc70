// SPDX-License-Identifier: MIT
//
// Takes decisions from fuzz bytes, front to back. Used-up bytes read as zero, so
// every input is a whole script.
#ifndef QOLM_TESTS_FUZZ_INPUT_READER_H_
#define QOLM_TESTS_FUZZ_INPUT_READER_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/targets.h"

namespace qolm::fuzz {

class InputReader {
 public:
  explicit InputReader(Input input) : rest_(input) {}

  bool AtEnd() const { return rest_.empty(); }

  uint8_t Byte() {
    if (rest_.empty()) return 0;
    const uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }
  bool Bool() { return (Byte() & 1) != 0; }
  uint32_t Word() {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) word |= static_cast<uint32_t>(Byte()) << (8 * i);
    return word;
  }
  // lowest..highest, from one byte; they lie at most 255 apart.
  uint32_t Between(uint32_t lowest, uint32_t highest) {
    return lowest + Byte() % (highest - lowest + 1);
  }

  // Up to `count` bytes, fewer at the end of the input.
  Input Bytes(size_t count) {
    const Input bytes = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(bytes.size());
    return bytes;
  }
  Input Rest() { return Bytes(rest_.size()); }

  // The bytes up to the next zero byte, which is dropped.
  std::string Text() {
    const auto end = std::find(rest_.begin(), rest_.end(), uint8_t{0});
    std::string text(rest_.begin(), end);
    Bytes(text.size() + 1);
    return text;
  }

 private:
  Input rest_;
};

inline std::vector<std::string> Arguments(Input input) {
  InputReader reader(input);
  std::vector<std::string> arguments;
  while (!reader.AtEnd()) arguments.push_back(reader.Text());
  return arguments;
}

}  // namespace qolm::fuzz

#endif  // QOLM_TESTS_FUZZ_INPUT_READER_H_
