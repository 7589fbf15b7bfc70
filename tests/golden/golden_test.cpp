// SPDX-License-Identifier: MIT
//
// What a source becomes, and what a file shows, is the same for every compiler,
// processor, vector level and number of threads, and from one version to the next.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "golden/golden_cases.h"
#include "golden/golden_levels.h"
#include "support/temporary_folder.h"

namespace qolm::golden {

// What CTest shows behind the name of a test.
static void PrintTo(const Case& golden_case, std::ostream* out) {
  *out << golden_case.frames << " frames of " << golden_case.width << 'x' << golden_case.height;
}
static void PrintTo(const Expected& expected, std::ostream* out) {
  *out << expected.decoded.frames << " frames";
}

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

class GoldenCase : public testing::TestWithParam<Case> {};

TEST_P(GoldenCase, GivesItsBytesPicturesAndSound) {
  const std::vector<Expected> list = ReadList(kFolder / "hashes.txt");
  const Expected* const expected = Find(list, GetParam().name);
  ASSERT_NE(expected, nullptr);
  const test::TemporaryFolder folder;
  const std::filesystem::path path = folder / "golden.qolm";
  const Source source = MakeSource(GetParam());
  AtEachLevel(MayUseWorkers(GetParam()), [&](const std::string& where) {
    if (HasFailure()) return;
    SCOPED_TRACE(where);
    WriteCase(GetParam(), source, path);
    EXPECT_EQ(Line(Measure(GetParam().name, path)), Line(*expected));
  });
}

INSTANTIATE_TEST_SUITE_P(Cases, GoldenCase, testing::ValuesIn(AllCases()),
                         [](const auto& info) { return info.param.name; });

class GoldenFile : public testing::TestWithParam<Expected> {};

TEST_P(GoldenFile, DecodesAsEver) {
  const std::string name = GetParam().name;
  AtEachLevel(true, [&](const std::string& where) {
    SCOPED_TRACE(where);
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
