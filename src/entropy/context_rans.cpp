#include "entropy/context_rans.h"

#include <array>
#include <limits>
#include <memory>

#include "base/byte_order.h"
#include "entropy/rans.h"
#include "entropy/rans_decoder.h"
#include "entropy/rans_encoder.h"
#include "entropy/token_context.h"

namespace qolm::entropy {
namespace {

constexpr size_t kHeadBytes = 5;
constexpr size_t kRecordHeadBytes = 8;
constexpr size_t kMinFiveStreamBytes = kHeadBytes + kContextCount * kRecordHeadBytes;
constexpr size_t kMinSplitCount = 64;
constexpr uint8_t kModePlain = 0;
constexpr uint8_t kModeFiveStreams = 1;

// The input's bytes sorted by context, each context in input order.
class ContextSplit {
 public:
  explicit ContextSplit(std::span<const uint8_t> input)
      : storage_(std::make_unique_for_overwrite<uint8_t[]>(StorageBytes(input.size()))) {
    // Each argument context takes at most every second byte.
    const size_t half = input.size() / 2;
    std::array<uint8_t*, kContextCount> begin;
    begin[0] = storage_.get();
    begin[1] = begin[0] + input.size();
    for (size_t c = 2; c < kContextCount; ++c) begin[c] = begin[c - 1] + half;

    std::array<uint8_t*, kContextCount> end = begin;
    const uint8_t* next = input.data();
    const uint8_t* const last = next + input.size();
    while (next != last) {
      const uint8_t byte = *next++;
      *end[0]++ = byte;
      if (byte == kZeroRunToken) {
        if (next != last) *end[1]++ = *next++;
      } else if (byte == kZeroBlocksToken) {
        if (next != last) *end[2]++ = *next++;
      } else if (byte == kEscapeToken) {
        if (next != last) *end[3]++ = *next++;
        if (next != last) *end[4]++ = *next++;
      }
    }
    for (size_t c = 0; c < kContextCount; ++c) contexts_[c] = {begin[c], end[c]};
  }

  std::span<const uint8_t> operator[](size_t context) const { return contexts_[context]; }

 private:
  static size_t StorageBytes(size_t count) { return count + 4 * (count / 2); }

