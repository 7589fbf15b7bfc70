// SPDX-License-Identifier: MIT
//
// An input and an output that shall be judged.
#ifndef QOLM_TESTS_OUTPUT_OUTPUT_PATH_FIXTURE_H_
#define QOLM_TESTS_OUTPUT_OUTPUT_PATH_FIXTURE_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "output/output_path.h"
#include "own_kind.h"
#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::output {

namespace fs = std::filesystem;
using test::WriteFile;

class OutputPathTest : public testing::Test {
 protected:
  OutputPathTest() : input_(folder_ / "input"), output_(folder_ / "output") {
    WriteFile(input_, "the input");
  }

  std::error_code Judge() { return ValidateOutputPath(output_, input_, policy_, judged_); }
  std::string Refusal() { return Judge().message(); }
  void ExpectAccepted() {
    const std::error_code refusal = Judge();
    EXPECT_FALSE(refusal) << refusal.message();
  }
  fs::path Part() const { return output_.string() + ".part"; }

  const test::TemporaryFolder folder_;
  const fs::path input_;
  fs::path output_;
  ReplacePolicy policy_ = {BeginsAsOwn};
  OutputPath judged_;
};

}  // namespace qolm::output

#endif  // QOLM_TESTS_OUTPUT_OUTPUT_PATH_FIXTURE_H_
