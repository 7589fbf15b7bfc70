// SPDX-License-Identifier: MIT
//
// Prints the hashes that tests/golden/ keeps, for renewing them, or holds this
// build to them.
//
//   golden_hashes                   of every case, as in hashes.txt
//   golden_hashes FILE.qolm...      of these files, as in files/hashes.txt
//   golden_hashes --keep CASE FILE  writes the file of a case
//   golden_hashes --check FOLDER    compares all cases and files with the lists in
//                                   FOLDER, at every vector level, with every number of workers
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "golden/golden_cases.h"
#include "golden/golden_levels.h"
#include "support/temporary_folder.h"

namespace qolm::golden {
namespace {

void PrintLine(const std::string& name, const std::filesystem::path& path) {
  std::printf("%s\n", Line(Measure(name, path)).c_str());
}

void PrintCases() {
  const test::TemporaryFolder folder;
  const std::filesystem::path path = folder / "golden.qolm";
  for (const Case& golden_case : AllCases()) {
    WriteCase(golden_case, MakeSource(golden_case), path);
    PrintLine(golden_case.name, path);
  }
}

void Keep(const std::string& name, const std::filesystem::path& path) {
  for (const Case& golden_case : AllCases()) {
    if (golden_case.name == name) return WriteCase(golden_case, MakeSource(golden_case), path);
  }
  throw std::runtime_error("no case is called " + name);
}

class Checker {
 public:
  void Compare(const Expected& expected, const std::filesystem::path& path,
               const std::string& where) {
    ++compared_;
    const std::string measured = Line(Measure(expected.name, path));
    if (measured == Line(expected)) return;
    ++different_;
    std::printf("%s:\n  expected %s\n  found    %s\n", where.c_str(), Line(expected).c_str(),
                measured.c_str());
  }

  void Finish() const {
    std::printf("%d of %d differ\n", different_, compared_);
    if (different_ > 0 || compared_ == 0) throw std::runtime_error("not the same bits");
  }

 private:
  int compared_ = 0;
  int different_ = 0;
};

void Check(const std::filesystem::path& golden) {
  Checker checker;
  const std::vector<Expected> list = ReadList(golden / "hashes.txt");
  const test::TemporaryFolder folder;
  const std::filesystem::path path = folder / "golden.qolm";
  for (const Case& golden_case : AllCases()) {
    const Expected* const expected = Find(list, golden_case.name);
    if (expected == nullptr) throw std::runtime_error(golden_case.name + " has no hashes");
    const Source source = MakeSource(golden_case);
    AtEachLevel(MayUseWorkers(golden_case), [&](const std::string& where) {
      WriteCase(golden_case, source, path);
      checker.Compare(*expected, path, where);
    });
  }
  for (const Expected& expected : ReadList(golden / "files" / "hashes.txt")) {
    AtEachLevel(true, [&](const std::string& where) {
      checker.Compare(expected, golden / "files" / (expected.name + ".qolm"), where);
    });
  }
  checker.Finish();
}

void Run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return PrintCases();
  if (arguments.size() == 3 && arguments[0] == "--keep") return Keep(arguments[1], arguments[2]);
  if (arguments.size() == 2 && arguments[0] == "--check") return Check(arguments[1]);
  for (const std::filesystem::path path : arguments) PrintLine(path.stem().string(), path);
}

}  // namespace
}  // namespace qolm::golden

int main(int argc, char** argv) {
  try {
    qolm::golden::Run({argv + 1, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "golden_hashes: %s\n", error.what());
    return 1;
  }
}
