// SPDX-License-Identifier: MIT
//
// Bytes between two pages that nobody may touch: a read or a write behind the last
// one ends the test program, in every build.
#ifndef QOLM_TESTS_SUPPORT_FENCED_BYTES_H_
#define QOLM_TESTS_SUPPORT_FENCED_BYTES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <vector>

namespace qolm::test {

// What the system's page functions give; null where they fail.
size_t PageBytes();
uint8_t* NewFencedPages(size_t pages);  // readable, with a forbidden page on either side
void DeleteFencedPages(uint8_t* memory, size_t pages);

// Values that end where the page behind them begins. What lies between them and the
// page in front is filled, so that a write there shows.
template <typename Value>
class Fenced {
 public:
  explicit Fenced(size_t count)
      : count_(count), pages_((count * sizeof(Value) + PageBytes()) / PageBytes()) {
    memory_ = NewFencedPages(pages_);
    if (memory_ == nullptr) throw std::bad_alloc();
    std::fill_n(memory_, Slack(), kFill);
  }
  explicit Fenced(const std::vector<Value>& values) : Fenced(values.size()) {
    std::copy(values.begin(), values.end(), span().begin());
  }
  ~Fenced() { DeleteFencedPages(memory_, pages_); }
  Fenced(const Fenced&) = delete;
  Fenced& operator=(const Fenced&) = delete;

  std::span<Value> span() { return {reinterpret_cast<Value*>(memory_ + Slack()), count_}; }
  std::vector<Value> values() { return {span().begin(), span().end()}; }

  bool SlackIsIntact() const {
    return std::all_of(memory_, memory_ + Slack(), [](uint8_t byte) { return byte == kFill; });
  }

 private:
  static constexpr uint8_t kFill = 0xA5;

  size_t Slack() const { return pages_ * PageBytes() - count_ * sizeof(Value); }

  size_t count_;
  size_t pages_;
  uint8_t* memory_ = nullptr;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_FENCED_BYTES_H_
