// SPDX-License-Identifier: MIT
//
// The coders once more, step by step and with divisions, as the yardstick for the
// fast ones. Nothing here is shared with the library.
#ifndef QOLM_TESTS_ENTROPY_NAIVE_CODERS_H_
#define QOLM_TESTS_ENTROPY_NAIVE_CODERS_H_

#include <cstdint>
#include <optional>
#include <vector>

namespace qolm::entropy::naive {

using Bytes = std::vector<uint8_t>;

inline void Append32(Bytes& out, uint64_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

inline uint32_t Read32(const Bytes& bytes, size_t offset) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value |= static_cast<uint32_t>(bytes.at(offset + i)) << (8 * i);
  return value;
}

inline std::vector<uint32_t> Frequencies(const Bytes& input) {
  std::vector<uint64_t> counts(256, 0);
  for (const uint8_t byte : input) ++counts[byte];
  uint64_t k = 0;
  for (const uint64_t c : counts) k += c > 0 ? 1 : 0;
  std::vector<uint32_t> freq(256, 0);
  uint32_t sum = 0;
  int best = -1;
  for (int s = 0; s < 256; ++s) {
    const auto i = static_cast<size_t>(s);
    if (counts[i] == 0) continue;
    freq[i] = static_cast<uint32_t>((4096 - k) * counts[i] / input.size() + 1);
    sum += freq[i];
    if (best < 0 || counts[i] > counts[static_cast<size_t>(best)]) best = s;
  }
  freq[static_cast<size_t>(best)] += 4096 - sum;
  return freq;
}

inline Bytes RansEncode(const Bytes& input) {
  Bytes out;
  if (input.empty()) return out;
  const std::vector<uint32_t> freq = Frequencies(input);
  std::vector<uint32_t> cum(257, 0);
  uint32_t k = 0;
  for (size_t s = 0; s < 256; ++s) {
    cum[s + 1] = cum[s] + freq[s];
    k += freq[s] > 0 ? 1 : 0;
  }
  Append32(out, input.size());
  out.push_back(static_cast<uint8_t>(k));
  out.push_back(static_cast<uint8_t>(k >> 8));
  for (size_t s = 0; s < 256; ++s) {
    if (freq[s] == 0) continue;
    out.push_back(static_cast<uint8_t>(s));
    out.push_back(static_cast<uint8_t>(freq[s]));
    out.push_back(static_cast<uint8_t>(freq[s] >> 8));
  }
  uint32_t x = 65536;
  Bytes scratch;
  for (size_t i = input.size(); i-- > 0;) {
    const size_t s = input[i];
    while (x >= freq[s] * 4096) {
      scratch.push_back(static_cast<uint8_t>(x));
      x >>= 8;
    }
    x = (x / freq[s]) * 4096 + x % freq[s] + cum[s];
  }
  Append32(out, x);
  out.insert(out.end(), scratch.rbegin(), scratch.rend());
  return out;
}

// Requires a well-formed head; the bytes after it are arbitrary.
inline Bytes RansDecode(const Bytes& stream) {
  const uint32_t n = Read32(stream, 0);
  const size_t k = stream.at(4) + size_t{256} * stream.at(5);
  std::vector<uint32_t> freq(256, 0), cum(256, 0);
  Bytes slots;
  size_t at = 6;
  for (size_t e = 0; e < k; ++e, at += 3) {
    const size_t s = stream.at(at);
    freq[s] = stream.at(at + 1) + 256u * stream.at(at + 2);
    cum[s] = static_cast<uint32_t>(slots.size());
    slots.insert(slots.end(), freq[s], static_cast<uint8_t>(s));
  }
  uint32_t x = Read32(stream, at);
  at += 4;
  Bytes out;
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t slot = x % 4096;
    const uint8_t s = slots.at(slot);
    out.push_back(s);
    x = (x >> 12) * freq[s] - cum[s] + slot;
    while (x < 65536 && at < stream.size()) x = (x << 8) | stream[at++];
  }
  return out;
}

