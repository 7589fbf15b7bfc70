// SPDX-License-Identifier: MIT
//
// A fresh folder for one test's files, removed with everything in it.
#ifndef QOLM_TESTS_SUPPORT_TEMPORARY_FOLDER_H_
#define QOLM_TESTS_SUPPORT_TEMPORARY_FOLDER_H_

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace qolm::test {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    const std::filesystem::path parent = std::filesystem::temp_directory_path();
    std::random_device chance;
    do {
      path_ = parent / ("qolm-test-" + std::to_string(chance()));
    } while (!std::filesystem::create_directory(path_));  // throws where no folder can be made
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_TEMPORARY_FOLDER_H_
