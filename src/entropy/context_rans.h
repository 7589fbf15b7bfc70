// SPDX-License-Identifier: MIT
//
// Context coding over five rANS streams, for bytes in which 0, 2 and 255 are followed by
// argument bytes, such as coefficient tokens.
//
// The context of a byte follows from the bytes before it, starting at 0:
//   context 0: after a 0 comes 1, after a 2 comes 2, after a 255 comes 3, else 0
//   contexts 1 and 2: back to 0     context 3: on to 4     context 4: back to 0
// so run lengths, block counts and the two bytes of escaped values each have their own
// frequency table.
//
// Stream, little-endian:
//   0  4     n, the number of bytes of the input
//   4  1     mode: 0 one plain stream, 1 five context streams
//   5  rest  mode 0: the plain stream (rans.h)
//            mode 1: for contexts 0..4: u32 raw_count, u32 coded_size, then
//            coded_size bytes of plain stream; both 0 for an unused context
// Inputs below 64 bytes always use mode 0, longer ones only when five streams are not
// strictly smaller.
#ifndef QOLM_ENTROPY_CONTEXT_RANS_H_
#define QOLM_ENTROPY_CONTEXT_RANS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "entropy/rans_decoder.h"
#include "entropy/stop_callback.h"
#include "entropy/token_context.h"

namespace qolm::entropy {

// The stream of `input`; an empty vector for an empty input, and for one of 2^32
// bytes or more. Also empty once `stop` returns true.
std::vector<uint8_t> ContextRansEncode(std::span<const uint8_t> input,
                                       const StopCallback& stop = nullptr);

// Fills `output`, whose size is the expected count, at least 1. False, with the
// output partly written or untouched, when the output is empty, the stored count
// differs, the mode is unknown, a record or an inner stream is malformed or runs past
// the end, the raw counts do not sum to n, or a context runs out of bytes.
[[nodiscard]] bool ContextRansDecode(std::span<const uint8_t> stream, std::span<uint8_t> output);

// Decodes a stream incrementally, to bound the memory.
class ContextRansReader {
 public:
  // False when ContextRansDecode of `count` bytes would fail, except that contexts that
  // run out of bytes are not detected yet. `stream` must outlive the reader.
  [[nodiscard]] bool open(std::span<const uint8_t> stream, uint32_t count);

  // The next bytes, in total at most the count. False when a context runs out of bytes.
  [[nodiscard]] bool read(std::span<uint8_t> bytes);

 private:
  // One context's stream with a buffer of bytes decoded ahead.
  struct Context {
    static constexpr size_t kBufferBytes = 4096;

    RansSlotTable slots;
    RansReader reader;
    uint32_t left = 0;  // bytes not decoded yet
    uint32_t next = 0;  // the buffered bytes are buffer[next .. end)
    uint32_t end = 0;
    std::array<uint8_t, kBufferBytes + 1> buffer;  // merge may read one byte past the end

    size_t available() const { return end - next; }
    std::span<uint8_t> refill_span();
  };

  bool open_five_streams(std::span<const uint8_t> stream, uint32_t count);
  bool read_five_streams(std::span<uint8_t> bytes);
  uint8_t* merge(uint8_t* out, const uint8_t* out_end);
  bool decode_ahead(size_t context);
  bool take(size_t context, uint8_t*& out, const uint8_t* out_end);
  bool take_argument(size_t context, uint8_t*& out, const uint8_t* out_end);

  std::unique_ptr<std::array<Context, kContextCount>> contexts_;  // a plain stream uses the first
  bool plain_ = false;
  size_t context_ = 0;  // of the next byte
};

// The count n that a stream declares, which callers check before they allocate the
// output. False when the stream is shorter than its 5-byte head.
[[nodiscard]] bool ContextRansCount(std::span<const uint8_t> stream, uint32_t& count);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_CONTEXT_RANS_H_
