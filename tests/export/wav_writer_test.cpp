// SPDX-License-Identifier: MIT
#include "export/wav_writer.h"

#include <gtest/gtest.h>

#include <string>

namespace qolm::exporter {
namespace {

std::string Text(const std::vector<uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

// A string whose bytes are all given, zeros too.
template <size_t size>
std::string Bytes(const char (&text)[size]) {
  return std::string(text, size - 1);
}

TEST(WavWriterTest, HeaderOfOneSecondInStereo) {
  EXPECT_EQ(Text(WavHeader(44100, 2, 44100)),
            Bytes("RIFF\x34\xB1\x02\x00WAVE"
                  "fmt \x10\x00\x00\x00\x01\x00\x02\x00\x44\xAC\x00\x00\x10\xB1\x02\x00\x04\x00"
                  "\x10\x00"
                  "data\x10\xB1\x02\x00"));
}

TEST(WavWriterTest, HeaderOfMonoWithoutSamples) {
  EXPECT_EQ(Text(WavHeader(8000, 1, 0)),
            Bytes("RIFF\x24\x00\x00\x00WAVE"
                  "fmt \x10\x00\x00\x00\x01\x00\x01\x00\x40\x1F\x00\x00\x80\x3E\x00\x00\x02\x00"
                  "\x10\x00"
                  "data\x00\x00\x00\x00"));
}

// 0xFFFFFFFF - 36 bytes of samples are the most that RIFF can count.
TEST(WavWriterTest, LongTracksGetTheWideHeader) {
  const std::string last_narrow = Text(WavHeader(48000, 1, 0x7FFFFFED));
  EXPECT_EQ(last_narrow.substr(0, 8), Bytes("RIFF\xFE\xFF\xFF\xFF"));
  EXPECT_EQ(last_narrow.substr(40), Bytes("\xDA\xFF\xFF\xFF"));
  EXPECT_EQ(Text(WavHeader(48000, 1, 0x7FFFFFEE)),
            Bytes("RF64\xFF\xFF\xFF\xFFWAVE"
                  "ds64\x1C\x00\x00\x00"
                  "\x24\x00\x00\x00\x01\x00\x00\x00"  // behind this field: 0x100000024 bytes
                  "\xDC\xFF\xFF\xFF\x00\x00\x00\x00"
                  "\xEE\xFF\xFF\x7F\x00\x00\x00\x00"
                  "\x00\x00\x00\x00"
                  "fmt \x10\x00\x00\x00\x01\x00\x01\x00\x80\xBB\x00\x00\x00\x77\x01\x00\x02\x00"
                  "\x10\x00"
                  "data\xFF\xFF\xFF\xFF"));
}

}  // namespace
}  // namespace qolm::exporter
