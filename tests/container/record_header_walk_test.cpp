// SPDX-License-Identifier: MIT
#include "container/record_header_walk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <vector>

#include "container/input_file.h"
#include "container/layout.h"
#include "support/container_file.h"
#include "support/temporary_folder.h"

namespace qolm::container {
namespace {

// Headers of which some or all bytes lie behind what was read at once for the one before.
TEST(RecordHeaderWalk, AHeaderThatStartsInWhatWasReadMayEndBehindIt) {
  constexpr size_t kReadAtOnce = size_t{64} << 10;
  std::vector<uint8_t> bytes(3 * kReadAtOnce);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(1 + i * 37 % 251);
  const test::TemporaryFolder folder;
  test::WriteBytes(folder / "in", bytes);
  InputFile file;
  ASSERT_TRUE(file.open(folder / "in"));
  for (size_t offset = kReadAtOnce - 12; offset <= kReadAtOnce + 4; ++offset) {
    RecordHeaderWalk walk(file);
    RecordHeader header;
    ASSERT_TRUE(walk.read(0, header));
    ASSERT_TRUE(walk.read(offset, header));
    const std::span<const uint8_t> stored = std::span<const uint8_t>(bytes).subspan(offset);
    EXPECT_EQ(header, DecodeRecordHeader(stored.first<kRecordHeaderBytes>())) << offset;
  }
}

}  // namespace
}  // namespace qolm::container
