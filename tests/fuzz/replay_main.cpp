// SPDX-License-Identifier: MIT
//
// Runs fuzz targets over kept inputs, without libFuzzer:
//
//   fuzz_replay [--target NAME] <file or folder>...
//
// A file without --target is an input of the target that its extension names,
// or else the folder that it lies in. The name of each file is printed before it
// runs, so the last one is the one that failed.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "fuzz/targets.h"
#include "support/container_file.h"

namespace {

using qolm::fuzz::Target;

const Target* FindTarget(const std::string& name) {
  for (const Target& target : qolm::fuzz::AllTargets()) {
    if (target.name == name) return &target;
  }
  return nullptr;
}

const Target* TargetOf(const std::filesystem::path& file) {
  const std::string extension = file.extension().string();
  const Target* target = extension.empty() ? nullptr : FindTarget(extension.substr(1));
  return target != nullptr ? target : FindTarget(file.parent_path().filename().string());
}

std::vector<std::filesystem::path> FilesIn(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

bool Replay(const std::filesystem::path& file, const Target* target) {
  if (target == nullptr) target = TargetOf(file);
  std::error_code error;
  const bool readable = std::filesystem::is_regular_file(file, error);
  if (target == nullptr || !readable) {
    std::fprintf(stderr, "fuzz_replay: %s: %s\n", file.string().c_str(),
                 readable ? "no target has this name" : "no such file");
    return false;
  }
  std::printf("%s\n", file.string().c_str());
  std::fflush(stdout);
  target->run(qolm::test::ReadBytes(file));
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  const Target* target = nullptr;
  if (arguments.size() >= 2 && arguments[0] == "--target") {
    target = FindTarget(arguments[1]);
    if (target == nullptr) {
      std::fprintf(stderr, "fuzz_replay: there is no target %s\n", arguments[1].c_str());
      return 1;
    }
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  size_t replayed = 0;
  for (const std::string& argument : arguments) {
    for (const std::filesystem::path& file : FilesIn(argument)) {
      if (!Replay(file, target)) return 1;
      ++replayed;
    }
  }
  std::printf("%zu inputs\n", replayed);
  return replayed > 0 ? 0 : 1;
}
