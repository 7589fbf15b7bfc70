// SPDX-License-Identifier: MIT
//
// PNG files read by a library that did not write them.
#ifndef QOLM_TESTS_SUPPORT_DECODED_PNG_H_
#define QOLM_TESTS_SUPPORT_DECODED_PNG_H_

#include <cstdint>
#include <filesystem>
#include <vector>

namespace qolm::test {

struct DecodedPng {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint8_t> pixels;  // R, G, B, A
};

// Empty when the file is no sound PNG.
DecodedPng ReadPng(const std::filesystem::path& path);

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_DECODED_PNG_H_
