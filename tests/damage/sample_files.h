// SPDX-License-Identifier: MIT
//
// Three small files that the encoder makes, and what lies where in them.
#ifndef QOLM_TESTS_DAMAGE_SAMPLE_FILES_H_
#define QOLM_TESTS_DAMAGE_SAMPLE_FILES_H_

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

#include "container/layout.h"

namespace qolm::test {

enum class Sample {
  kFastStart,   // sound in a block, index in front
  kMonolithic,  // sound in a block, index at the end
  kHeldFrames,  // sound in pieces, bidirectional frames, index at the end
};

inline std::ostream& operator<<(std::ostream& out, Sample sample) {
  constexpr const char* kNames[] = {"FastStart", "Monolithic", "HeldFrames"};
  return out << kNames[static_cast<size_t>(sample)];
}

// A record with its header: bytes [begin, end) of the file.
struct Extent {
  size_t begin = 0;
  size_t end = 0;
  container::RecordType type{};
  uint32_t frames_before = 0;  // in the records before it
};

struct SampleFile {
  std::vector<uint8_t> bytes;
  std::vector<Extent> records;  // all, sound block and front index included
  size_t records_end = 0;       // where the trailing index begins, or the file ends
  size_t first_entry = 0;       // where the index entries begin
  uint32_t frames = 0;
};

SampleFile MakeSampleFile(Sample sample);

}  // namespace qolm::test

#endif  // QOLM_TESTS_DAMAGE_SAMPLE_FILES_H_
