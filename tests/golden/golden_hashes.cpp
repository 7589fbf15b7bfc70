// Prints the hashes that tests/golden/ keeps, for renewing them.
//
//   golden_hashes                   of every case, as in hashes.txt
//   golden_hashes FILE.qolm...      of these files, as in files/hashes.txt
//   golden_hashes --keep CASE FILE  writes the file of a case
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "golden/golden_cases.h"
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

void Run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return PrintCases();
  if (arguments.size() == 3 && arguments[0] == "--keep") return Keep(arguments[1], arguments[2]);
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
