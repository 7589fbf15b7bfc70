// SPDX-License-Identifier: MIT
//
// A directory of its own for a test, gone when the test ends.
#ifndef QOLM_TESTS_CLI_SCRATCH_DIRECTORY_H_
#define QOLM_TESTS_CLI_SCRATCH_DIRECTORY_H_

#include <string>

#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::cli {

using test::ReadFile;
using test::WriteFile;

// Names in it are UTF-8 bytes, as they go onto a command line.
class ScratchDirectory {
 public:
  std::string operator/(const std::string& name) const { return (folder_ / name).string(); }

 private:
  const test::TemporaryFolder folder_;
};

}  // namespace qolm::cli

#endif  // QOLM_TESTS_CLI_SCRATCH_DIRECTORY_H_
