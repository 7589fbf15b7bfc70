// SPDX-License-Identifier: MIT
#include "entropy/context_rans.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
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
  // Incomplete when `stop` returned true.
  ContextSplit(std::span<const uint8_t> input, const StopCallback& stop)
      : storage_(std::make_unique_for_overwrite<uint8_t[]>(StorageBytes(input.size()))) {
    // An argument context holds at most every second byte, plus one that is written
    // speculatively past its end.
    const size_t half = input.size() / 2 + 1;
    std::array<uint8_t*, kContextCount> begin;
    begin[0] = storage_.get();
    begin[1] = begin[0] + input.size();
    for (size_t c = 2; c < kContextCount; ++c) begin[c] = begin[c - 1] + half;

    std::array<uint8_t*, kContextCount> end = begin;
    const uint8_t* next = input.data();
    const uint8_t* const last = next + input.size();
    const uint8_t* piece_end = next;
    while (next != last) {
      if (next >= piece_end) {
        stopped_ = IsToStop(stop);
        if (stopped_) return;
        piece_end = next + std::min(static_cast<size_t>(last - next), kStopInterval);
      }
      // Tokens and zero runs, branch-free because their order is unpredictable.
      while (piece_end - next >= 2 && *next != kZeroBlocksToken && *next != kEscapeToken) {
        const ptrdiff_t with_run = *next == kZeroRunToken ? 1 : 0;
        *end[0]++ = next[0];
        *end[1] = next[1];
        end[1] += with_run;
        next += 1 + with_run;
      }
      if (next == piece_end) continue;
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

  bool stopped() const { return stopped_; }
  std::span<const uint8_t> operator[](size_t context) const { return contexts_[context]; }

 private:
  static size_t StorageBytes(size_t count) { return count + 4 * (count / 2 + 1); }

  std::unique_ptr<uint8_t[]> storage_;
  std::array<std::span<const uint8_t>, kContextCount> contexts_;
  bool stopped_ = false;
};

std::vector<uint8_t> StreamHead(size_t count, uint8_t mode) {
  std::vector<uint8_t> out;
  AppendLe32(out, static_cast<uint32_t>(count));
  out.push_back(mode);
  return out;
}

std::vector<uint8_t> EncodePlain(std::span<const uint8_t> input, const ByteCounts& counts,
                                 const StopCallback& stop) {
  RansStreamEncoder encoder(input, counts);
  if (!encoder.Run(stop)) return {};
  std::vector<uint8_t> out = StreamHead(input.size(), kModePlain);
  encoder.AppendTo(out);
  return out;
}

// Also returns the byte counts of the whole input.
std::vector<uint8_t> EncodeFiveStreams(std::span<const uint8_t> input, ByteCounts& total_counts,
                                       const StopCallback& stop) {
  const ContextSplit split(input, stop);
  if (split.stopped()) return {};
  std::vector<RansStreamEncoder> encoders;
  encoders.reserve(kContextCount);
  total_counts = {};
  for (size_t c = 0; c < kContextCount; ++c) {
    if (IsToStop(stop)) return {};
    const ByteCounts counts = CountBytes(split[c]);
    for (size_t s = 0; s < counts.size(); ++s) total_counts[s] += counts[s];
    encoders.emplace_back(split[c], counts);
  }
  // The tokens and the zero runs are the two long streams.
  bool done = RansStreamEncoder::RunInterleaved(encoders[0], encoders[1], stop);
  for (size_t c = 2; c < kContextCount && done; ++c) done = encoders[c].Run(stop);
  if (!done) return {};

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

std::vector<uint8_t> ContextRansEncode(std::span<const uint8_t> input, const StopCallback& stop) {
  if (input.empty() || input.size() > std::numeric_limits<uint32_t>::max()) return {};

  if (input.size() < kMinSplitCount) return EncodePlain(input, CountBytes(input), stop);
  ByteCounts counts;
  std::vector<uint8_t> five_streams = EncodeFiveStreams(input, counts, stop);
  if (five_streams.empty()) return {};
  // Coding the plain candidate would double the time; usually the bound shows that it
  // cannot be smaller.
  if (kHeadBytes + RansStreamSizeLowerBound(counts) > five_streams.size()) return five_streams;
  std::vector<uint8_t> plain = EncodePlain(input, counts, stop);
  if (plain.empty()) return {};
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
  contexts_ = std::make_unique_for_overwrite<std::array<Context, kContextCount>>();
  plain_ = stream[4] == kModePlain;
  if (plain_) {
    Context& whole = (*contexts_)[0];
    return OpenRansStream(stream.subspan(kHeadBytes), count, whole.slots, whole.reader);
  }
  return stream[4] == kModeFiveStreams && open_five_streams(stream, count);
}

bool ContextRansReader::open_five_streams(std::span<const uint8_t> stream, uint32_t count) {
  if (stream.size() < kMinFiveStreamBytes) return false;
  std::array<std::span<const uint8_t>, kContextCount> coded;
  size_t offset = kHeadBytes;
  uint64_t raw_sum = 0;
  for (size_t c = 0; c < kContextCount; ++c) {
    if (stream.size() - offset < kRecordHeadBytes) return false;
    uint32_t& left = (*contexts_)[c].left;
    left = LoadLe32(stream.data() + offset);
    const size_t coded_size = LoadLe32(stream.data() + offset + 4);
    offset += kRecordHeadBytes;
    if (coded_size > stream.size() - offset) return false;
    if (left == 0 && coded_size != 0) return false;
    coded[c] = stream.subspan(offset, coded_size);
    offset += coded_size;
    raw_sum += left;
  }
  if (raw_sum != count) return false;
  for (size_t c = 0; c < kContextCount; ++c) {
    Context& context = (*contexts_)[c];
    if (context.left > 0 &&
        !OpenRansStream(coded[c], context.left, context.slots, context.reader)) {
      return false;
    }
  }
  return true;
}

bool ContextRansReader::read(std::span<uint8_t> bytes) {
  if (!plain_) return read_five_streams(bytes);
  StepRansValues((*contexts_)[0].slots, (*contexts_)[0].reader, bytes);
  return true;
}

// Moves the unread bytes to the front of the buffer and returns the span that the next
// bytes of this context must be decoded into; counts them as buffered.
std::span<uint8_t> ContextRansReader::Context::refill_span() {
  const size_t kept = available();
  std::memmove(buffer.data(), buffer.data() + next, kept);
  const auto more = static_cast<uint32_t>(std::min<size_t>(kBufferBytes - kept, left));
  next = 0;
  end = static_cast<uint32_t>(kept) + more;
  left -= more;
  return std::span(buffer).subspan(kept, more);
}

// False when the context has run out of bytes. The tokens and the zero runs are the two
// long streams.
bool ContextRansReader::decode_ahead(size_t context) {
  Context& wanted = (*contexts_)[context];
  if (wanted.left == 0) return false;
  if (context > 1) {
    StepRansValues(wanted.slots, wanted.reader, wanted.refill_span());
  } else {
    Context& tokens = (*contexts_)[0];
    Context& runs = (*contexts_)[1];
    StepInterleavedRansValues(tokens.slots, tokens.reader, tokens.refill_span(), runs.slots,
                              runs.reader, runs.refill_span());
  }
  return true;
}

bool ContextRansReader::take(size_t context, uint8_t*& out, const uint8_t* out_end) {
  context_ = context;
  if (out == out_end) return true;  // it begins the next call
  Context& taken = (*contexts_)[context];
  if (taken.available() == 0 && !decode_ahead(context)) return false;
  *out++ = taken.buffer[taken.next++];
  return true;
}

bool ContextRansReader::take_argument(size_t context, uint8_t*& out, const uint8_t* out_end) {
  const bool at_end = out == out_end;
  if (!take(context, out, out_end)) return false;
  if (!at_end) context_ = context == 3 ? 4 : 0;
  return true;
}

// Writes tokens with their arguments while all are buffered and the output can take the
// longest. Whether a zero run follows is unpredictable, so that case is branch-free.
uint8_t* ContextRansReader::merge(uint8_t* out, const uint8_t* out_end) {
  Context& tokens = (*contexts_)[0];
  Context& runs = (*contexts_)[1];
  Context& blocks = (*contexts_)[2];
  Context& low_bytes = (*contexts_)[3];
  Context& high_bytes = (*contexts_)[4];
  const uint8_t* token = tokens.buffer.data() + tokens.next;
  const uint8_t* const token_end = tokens.buffer.data() + tokens.end;
  const uint8_t* run = runs.buffer.data() + runs.next;
  const uint8_t* const run_end = runs.buffer.data() + runs.end;
  for (; token != token_end && out_end - out >= 3; ++token) {
    if (*token == kZeroBlocksToken) {
      if (blocks.available() == 0) break;
      *out++ = *token;
      *out++ = blocks.buffer[blocks.next++];
    } else if (*token == kEscapeToken) {
      if (low_bytes.available() == 0 || high_bytes.available() == 0) break;
      *out++ = *token;
      *out++ = low_bytes.buffer[low_bytes.next++];
      *out++ = high_bytes.buffer[high_bytes.next++];
    } else {
      const bool with_run = *token == kZeroRunToken;
      if (run == run_end && with_run) break;
      out[0] = *token;
      out[1] = *run;  // overwritten by the next token when there is no run
      out += with_run ? 2 : 1;
      run += with_run ? 1 : 0;
    }
  }
  tokens.next = static_cast<uint32_t>(token - tokens.buffer.data());
  runs.next = static_cast<uint32_t>(run - runs.buffer.data());
  return out;
}

bool ContextRansReader::read_five_streams(std::span<uint8_t> bytes) {
  uint8_t* out = bytes.data();
  uint8_t* const out_end = out + bytes.size();
  while (context_ != 0 && out != out_end) {
    if (!take_argument(context_, out, out_end)) return false;
  }
  while (out != out_end) {
    out = merge(out, out_end);
    if (out == out_end) break;
    if (!take(0, out, out_end)) return false;
    const uint8_t token = out[-1];
    if (token == kZeroRunToken) {
      if (!take_argument(1, out, out_end)) return false;
    } else if (token == kZeroBlocksToken) {
      if (!take_argument(2, out, out_end)) return false;
    } else if (token == kEscapeToken) {
      if (!take_argument(3, out, out_end)) return false;
      if (context_ == 4 && !take_argument(4, out, out_end)) return false;
    }
  }
  return true;
}

bool ContextRansCount(std::span<const uint8_t> stream, uint32_t& count) {
  if (stream.size() < kHeadBytes) return false;
  count = LoadLe32(stream.data());
  return true;
}

}  // namespace qolm::entropy
