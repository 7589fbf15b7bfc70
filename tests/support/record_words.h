// SPDX-License-Identifier: MIT
//
// The media records of a file as one line of text.
#ifndef QOLM_TESTS_SUPPORT_RECORD_WORDS_H_
#define QOLM_TESTS_SUPPORT_RECORD_WORDS_H_

#include <gtest/gtest.h>

#include <string>

#include "container/container_reader.h"
#include "container/layout.h"

namespace qolm::test {

// One word for each record: type@number, or 5xcount@number.
inline std::string RecordWords(const container::ContainerReader& reader) {
  std::string words;
  for (const uint64_t offset : reader.index()) {
    container::RecordHeader record;
    EXPECT_TRUE(reader.read_record_header(offset, record));
    if (!words.empty()) words += ' ';
    words += std::to_string(static_cast<int>(record.type));
    if (record.type == container::RecordType::kRepeatRun) {
      words += "x" + std::to_string(record.count);
    }
    words += "@" + std::to_string(record.frame_no);
  }
  return words;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_RECORD_WORDS_H_