  std::unique_ptr<uint8_t[]> storage_;
  std::array<std::span<const uint8_t>, kContextCount> contexts_;
};

std::vector<uint8_t> StreamHead(size_t count, uint8_t mode) {
  std::vector<uint8_t> out;
  AppendLe32(out, static_cast<uint32_t>(count));
  out.push_back(mode);
  return out;
}

std::vector<uint8_t> EncodePlain(std::span<const uint8_t> input, const ByteCounts& counts) {
  RansStreamEncoder encoder(input, counts);
  encoder.Run();
  std::vector<uint8_t> out = StreamHead(input.size(), kModePlain);
  encoder.AppendTo(out);
  return out;
}

// Also yields the counts of the whole input.
std::vector<uint8_t> EncodeFiveStreams(std::span<const uint8_t> input, ByteCounts& total_counts) {
  const ContextSplit split(input);
  std::vector<RansStreamEncoder> encoders;
  encoders.reserve(kContextCount);
  total_counts = {};
  for (size_t c = 0; c < kContextCount; ++c) {
    const ByteCounts counts = CountBytes(split[c]);
    for (size_t s = 0; s < counts.size(); ++s) total_counts[s] += counts[s];
    encoders.emplace_back(split[c], counts);
  }
  // The tokens and the zero runs are the two long streams.
  RansStreamEncoder::RunBoth(encoders[0], encoders[1]);
  for (size_t c = 2; c < kContextCount; ++c) encoders[c].Run();

  size_t size = kMinFiveStreamBytes;
  for (const RansStreamEncoder& encoder : encoders) size += encoder.StreamSize();
  std::vector<uint8_t> out = StreamHead(input.size(), kModeFiveStreams);
  out.reserve(size);
  for (size_t c = 0; c < kContextCount; ++c) {
    AppendLe32(out, static_cast<uint32_t>(split[c].size()));
    AppendLe32(out, static_cast<uint32_t>(encoders[c].StreamSize()));
    encoders[c].AppendTo(out);
  }
  return out;
}

bool DecodeFiveStreams(std::span<const uint8_t> stream, std::span<uint8_t> output) {
  std::array<uint32_t, kContextCount> left{};
  std::array<std::span<const uint8_t>, kContextCount> coded;
  size_t offset = kHeadBytes;
  uint64_t raw_sum = 0;
  for (size_t c = 0; c < kContextCount; ++c) {
    if (stream.size() - offset < kRecordHeadBytes) return false;
    left[c] = LoadLe32(stream.data() + offset);
    const size_t coded_size = LoadLe32(stream.data() + offset + 4);
    offset += kRecordHeadBytes;
    if (coded_size > stream.size() - offset) return false;
    if (left[c] == 0 && coded_size != 0) return false;
    coded[c] = stream.subspan(offset, coded_size);
    offset += coded_size;
    raw_sum += left[c];
  }
  if (raw_sum != output.size()) return false;

  const auto slots = std::make_unique_for_overwrite<std::array<RansSlotTable, kContextCount>>();
  std::array<RansReader, kContextCount> argument_readers;
  for (size_t c = 0; c < kContextCount; ++c) {
    if (left[c] > 0 && !OpenRansStream(coded[c], left[c], (*slots)[c], argument_readers[c])) {
      return false;
    }
  }

  // The streams are independent, so the processor works on an argument while the
  // next token's step is still under way.
  RansReader token_reader = argument_readers[0];
  RansReader run_reader = argument_readers[1];
  uint8_t* out = output.data();
  uint8_t* const out_end = out + output.size();
  const auto take_argument = [&](size_t c, RansReader& reader) {
    if (left[c] == 0) return false;
    --left[c];
    *out++ = reader.Step((*slots)[c]);
    return true;
  };
  while (out != out_end) {
    if (left[0] == 0) return false;
    --left[0];
    const uint8_t token = token_reader.Step((*slots)[0]);
    *out++ = token;
    if (token == kZeroRunToken) {
      if (out != out_end && !take_argument(1, run_reader)) return false;
    } else if (token == kZeroBlocksToken) {
      if (out != out_end && !take_argument(2, argument_readers[2])) return false;
    } else if (token == kEscapeToken) {
      if (out != out_end && !take_argument(3, argument_readers[3])) return false;
      if (out != out_end && !take_argument(4, argument_readers[4])) return false;
    }
  }
  return true;
}

}  // namespace

std::vector<uint8_t> ContextRansEncode(std::span<const uint8_t> input) {
  if (input.empty() || input.size() > std::numeric_limits<uint32_t>::max()) return {};

  if (input.size() < kMinSplitCount) return EncodePlain(input, CountBytes(input));
  ByteCounts counts;
  std::vector<uint8_t> five_streams = EncodeFiveStreams(input, counts);
  // Coding the plain candidate costs as much again; mostly the bound tells that
  // it cannot win.
  if (kHeadBytes + RansStreamSizeLowerBound(counts) > five_streams.size()) return five_streams;
  std::vector<uint8_t> plain = EncodePlain(input, counts);
  return five_streams.size() < plain.size() ? five_streams : plain;
}

bool ContextRansDecode(std::span<const uint8_t> stream, std::span<uint8_t> output) {
  uint32_t count = 0;
  if (output.empty() || !ContextRansCount(stream, count) || count != output.size()) return false;
  const uint8_t mode = stream[4];
  if (mode == kModePlain) return RansDecodeBytes(stream.subspan(kHeadBytes), output);
  if (mode != kModeFiveStreams || stream.size() < kMinFiveStreamBytes) return false;
  return DecodeFiveStreams(stream, output);
}

bool ContextRansCount(std::span<const uint8_t> stream, uint32_t& count) {
  if (stream.size() < kHeadBytes) return false;
  count = LoadLe32(stream.data());
  return true;
}

}  // namespace qolm::entropy