// Whether a stream of `n` values, at least 1, has a well-formed head.
inline bool RansOpens(const Bytes& stream, uint64_t n) {
  if (stream.size() < 6 || Read32(stream, 0) != n) return false;
  const size_t k = stream[4] + size_t{256} * stream[5];
  if (k < 1 || k > 256 || stream.size() < 6 + 3 * k + 4) return false;
  uint32_t sum = 0;
  int last = -1;
  for (size_t at = 6; at < 6 + 3 * k; at += 3) {
    const uint32_t freq = stream[at + 1] + 256u * stream[at + 2];
    if (stream[at] <= last || freq == 0) return false;
    last = stream[at];
    sum += freq;
  }
  return sum == 4096;
}

inline int NextContext(int context, uint8_t byte) {
  if (context == 0) return byte == 0 ? 1 : byte == 2 ? 2 : byte == 255 ? 3 : 0;
  return context == 3 ? 4 : 0;
}

inline Bytes ContextEncode(const Bytes& input) {
  Bytes out;
  if (input.empty()) return out;
  const Bytes plain = RansEncode(input);
  std::vector<Bytes> split(5), coded(5);
  int context = 0;
  for (const uint8_t byte : input) {
    split[static_cast<size_t>(context)].push_back(byte);
    context = NextContext(context, byte);
  }
  size_t size = 45;
  for (size_t c = 0; c < 5; ++c) {
    coded[c] = RansEncode(split[c]);
    size += coded[c].size();
  }
  Append32(out, input.size());
  if (input.size() < 64 || size >= plain.size() + 5) {
    out.push_back(0);
    out.insert(out.end(), plain.begin(), plain.end());
    return out;
  }
  out.push_back(1);
  for (size_t c = 0; c < 5; ++c) {
    Append32(out, split[c].size());
    Append32(out, coded[c].size());
    out.insert(out.end(), coded[c].begin(), coded[c].end());
  }
  return out;
}

// nullopt for a malformed stream.
inline std::optional<Bytes> ContextDecode(const Bytes& stream, size_t n) {
  if (n == 0 || stream.size() < 5 || Read32(stream, 0) != n || stream[4] > 1) return {};
  const auto piece = [&stream](size_t from, size_t size) {
    const auto begin = stream.begin() + static_cast<ptrdiff_t>(from);
    return Bytes(begin, begin + static_cast<ptrdiff_t>(size));
  };
  if (stream[4] == 0) {
    const Bytes whole = piece(5, stream.size() - 5);
    if (!RansOpens(whole, n)) return {};
    return RansDecode(whole);
  }
  std::vector<Bytes> coded(5);
  std::vector<uint64_t> counts(5);
  uint64_t sum = 0;
  size_t at = 5;
  for (size_t c = 0; c < 5; ++c) {
    if (stream.size() - at < 8) return {};
    counts[c] = Read32(stream, at);
    const size_t size = Read32(stream, at + 4);
    at += 8;
    if (size > stream.size() - at || (counts[c] == 0 && size > 0)) return {};
    coded[c] = piece(at, size);
    at += size;
    sum += counts[c];
  }
  if (sum != n) return {};
  std::vector<Bytes> split(5);
  for (size_t c = 0; c < 5; ++c) {
    if (counts[c] == 0) continue;
    if (!RansOpens(coded[c], counts[c])) return {};
    split[c] = RansDecode(coded[c]);
  }
  Bytes out;
  std::vector<size_t> next(5, 0);
  int context = 0;
  while (out.size() < n) {
    const auto c = static_cast<size_t>(context);
    if (next[c] == split[c].size()) return {};
    out.push_back(split[c][next[c]++]);
    context = NextContext(context, out.back());
  }
  return out;
}

