// SPDX-License-Identifier: MIT
//
// Whole files as strings of bytes.
#ifndef QOLM_TESTS_SUPPORT_TEXT_FILE_H_
#define QOLM_TESTS_SUPPORT_TEXT_FILE_H_

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace qolm::test {

inline void WriteFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_TEXT_FILE_H_
