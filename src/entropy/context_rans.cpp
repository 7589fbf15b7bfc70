#include "entropy/context_rans.h"

#include <limits>

#include "base/byte_order.h"
#include "entropy/rans.h"
#include "entropy/rans_encoder.h"

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
  if (output.empty() || output.size() > std::numeric_limits<uint32_t>::max()) return false;
  ContextRansReader reader;
  return reader.open(stream, static_cast<uint32_t>(output.size())) && reader.read(output);
}

bool ContextRansReader::open(std::span<const uint8_t> stream, uint32_t count) {
  uint32_t stored_count = 0;
  if (count == 0 || !ContextRansCount(stream, stored_count) || stored_count != count) return false;
  context_ = 0;
  slots_ = std::make_unique_for_overwrite<std::array<RansSlotTable, kContextCount>>();
  plain_ = stream[4] == kModePlain;
  if (plain_) return OpenRansStream(stream.subspan(kHeadBytes), count, (*slots_)[0], readers_[0]);
  return stream[4] == kModeFiveStreams && open_five_streams(stream, count);
}

bool ContextRansReader::open_five_streams(std::span<const uint8_t> stream, uint32_t count) {
  if (stream.size() < kMinFiveStreamBytes) return false;
  std::array<std::span<const uint8_t>, kContextCount> coded;
  size_t offset = kHeadBytes;
  uint64_t raw_sum = 0;
  for (size_t c = 0; c < kContextCount; ++c) {
    if (stream.size() - offset < kRecordHeadBytes) return false;
    left_[c] = LoadLe32(stream.data() + offset);
    const size_t coded_size = LoadLe32(stream.data() + offset + 4);
    offset += kRecordHeadBytes;
    if (coded_size > stream.size() - offset) return false;
    if (left_[c] == 0 && coded_size != 0) return false;
    coded[c] = stream.subspan(offset, coded_size);
    offset += coded_size;
    raw_sum += left_[c];
  }
  if (raw_sum != count) return false;
  for (size_t c = 0; c < kContextCount; ++c) {
    if (left_[c] > 0 && !OpenRansStream(coded[c], left_[c], (*slots_)[c], readers_[c])) {
      return false;
    }
  }
  return true;
}

bool ContextRansReader::read(std::span<uint8_t> bytes) {
  if (!plain_) return read_five_streams(bytes);
  StepRansValues((*slots_)[0], readers_[0], bytes);
  return true;
}

// The streams are independent, so the processor works on an argument while the
// next token's step is still under way.
bool ContextRansReader::read_five_streams(std::span<uint8_t> bytes) {
  const std::array<RansSlotTable, kContextCount>& slots = *slots_;
  // Locals, since a byte that is written might be part of any member.
  std::array<RansReader, kContextCount> argument_readers = readers_;
  RansReader token_reader = readers_[0];
  RansReader run_reader = readers_[1];
  std::array<uint32_t, kContextCount> left = left_;
  size_t context = context_;
  uint8_t* out = bytes.data();
  uint8_t* const out_end = out + bytes.size();
  // An argument behind the last byte of this piece opens the next one.
  const auto take_argument = [&](size_t c, RansReader& reader) {
    context = c;
    if (out == out_end) return true;
    if (left[c] == 0) return false;
    --left[c];
    *out++ = reader.Step(slots[c]);
    context = c == 3 ? 4 : 0;
    return true;
  };
  while (context != 0 && out != out_end) {
    if (!take_argument(context, context == 1 ? run_reader : argument_readers[context])) {
      return false;
    }
  }
  while (out != out_end) {
    if (left[0] == 0) return false;
    --left[0];
    const uint8_t token = token_reader.Step(slots[0]);
    *out++ = token;
    if (token == kZeroRunToken) {
      if (!take_argument(1, run_reader)) return false;
    } else if (token == kZeroBlocksToken) {
      if (!take_argument(2, argument_readers[2])) return false;
    } else if (token == kEscapeToken) {
      if (!take_argument(3, argument_readers[3])) return false;
      if (context == 4 && !take_argument(4, argument_readers[4])) return false;
    }
  }
  readers_ = argument_readers;
  readers_[0] = token_reader;
  readers_[1] = run_reader;
  left_ = left;
  context_ = context;
  return true;
}

bool ContextRansCount(std::span<const uint8_t> stream, uint32_t& count) {
  if (stream.size() < kHeadBytes) return false;
  count = LoadLe32(stream.data());
  return true;
}

}  // namespace qolm::entropy
