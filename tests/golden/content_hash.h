// SPDX-License-Identifier: MIT
//
// FNV-1a over bytes in a stated order, so that every machine gets one number.
#ifndef QOLM_TESTS_GOLDEN_CONTENT_HASH_H_
#define QOLM_TESTS_GOLDEN_CONTENT_HASH_H_

#include <cstdint>
#include <span>

namespace qolm::golden {

class ContentHash {
 public:
  void AddBytes(std::span<const uint8_t> bytes) {
    for (const uint8_t byte : bytes) value_ = (value_ ^ byte) * 0x100000001B3;
  }

  void AddNumber(uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8) {
      const auto byte = static_cast<uint8_t>(number >> shift);
      AddBytes({&byte, 1});
    }
  }

  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xCBF29CE484222325;
};

}  // namespace qolm::golden

#endif  // QOLM_TESTS_GOLDEN_CONTENT_HASH_H_
