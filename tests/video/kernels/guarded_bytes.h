// SPDX-License-Identifier: MIT
//
// A buffer with guard bytes on either side that detect out-of-bounds writes.
#ifndef QOLM_TESTS_VIDEO_KERNELS_GUARDED_BYTES_H_
#define QOLM_TESTS_VIDEO_KERNELS_GUARDED_BYTES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qolm::test {

class GuardedBytes {
 public:
  explicit GuardedBytes(size_t count) : count_(count), bytes_(count + 2 * kGuard, kFill) {}

  uint8_t* data() { return bytes_.data() + kGuard; }
  std::vector<uint8_t> Contents() const { return {bytes_.begin() + kGuard, bytes_.end() - kGuard}; }
  bool GuardsIntact() const {
    const auto is_fill = [](uint8_t byte) { return byte == kFill; };
    return std::all_of(bytes_.begin(), bytes_.begin() + kGuard, is_fill) &&
           std::all_of(bytes_.begin() + kGuard + static_cast<std::ptrdiff_t>(count_), bytes_.end(),
                       is_fill);
  }

 private:
  static constexpr std::ptrdiff_t kGuard = 64;
  static constexpr uint8_t kFill = 0xA5;
  size_t count_;
  std::vector<uint8_t> bytes_;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_KERNELS_GUARDED_BYTES_H_
