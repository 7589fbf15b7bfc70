// SPDX-License-Identifier: MIT
//
// The fuzz targets: each takes any bytes, runs one part of the system over them
// and checks what must hold whatever they are. A target that gets bytes which
// would cost more than a moment returns early.
//
// The target `KeyFrame` is called key_frame outside C++: in the fuzzer's name
// fuzz_key_frame, in the folder of its seeds and in the names of the files of
// tests/corrupt/, which are <fault>.<target>.
#ifndef QOLM_TESTS_FUZZ_TARGETS_H_
#define QOLM_TESTS_FUZZ_TARGETS_H_

#include <cstdint>
#include <span>
#include <string_view>

namespace qolm::fuzz {

using Input = std::span<const uint8_t>;

// Any bytes as a plain rANS stream, and coded as one.
void Rans(Input input);
// Any bytes as a stored frequency table, and as counts to make one of.
void FrequencyTable(Input input);
// Any bytes as five context streams, and coded as such.
void ContextRans(Input input);
// A count of values (u16, below 8192), then tokens.
void CoefficientTokens(Input input);
// A count of values (u16, below 8192), then tokens inside a context stream.
void CoefficientStream(Input input);

// A byte of flags, then a payload. The pictures that it refers to are made here,
// of the size that the payload states.
void KeyFrame(Input input);
void PredictedFrame(Input input);
void BidirectionalFrame(Input input);

// A payload of one sound coder.
void AdpcmAudio(Input input);
void TransformAudio(Input input);

// A whole file: reader, decoder, sound and seeks. The second takes pictures of
// any size and is slow.
void File(Input input);
void LargeFile(Input input);

// A script of settings, pictures and sound, encoded and decoded again.
void RoundTrip(Input input);

// Arguments that end with a zero byte each.
void EncodeOptions(Input input);
void ExportOptions(Input input);

// A script of what a media framework answers.
void VideoSource(Input input);
void AudioSource(Input input);
// What FFmpeg says of a source's rate, durations and time stamps; only in builds with
// its libraries.
void Source(Input input);
// What a media type says of a picture's place in a buffer.
void RowLayout(Input input);

struct Target {
  std::string_view name;
  void (*run)(Input input);
};

std::span<const Target> AllTargets();

}  // namespace qolm::fuzz

#endif  // QOLM_TESTS_FUZZ_TARGETS_H_
