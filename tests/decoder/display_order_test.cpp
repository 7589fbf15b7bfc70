// SPDX-License-Identifier: MIT
#include "decoder/display_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "support/stored_order_model.h"

namespace qolm::decoder {
namespace {

using container::RecordHeader;
using container::RecordType;
using test::FrameKind;
using test::StoredOrderModel;
using testing::ElementsAre;
using Mode = DisplayOrder::Mode;

RecordHeader KeyFrame(uint16_t number) {
  return {.type = RecordType::kKeyFrame, .frame_no = number};
}
RecordHeader Predicted(uint16_t number) {
  return {.type = RecordType::kPredictedFrame, .frame_no = number};
}
RecordHeader Bidirectional(uint16_t number) {
  return {.type = RecordType::kBidirectionalFrame, .frame_no = number};
}
RecordHeader Repeat(uint16_t number, uint8_t count) {
  return {.type = RecordType::kRepeatRun, .count = count, .frame_no = number};
}

struct Shown {
  std::vector<size_t> pictures;  // for each frame the record of its picture, counted from 1
  std::vector<size_t> taken;     // the pictures' records in the order that they came out
  bool stored_order = false;     // at the end of the records
  size_t most_waiting = 0;
};

// Adds the records as a decoder does: the next one only when no item is available.
Shown Show(const std::vector<RecordHeader>& records, DisplayOrder order, uint64_t plane_bytes = 1) {
  Shown shown;
  const auto take_all = [&] {
    DisplayItem item;
    while (order.take(item)) {
      if (item.type == RecordType::kRepeatRun) {
        EXPECT_EQ(item.picture.id, 0U);
        const size_t before = shown.pictures.empty() ? 0 : shown.pictures.back();
        shown.pictures.insert(shown.pictures.end(), static_cast<size_t>(item.frames), before);
      } else {
        EXPECT_EQ(item.frames, 1);
        shown.pictures.push_back(item.picture.id);
        shown.taken.push_back(item.picture.id);
      }
    }
  };
  for (size_t i = 0; i < records.size(); ++i) {
    const bool repeats = records[i].type == RecordType::kRepeatRun;
    order.add(records[i], {nullptr, repeats ? 0 : i + 1}, repeats ? 0 : plane_bytes);
    take_all();
    shown.most_waiting = std::max(shown.most_waiting, order.pending().size());
  }
  shown.stored_order = order.mode() != Mode::kByNumber;
  order.release();
  take_all();
  EXPECT_TRUE(order.pending().empty());
  return shown;
}

Shown ShowByNumber(const std::vector<RecordHeader>& records) {
  return Show(records, DisplayOrder(Mode::kByNumber, 0));
}

TEST(DisplayOrderTest, HeldFramePrecedesItsAnchor) {
  const Shown shown =
      ShowByNumber({KeyFrame(0), Predicted(2), Bidirectional(1), Predicted(3), KeyFrame(4)});
  EXPECT_THAT(shown.pictures, ElementsAre(1, 3, 2, 4, 5));
  EXPECT_FALSE(shown.stored_order);
  EXPECT_EQ(shown.most_waiting, 1U);
}

TEST(DisplayOrderTest, RunStoredBeforeItsPictureRepeatsIt) {
  const Shown shown =
      ShowByNumber({KeyFrame(0), Repeat(2, 4), Predicted(6), Bidirectional(1), Repeat(7, 1)});
  EXPECT_THAT(shown.pictures, ElementsAre(1, 4, 4, 4, 4, 4, 3, 3));
  EXPECT_FALSE(shown.stored_order);
}

TEST(DisplayOrderTest, HeldFrameIsFlushedBeforeAKeyFrameAndBeforeTheLastRun) {
  const Shown shown = ShowByNumber({KeyFrame(0), Repeat(2, 3), Predicted(1), KeyFrame(5),
                                    Repeat(7, 250), Predicted(6), Repeat(257, 2)});
  std::vector<size_t> expected = {1, 3, 3, 3, 3, 4};
  expected.insert(expected.end(), 253, 6);
  EXPECT_EQ(shown.pictures, expected);
  EXPECT_FALSE(shown.stored_order);
}

TEST(DisplayOrderTest, ConsecutiveRunsMergeAcrossWraps) {
  StoredOrderModel model;
  for (const FrameKind kind : {FrameKind::kKey, FrameKind::kChanged}) model.frame(kind);
  for (int i = 0; i < 200'000; ++i) model.frame(FrameKind::kStatic);
  model.frame(FrameKind::kChanged);
  model.frame(FrameKind::kChanged);
  model.finish();
  const Shown shown = ShowByNumber(model.records());
  EXPECT_EQ(shown.pictures, model.shown_record());
  EXPECT_FALSE(shown.stored_order);
  EXPECT_EQ(shown.most_waiting, 2U);
}

// The held frame is frame 1, and the next anchor has the same stored number.
TEST(DisplayOrderTest, AmbiguousRunLengthSwapsOnlyItsTwoPictures) {
  for (const int length : {65534, 65535, 65536, 131070, 131071, 131072}) {
    StoredOrderModel model;
    for (const FrameKind kind : {FrameKind::kKey, FrameKind::kChanged}) model.frame(kind);
    for (int i = 0; i < length; ++i) model.frame(FrameKind::kStatic);
    for (int i = 0; i < 4; ++i) model.frame(FrameKind::kChanged);
    model.finish();
    std::vector<size_t> expected = model.shown_record();
    if (length % 65536 == 65535) {
      const size_t held = expected[1];
      const auto anchor = expected.begin() + 2 + length;
      std::fill(expected.begin() + 1, anchor, *anchor);
      *anchor = held;
    }
    const Shown shown = ShowByNumber(model.records());
    EXPECT_EQ(shown.pictures, expected) << length;
    EXPECT_FALSE(shown.stored_order) << length;
  }
}

// Every file of a session is shown in source order, for any sequence of frames and any
// position at which the numbers wrap.
class SessionOrderTest : public testing::TestWithParam<std::tuple<unsigned, int, int>> {};

TEST_P(SessionOrderTest, DisplayOrderMatchesSourceOrder) {
  const auto [seed, static_percent, key_percent] = GetParam();
  std::mt19937 random(seed);
  StoredOrderModel model;
  while (model.shown_record().size() < 140'000) {
    const auto dice = static_cast<int>(random() % 100);
    if (dice < static_percent) {
      // Runs of every length around the limits of one record.
      const auto length = random() % 20 == 0 ? random() % 1000 : 1 + random() % 4;
      for (auto i = length; i > 0; --i) model.frame(FrameKind::kStatic);
    } else {
      const bool key = static_cast<int>(random() % 100) < key_percent;
      model.frame(key ? FrameKind::kKey : FrameKind::kChanged);
    }
  }
  model.finish();
  const Shown shown = ShowByNumber(model.records());
  EXPECT_EQ(shown.pictures, model.shown_record());
  EXPECT_FALSE(shown.stored_order);
  EXPECT_LE(shown.most_waiting, 2U);
}

INSTANTIATE_TEST_SUITE_P(Patterns, SessionOrderTest,
                         testing::Combine(testing::Range(1U, 5U), testing::Values(0, 30, 70, 95),
                                          testing::Values(0, 2, 40)));

// The wrap in the middle of a run, a pair and a flush: every shift of a short
// pattern against it.
TEST(DisplayOrderTest, NumbersMayWrapAnywhere) {
  constexpr size_t kWrap = 65536;
  for (size_t lead = kWrap - 12; lead <= kWrap; ++lead) {
    StoredOrderModel model(true);
    model.frame(FrameKind::kKey);
    while (model.shown_record().size() + 1 < lead) model.frame(FrameKind::kStatic);
    model.frame(FrameKind::kKey);
    for (const char kind : std::string("csscckcssscksckcss")) {
      model.frame(kind == 's'   ? FrameKind::kStatic
                  : kind == 'c' ? FrameKind::kChanged
                                : FrameKind::kKey);
    }
    model.finish();
    const Shown shown = ShowByNumber(model.records());
    ASSERT_EQ(shown.pictures, model.shown_record()) << lead;
    ASSERT_FALSE(shown.stored_order) << lead;
  }
}

TEST(DisplayOrderTest, SessionWithoutHeldFramesIsInStoredOrder) {
  StoredOrderModel model(false);
  std::mt19937 random(7);
  for (int i = 0; i < 70'000; ++i) {
    model.frame(random() % 3 == 0 ? FrameKind::kChanged : FrameKind::kStatic);
  }
  model.finish();
  for (const auto& order : {DisplayOrder(Mode::kByNumber, 0), DisplayOrder(Mode::kStored, 0)}) {
    const Shown shown = Show(model.records(), order);
    EXPECT_EQ(shown.pictures, model.shown_record());
    EXPECT_EQ(shown.most_waiting, 0U);
  }
}

TEST(DisplayOrderTest, StoredOrderIgnoresNumbers) {
  const Shown shown =
      Show({KeyFrame(7), Repeat(0, 2), Predicted(7), Repeat(9, 0)}, DisplayOrder(Mode::kStored, 0));
  EXPECT_THAT(shown.pictures, ElementsAre(1, 1, 1, 3, 3));
}

TEST(DisplayOrderTest, InitialFrameNumberIsArbitrary) {
  const Shown shown =
      Show({KeyFrame(65535), Predicted(1), Bidirectional(0)}, DisplayOrder(Mode::kByNumber, 65535));
  EXPECT_THAT(shown.pictures, ElementsAre(1, 3, 2));
  EXPECT_FALSE(shown.stored_order);
}

// --- inconsistent numbers ---

TEST(DisplayOrderTest, RepeatedNumberSwitchesToStoredOrder) {
  const Shown shown = ShowByNumber({KeyFrame(0), Predicted(0), Predicted(2), Bidirectional(1)});
  EXPECT_THAT(shown.pictures, ElementsAre(1, 2, 3, 4));
  EXPECT_TRUE(shown.stored_order);
}

TEST(DisplayOrderTest, PendingItemsPrecedeStoredOrder) {
  const Shown shown = ShowByNumber(
      {KeyFrame(0), Predicted(6), Predicted(4), Repeat(2, 2), Predicted(4), Predicted(1)});
  EXPECT_THAT(shown.pictures, ElementsAre(1, 1, 1, 3, 2, 5, 6));
  EXPECT_TRUE(shown.stored_order);
}

TEST(DisplayOrderTest, OverlappingRunSwitchesToStoredOrder) {
  EXPECT_TRUE(ShowByNumber({KeyFrame(0), Predicted(3), Repeat(2, 2)}).stored_order);
  EXPECT_TRUE(ShowByNumber({KeyFrame(0), Repeat(2, 2), Predicted(3)}).stored_order);
  EXPECT_FALSE(ShowByNumber({KeyFrame(0), Predicted(3), Repeat(2, 1)}).stored_order);
}

TEST(DisplayOrderTest, EmptyRunShowsOneFrameInStoredOrder) {
  const Shown shown = ShowByNumber({KeyFrame(0), Repeat(1, 0), Predicted(1)});
  EXPECT_THAT(shown.pictures, ElementsAre(1, 1, 3));
  EXPECT_TRUE(shown.stored_order);
}

TEST(DisplayOrderTest, AtMostEightRecordsArePending) {
  std::vector<RecordHeader> records = {KeyFrame(0)};
  for (uint16_t number = 9; number > 1; --number) records.push_back(Predicted(number));
  records.push_back(Predicted(1));
  const Shown eight = ShowByNumber(records);
  EXPECT_THAT(eight.pictures, ElementsAre(1, 10, 9, 8, 7, 6, 5, 4, 3, 2));
  EXPECT_FALSE(eight.stored_order);
  EXPECT_EQ(eight.most_waiting, 8U);

  records.insert(records.begin() + 1, Predicted(11));
  const Shown nine = ShowByNumber(records);
  EXPECT_THAT(nine.pictures, ElementsAre(1, 9, 8, 7, 6, 5, 4, 3, 2, 10, 11));
  EXPECT_TRUE(nine.stored_order);
}

TEST(DisplayOrderTest, PendingPicturesAreLimitedInBytes) {
  const std::vector<RecordHeader> records = {KeyFrame(0),  Predicted(4),     Repeat(3, 1),
                                             Predicted(2), Bidirectional(1), KeyFrame(5)};
  const auto show = [&](uint64_t plane_bytes) {
    return Show(records, DisplayOrder(Mode::kByNumber, 0), plane_bytes);
  };
  const Shown two = show(DisplayOrder::kMaxPendingPlaneBytes / 2);
  EXPECT_THAT(two.pictures, ElementsAre(1, 5, 4, 4, 2, 6));
  EXPECT_EQ(two.most_waiting, 3U);
  // The second picture switches to stored order until the key frame.
  const Shown one = show(DisplayOrder::kMaxPendingPlaneBytes / 2 + 1);
  EXPECT_THAT(one.pictures, ElementsAre(1, 1, 2, 4, 5, 6));
  EXPECT_EQ(one.most_waiting, 2U);

  const Shown pair = Show({KeyFrame(0), Repeat(2, 4), Predicted(6), Bidirectional(1)},
                          DisplayOrder(Mode::kByNumber, 0), uint64_t{1} << 40);
  EXPECT_THAT(pair.pictures, ElementsAre(1, 4, 4, 4, 4, 4, 3));
  EXPECT_FALSE(pair.stored_order);
}

TEST(DisplayOrderTest, MatchingKeyFrameRestoresNumberOrder) {
  std::vector<RecordHeader> records = {KeyFrame(0),  Predicted(2),     Bidirectional(9),
                                       Predicted(4), Bidirectional(3), KeyFrame(5),
                                       Predicted(7), Bidirectional(6)};
  records[2].frame_no = 0;  // a bit of 1 lost: shown already
  const Shown shown = ShowByNumber(records);
  EXPECT_THAT(shown.pictures, ElementsAre(1, 2, 3, 4, 5, 6, 8, 7));
  EXPECT_FALSE(shown.stored_order);

  records[5].frame_no = 4;  // not the number that it must have
  const Shown lost = ShowByNumber(records);
  EXPECT_THAT(lost.pictures, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_TRUE(lost.stored_order);

  records[5] = Predicted(5);  // only after a key frame are all following records shown later
  EXPECT_TRUE(ShowByNumber(records).stored_order);
}

TEST(DisplayOrderTest, LostFramesKeepStoredOrderToTheEnd) {
  const Shown shown =
      ShowByNumber({KeyFrame(0), Predicted(1), Predicted(1), KeyFrame(4), Predicted(6),
                    Bidirectional(5), KeyFrame(7), Predicted(9), Bidirectional(8)});
  EXPECT_THAT(shown.pictures, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
  EXPECT_TRUE(shown.stored_order);
}

// A single flipped bit affects at most the order of the frames up to the key frame after
// the pending ones.
TEST(DisplayOrderTest, DamagedNumberAffectsFewFrames) {
  StoredOrderModel model;
  for (int i = 0; i < 120; ++i) {
    model.frame(i % 12 == 0 ? FrameKind::kKey
                : i % 5 < 2 ? FrameKind::kStatic
                            : FrameKind::kChanged);
  }
  model.finish();
  const std::vector<RecordHeader>& records = model.records();
  const std::vector<size_t>& expected = model.shown_record();
  for (size_t record = 0; record < records.size(); ++record) {
    for (int bit = 0; bit < 16; ++bit) {
      std::vector<RecordHeader> flipped = records;
      flipped[record].frame_no = static_cast<uint16_t>(flipped[record].frame_no ^ 1U << bit);
      const Shown shown = ShowByNumber(flipped);
      ASSERT_EQ(shown.pictures.size(), expected.size());
      const size_t intact_from = records[record].frame_no + size_t{36};
      for (size_t frame = intact_from; frame < expected.size(); ++frame) {
        ASSERT_EQ(shown.pictures[frame], expected[frame]) << record << " " << bit << " " << frame;
      }
    }
  }
}

TEST(DisplayOrderTest, FrameCountMayExceed16Bits) {
  StoredOrderModel model;
  for (int i = 0; i < 70'000; ++i) {
    model.frame(i % 7 == 0 && i > 69'000 ? FrameKind::kKey
                : i % 3 == 0             ? FrameKind::kChanged
                                         : FrameKind::kStatic);
  }
  model.finish();
  std::vector<RecordHeader> records = model.records();
  records[1].frame_no = 0;
  const Shown shown = ShowByNumber(records);
  EXPECT_FALSE(shown.stored_order);
  EXPECT_TRUE(std::equal(shown.pictures.end() - 900, shown.pictures.end(),
                         model.shown_record().end() - 900));
}

TEST(DisplayOrderTest, LostFrameDoesNotDropOthers) {
  const Shown shown = ShowByNumber({KeyFrame(0), Predicted(2), Repeat(3, 2), Predicted(5)});
  EXPECT_THAT(shown.pictures, ElementsAre(1, 2, 2, 2, 4));
}

TEST(DisplayOrderTest, InconsistentNumbersShowEveryRecordOnce) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    // From random to almost consistent numbers.
    const unsigned spread = 1U << (seed % 17);
    std::vector<RecordHeader> records;
    size_t frames = 0;
    size_t pictures = 0;
    for (int i = 0; i < 200; ++i) {
      const auto number = static_cast<uint16_t>(frames + random() % spread);
      if (random() % 4 == 0) {
        records.push_back(Repeat(number, static_cast<uint8_t>(random() % 6)));
        frames += std::max<size_t>(records.back().count, 1);
      } else {
        records.push_back(random() % 2 == 0 ? Predicted(number) : Bidirectional(number));
        ++frames;
        ++pictures;
      }
    }
    const Shown shown = ShowByNumber(records);
    ASSERT_EQ(shown.pictures.size(), frames) << seed;
    std::vector<size_t> taken = shown.taken;
    ASSERT_EQ(taken.size(), pictures) << seed;
    std::sort(taken.begin(), taken.end());
    ASSERT_EQ(std::adjacent_find(taken.begin(), taken.end()), taken.end()) << seed;
    ASSERT_LE(shown.most_waiting, DisplayOrder::kMaxPending) << seed;
  }
}

}  // namespace
}  // namespace qolm::decoder
