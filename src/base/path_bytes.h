// SPDX-License-Identifier: MIT
//
// Paths are passed through the program as the UTF-8 bytes of the command line, so that
// reports print them unchanged.
#ifndef QOLM_BASE_PATH_BYTES_H_
#define QOLM_BASE_PATH_BYTES_H_

#include <filesystem>
#include <string>
#include <string_view>

namespace qolm {

inline std::filesystem::path PathFromBytes(std::string_view bytes) {
  return std::filesystem::path(std::u8string(bytes.begin(), bytes.end()));
}

inline std::string BytesFromPath(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace qolm

#endif  // QOLM_BASE_PATH_BYTES_H_
