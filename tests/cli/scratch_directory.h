// A directory of its own for a test, gone when the test ends.
#ifndef QOLM_TESTS_CLI_SCRATCH_DIRECTORY_H_
#define QOLM_TESTS_CLI_SCRATCH_DIRECTORY_H_

#include <fstream>
#include <iterator>
#include <string>

#include "support/temporary_folder.h"

namespace qolm::cli {

// Names in it are UTF-8 bytes, as they go onto a command line.
class ScratchDirectory {
 public:
  std::string operator/(const std::string& name) const { return (folder_ / name).string(); }

 private:
  const test::TemporaryFolder folder_;
};

inline void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace qolm::cli

#endif  // QOLM_TESTS_CLI_SCRATCH_DIRECTORY_H_
