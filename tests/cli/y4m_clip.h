// SPDX-License-Identifier: MIT
//
// Raw video files, made up on the spot.
#ifndef QOLM_TESTS_CLI_Y4M_CLIP_H_
#define QOLM_TESTS_CLI_Y4M_CLIP_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace qolm::cli {

struct Y4mClip {
  int width = 64;   // even
  int height = 48;  // even

  std::string Header() const {
    return "YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) +
           " F25:1 Ip A1:1 C420jpeg\n";
  }

  // Noise, other noise for every number, so that no frame is static.
  std::string Frame(int number) const {
    std::string frame = "FRAME\n";
    const size_t bytes = static_cast<size_t>(width) * static_cast<size_t>(height) * 3 / 2;
    uint32_t noise = static_cast<uint32_t>(number) * 2654435761U + 1;
    for (size_t i = 0; i < bytes; ++i) {
      noise = noise * 1664525U + 1013904223U;
      frame += static_cast<char>(noise >> 24);
    }
    return frame;
  }

  std::string File(int frames) const {
    std::string file = Header();
    for (int i = 0; i < frames; ++i) file += Frame(i);
    return file;
  }
};

}  // namespace qolm::cli

#endif  // QOLM_TESTS_CLI_Y4M_CLIP_H_
