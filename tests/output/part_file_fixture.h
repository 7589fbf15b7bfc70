// SPDX-License-Identifier: MIT
//
// An input, an output and the part file between them.
#ifndef QOLM_TESTS_OUTPUT_PART_FILE_FIXTURE_H_
#define QOLM_TESTS_OUTPUT_PART_FILE_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "output/part_file.h"
#include "own_kind.h"
#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::output {

namespace fs = std::filesystem;
using test::ReadFile;
using test::WriteFile;
using testing::ElementsAre;

class PartFileTest : public testing::Test {
 protected:
  PartFileTest() : input_(folder_ / "input"), output_(folder_ / "output") {
    WriteFile(input_, "the input");
    part_file_.emplace();
  }

  std::string Prepare() { return Prepare(*part_file_); }
  std::string Prepare(PartFile& part_file) {
    const std::error_code error = part_file.Prepare(output_, input_, policy_);
    return error ? error.message() : "";
  }
  void ExpectRefused(const std::string& reason) {
    EXPECT_EQ(Prepare(), reason);
    part_file_.reset();
  }
  fs::path Part() const { return output_.string() + ".part"; }

  // Names in the folder, sorted.
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  const test::TemporaryFolder folder_;
  const fs::path input_;
  fs::path output_;
  ReplacePolicy policy_ = {BeginsAsOwn};
  std::optional<PartFile> part_file_;
};

}  // namespace qolm::output

#endif  // QOLM_TESTS_OUTPUT_PART_FILE_FIXTURE_H_
