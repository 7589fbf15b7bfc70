// SPDX-License-Identifier: MIT
#include "base/byte_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qolm {
namespace {

using ::testing::ElementsAre;

constexpr uint8_t kBytes[] = {0x81, 0x92, 0xA3, 0xB4, 0xC5, 0xD6, 0xE7, 0xF8};

TEST(ByteOrder, LoadsLittleEndian) {
  EXPECT_EQ(LoadLe16(kBytes), 0x9281u);
  EXPECT_EQ(LoadLe32(kBytes), 0xB4A39281u);
  EXPECT_EQ(LoadLe64(kBytes), 0xF8E7D6C5B4A39281u);
}

TEST(ByteOrder, LoadsFromUnalignedAddress) {
  EXPECT_EQ(LoadLe16(kBytes + 1), 0xA392u);
  EXPECT_EQ(LoadLe32(kBytes + 3), 0xE7D6C5B4u);
}

TEST(ByteOrder, StoresLittleEndianWithinBounds) {
  std::vector<uint8_t> bytes(10, 0);
  StoreLe16(bytes.data() + 1, 0x9281);
  EXPECT_THAT(bytes, ElementsAre(0, 0x81, 0x92, 0, 0, 0, 0, 0, 0, 0));
  StoreLe32(bytes.data() + 1, 0xB4A39281u);
  EXPECT_THAT(bytes, ElementsAre(0, 0x81, 0x92, 0xA3, 0xB4, 0, 0, 0, 0, 0));
  StoreLe64(bytes.data() + 1, 0xF8E7D6C5B4A39281u);
  EXPECT_THAT(bytes, ElementsAre(0, 0x81, 0x92, 0xA3, 0xB4, 0xC5, 0xD6, 0xE7, 0xF8, 0));
}

TEST(ByteOrder, AppendsAfterExistingBytes) {
  std::vector<uint8_t> bytes = {7};
  AppendLe16(bytes, 0x9281);
  AppendLe32(bytes, 0xB4A39281u);
  EXPECT_THAT(bytes, ElementsAre(7, 0x81, 0x92, 0x81, 0x92, 0xA3, 0xB4));
}

}  // namespace
}  // namespace qolm