inline void PutValue(Bytes& out, int16_t v) {
  if (v >= -120 && v <= 120) {
    out.push_back(static_cast<uint8_t>(v + 128));
  } else {
    out.push_back(255);
    out.push_back(static_cast<uint8_t>(v & 255));
    out.push_back(static_cast<uint8_t>((v >> 8) & 255));
  }
}

// Values and zero runs of values[from, to).
inline void PutRange(Bytes& out, const std::vector<int16_t>& values, size_t from, size_t to) {
  for (size_t p = from; p < to;) {
    if (values[p] != 0) {
      PutValue(out, values[p++]);
      continue;
    }
    size_t run = 0;
    while (p + run < to && run < 255 && values[p + run] == 0) ++run;
    out.push_back(0);
    out.push_back(static_cast<uint8_t>(run));
    p += run;
  }
}

inline Bytes EncodeTokens(const std::vector<int16_t>& values) {
  Bytes out;
  const size_t blocks = values.size() / 64;
  const auto is_empty = [&values](size_t b) {
    for (size_t p = 0; p < 64; ++p) {
      if (values[64 * b + p] != 0) return false;
    }
    return true;
  };
  for (size_t b = 0; b < blocks;) {
    size_t run = 0;
    while (run < 255 && b + run < blocks && is_empty(b + run)) ++run;
    if (run >= 1) {
      out.push_back(2);
      out.push_back(static_cast<uint8_t>(run));
      b += run;
      continue;
    }
    size_t last = 63;
    while (values[64 * b + last] == 0) --last;
    PutRange(out, values, 64 * b, 64 * b + last + 1);
    if (last < 63) out.push_back(1);
    ++b;
  }
  PutRange(out, values, blocks * 64, values.size());
  return out;
}

// nullopt unless the tokens represent `count` values.
inline std::optional<std::vector<int16_t>> DecodeTokens(const Bytes& tokens, size_t count) {
  const size_t tail = count - count % 64;
  std::vector<int16_t> values;
  const auto put_zeros = [&values](size_t zeros) { values.resize(values.size() + zeros, 0); };
  size_t at = 0;
  while (at < tokens.size()) {
    const uint8_t token = tokens[at++];
    const size_t position = values.size();
    if (position >= count) return {};
    const size_t left = position >= tail ? count - position : 64 - position % 64;
    const size_t arguments = token == 255 ? 2 : token == 0 || token == 2 ? 1 : 0;
    if (tokens.size() - at < arguments) return {};
    if (token == 0) {
      const size_t run = tokens[at++];
      if (run == 0 || run > left) return {};
      put_zeros(run);
    } else if (token == 1) {
      if (position >= tail) return {};
      put_zeros(left);
    } else if (token == 2) {
      const size_t blocks = tokens[at++];
      if (blocks == 0 || position % 64 != 0 || position + 64 * blocks > tail) return {};
      put_zeros(64 * blocks);
    } else if (token == 255) {
      values.push_back(static_cast<int16_t>(tokens[at] + 256 * tokens[at + 1]));
      at += 2;
    } else if (token >= 8 && token <= 248 && token != 128) {
      values.push_back(static_cast<int16_t>(token - 128));
    } else {
      return {};
    }
  }
  if (values.size() != count) return {};
  return values;
}

// nullopt for a malformed stream.
inline std::optional<std::vector<int16_t>> DecodeCoefficients(const Bytes& stream, size_t count) {
  if (stream.empty() || count == 0) {
    if (stream.empty() && count == 0) return std::vector<int16_t>{};
    return {};
  }
  if (stream.size() < 5) return {};
  const uint32_t tokens = Read32(stream, 0);
  if (tokens > 3 * count) return {};
  const std::optional<Bytes> decoded = ContextDecode(stream, tokens);
  return decoded ? DecodeTokens(*decoded, count) : std::nullopt;
}

}  // namespace qolm::entropy::naive

#endif  // QOLM_TESTS_ENTROPY_NAIVE_CODERS_H_
