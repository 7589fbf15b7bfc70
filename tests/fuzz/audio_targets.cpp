// SPDX-License-Identifier: MIT
#include <algorithm>
#include <vector>

#include "audio/adpcm_payload.h"
#include "audio/audio_coder.h"
#include "audio/pcm_track.h"
#include "audio/transform_payload.h"
#include "base/byte_order.h"
#include "fuzz/require.h"
#include "fuzz/scalar_level.h"
#include "fuzz/targets.h"

namespace qolm::fuzz {
namespace {

constexpr uint64_t kMostValues = 1 << 15;
// The transform's work grows with the square of the rate.
constexpr uint32_t kHighestRate = 48000;  // Hz

bool SameSound(const PcmTrack& a, const PcmTrack& b) {
  return a.sample_rate == b.sample_rate && a.channels == b.channels && a.samples == b.samples;
}

using DecodeInto = bool (*)(Input payload, uint64_t max_values, audio::SampleSink& sink);
using Decode = bool (*)(Input payload, uint64_t max_values, PcmTrack& track);

// The same where the samples are kept and where they are only counted.
template <DecodeInto kDecode>
bool InTrack(Input payload, uint64_t max_values, PcmTrack& track) {
  AudioExtent extent{track.sample_rate, track.channels, track.samples.size()};
  audio::SampleSink counted(extent);
  audio::SampleSink kept(track);
  const bool decoded = kDecode(payload, max_values, kept);
  QOLM_REQUIRE(kDecode(payload, max_values, counted) == decoded);
  QOLM_REQUIRE(counted.wasted_values() == kept.wasted_values());
  QOLM_REQUIRE(extent.values == track.samples.size());
  QOLM_REQUIRE(extent.sample_rate == track.sample_rate && extent.channels == track.channels);
  return decoded;
}

void CheckPayload(Input payload, Decode decode, audio::AudioCodingMode mode) {
  PcmTrack track;
  if (!decode(payload, kMostValues, track)) {
    QOLM_REQUIRE(SameSound(track, PcmTrack{}));
    return;
  }
  const uint64_t values = track.samples.size();
  QOLM_REQUIRE(values <= kMostValues);
  QOLM_REQUIRE(track.channels == 1 || track.channels == 2);
  QOLM_REQUIRE(track.sample_rate != 0);
  QOLM_REQUIRE(values % track.channels == 0);

  // The limit is kept to the value, and counts what the track held before.
  PcmTrack limited;
  if (values > 0) QOLM_REQUIRE(!decode(payload, values - 1, limited));
  QOLM_REQUIRE(SameSound(limited, PcmTrack{}));
  {
    const ScalarLevel scalar;
    QOLM_REQUIRE(decode(payload, values, limited));
  }
  QOLM_REQUIRE(SameSound(limited, track));
  if (values > 0) QOLM_REQUIRE(!decode(payload, 2 * values - 1, limited));
  QOLM_REQUIRE(SameSound(limited, track));
  QOLM_REQUIRE(decode(payload, 2 * values, limited));
  QOLM_REQUIRE(limited.samples.size() == 2 * values);
  const auto half = limited.samples.begin() + static_cast<ptrdiff_t>(values);
  QOLM_REQUIRE(std::equal(limited.samples.begin(), half, half));

  // The one door takes it too.
  PcmTrack by_tag;
  QOLM_REQUIRE(audio::DecodeAudio(payload, kMostValues, by_tag));
  QOLM_REQUIRE(SameSound(by_tag, track));

  // What was decoded can be coded again and keeps its length. One rate would
  // read as the other coder's tag.
  const bool can_be_coded = values > 0 && (mode == audio::AudioCodingMode::kTransform ||
                                           track.sample_rate != audio::kTransformTag);
  std::vector<uint8_t> coded;
  const audio::PcmView view{track.sample_rate, track.channels, track.samples};
  QOLM_REQUIRE(audio::EncodeAudio(view, mode, coded) == can_be_coded);
  if (!can_be_coded) return;
  PcmTrack again;
  QOLM_REQUIRE(audio::DecodeAudio(coded, values, again));
  QOLM_REQUIRE(again.samples.size() == values);
  QOLM_REQUIRE(again.sample_rate == track.sample_rate && again.channels == track.channels);
}

}  // namespace

void AdpcmAudio(Input input) {
  // Behind the one door this is the other coder's.
  if (input.size() >= 4 && LoadLe32(input.data()) == audio::kTransformTag) return;
  CheckPayload(input, InTrack<audio::DecodeAdpcmPayload>, audio::AudioCodingMode::kAdpcm);
}

void TransformAudio(Input input) {
  if (input.size() < audio::kTransformHeaderBytes) return;
  if (LoadLe32(input.data() + 4) > kHighestRate) return;
  CheckPayload(input, InTrack<audio::DecodeAudioTransform>, audio::AudioCodingMode::kTransform);
}

}  // namespace qolm::fuzz
