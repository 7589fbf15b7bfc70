// What a source becomes, and what a file shows, is the same for every compiler,
// processor, vector level and number of threads, and from one version to the next.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "base/team.h"
#include "golden/golden_cases.h"
#include "support/temporary_folder.h"
#include "support/thread_counts.h"
#include "video/kernel_levels.h"

namespace qolm::golden {
namespace {

const std::filesystem::path kFolder = QOLM_GOLDEN_FOLDER;

// Lists that cannot be read leave nothing to test, which EveryCaseHasItsHashes notices.
std::vector<Expected> ListOrNothing(const std::filesystem::path& path) {
  try {
    return ReadList(path);
  } catch (const std::exception&) {
    return {};
  }
}

const Expected* Find(const std::vector<Expected>& list, const std::string& name) {
  const auto found =
      std::find_if(list.begin(), list.end(), [&](const Expected& e) { return e.name == name; });
  return found == list.end() ? nullptr : &*found;
}

// Where nothing is worth a team, teams of any size do the same.
template <typename Work>
void AtEachLevel(bool with_each_team, const Work& work) {
  std::vector<int> sizes(std::begin(test::kTeamSizes), std::end(test::kTeamSizes));
  if (!with_each_team) sizes = {kTeamSize};
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced_level(level);
    for (const int members : sizes) {
      SCOPED_TRACE("level " + std::to_string(static_cast<int>(level)) + ", team of " +
                   std::to_string(members));
      const test::ScopedTeamSize forced_size(members);
      work();
      if (testing::Test::HasFailure()) return;
    }
  }
}

class GoldenCase : public testing::TestWithParam<Case> {};

TEST_P(GoldenCase, GivesItsBytesPicturesAndSound) {
  const std::vector<Expected> list = ReadList(kFolder / "hashes.txt");
  const Expected* const expected = Find(list, GetParam().name);
  ASSERT_NE(expected, nullptr);
  const test::TemporaryFolder folder;
  const std::filesystem::path path = folder / "golden.qolm";
  const Source source = MakeSource(GetParam());
  AtEachLevel(MayUseTeams(GetParam()), [&] {
    WriteCase(GetParam(), source, path);
    EXPECT_EQ(Line(Measure(GetParam().name, path)), Line(*expected));
  });
}

INSTANTIATE_TEST_SUITE_P(Cases, GoldenCase, testing::ValuesIn(AllCases()),
                         [](const auto& info) { return info.param.name; });

class GoldenFile : public testing::TestWithParam<Expected> {};

TEST_P(GoldenFile, DecodesAsEver) {
  const std::string name = GetParam().name;
  AtEachLevel(true, [&] {
    EXPECT_EQ(Line(Measure(name, kFolder / "files" / (name + ".qolm"))), Line(GetParam()));
  });
}

INSTANTIATE_TEST_SUITE_P(Files, GoldenFile,
                         testing::ValuesIn(ListOrNothing(kFolder / "files" / "hashes.txt")),
                         [](const auto& info) { return info.param.name; });

TEST(GoldenSet, EveryCaseHasItsHashes) {
  std::vector<std::string> cases;
  for (const Case& golden_case : AllCases()) cases.push_back(golden_case.name);
  std::vector<std::string> listed;
  for (const Expected& expected : ReadList(kFolder / "hashes.txt")) listed.push_back(expected.name);
  EXPECT_EQ(listed, cases);
  std::sort(cases.begin(), cases.end());
  EXPECT_EQ(std::adjacent_find(cases.begin(), cases.end()), cases.end());
}

TEST(GoldenSet, EveryFileHasItsHashes) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder / "files")) {
    if (entry.path().extension() == ".qolm") files.push_back(entry.path().stem().string());
  }
  std::vector<std::string> listed;
  for (const Expected& expected : ReadList(kFolder / "files" / "hashes.txt")) {
    listed.push_back(expected.name);
  }
  EXPECT_FALSE(files.empty());
  EXPECT_THAT(listed, testing::UnorderedElementsAreArray(files));
}

}  // namespace
}  // namespace qolm::golden
