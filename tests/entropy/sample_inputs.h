// SPDX-License-Identifier: MIT
//
// Byte and value sequences of many distributions, the same in every run.
#ifndef QOLM_TESTS_ENTROPY_SAMPLE_INPUTS_H_
#define QOLM_TESTS_ENTROPY_SAMPLE_INPUTS_H_

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace qolm::entropy::samples {

struct ByteSample {
  std::string name;
  std::vector<uint8_t> bytes;
};

// Sequences of `size` bytes: even, skewed, one value, two values, one rare value,
// and bytes that look like tokens.
inline std::vector<ByteSample> ByteSamples(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  const auto fill = [&](auto&& next) {
    std::vector<uint8_t> bytes(size);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(next());
    return bytes;
  };
  std::vector<ByteSample> samples;
  samples.push_back({"even", fill([&] { return random() & 255u; })});
  samples.push_back({"skewed", fill([&] {
                       uint32_t v = 0;
                       while (v < 255 && (random() & 3u) != 0) ++v;
                       return v;
                     })});
  samples.push_back({"one value", fill([] { return 77u; })});
  samples.push_back({"two values", fill([&] { return (random() & 1u) * 255u; })});
  samples.push_back({"rare value", fill([&] { return random() % 5000u == 0 ? 200u : 3u; })});
  std::vector<uint8_t> tokens;
  while (tokens.size() < size) {
    const uint32_t kind = random() % 16u;
    if (kind < 5) {
      tokens.push_back(0);
      tokens.push_back(static_cast<uint8_t>(1 + random() % 20u));
    } else if (kind == 5) {
      tokens.push_back(2);
      tokens.push_back(static_cast<uint8_t>(1 + random() % 255u));
    } else if (kind == 6) {
      tokens.push_back(255);
      tokens.push_back(static_cast<uint8_t>(random()));
      tokens.push_back(static_cast<uint8_t>(random() % 4u));
    } else if (kind == 7) {
      tokens.push_back(1);
    } else {
      tokens.push_back(static_cast<uint8_t>(124 + random() % 9u));
    }
  }
  tokens.resize(size);
  samples.push_back({"tokens", tokens});
  return samples;
}

// `size` values of which about one in `spacing` is not zero, small ones mostly.
inline std::vector<int16_t> SparseValues(size_t size, uint32_t spacing, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<int16_t> values(size, 0);
  for (int16_t& value : values) {
    if (random() % spacing != 0) continue;
    const uint32_t range = random() % 16u == 0 ? 65536u : 7u;
    value = static_cast<int16_t>(static_cast<int32_t>(random() % range) -
                                 static_cast<int32_t>(range / 2));
  }
  return values;
}

inline const std::vector<size_t>& Sizes() {
  static const std::vector<size_t> sizes = {0,   1,   2,    3,    62,   63,   64,     65,
                                            127, 128, 1000, 4095, 4096, 4097, 1000000};
  return sizes;
}

}  // namespace qolm::entropy::samples

#endif  // QOLM_TESTS_ENTROPY_SAMPLE_INPUTS_H_
