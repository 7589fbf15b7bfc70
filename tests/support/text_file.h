// Whole files as strings of bytes.
#ifndef QOLM_TESTS_SUPPORT_TEXT_FILE_H_
#define QOLM_TESTS_SUPPORT_TEXT_FILE_H_

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace qolm::test {

inline void WriteFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_TEXT_FILE_H_
