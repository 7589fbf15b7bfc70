// SPDX-License-Identifier: MIT
#include "media/ffmpeg/audio_producer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace qolm::media::ffmpeg {
namespace {

// The most audio values of a QOLM file; bounds the inflation of small damaged sources.
constexpr double kMostValues = std::numeric_limits<int32_t>::max();
constexpr size_t kMostAhead = 128;        // pieces queued for a picture
constexpr int64_t kSilentFrames = 65536;  // delivered at once
// Shorter errors at either end of the track do not count as damage.
constexpr double kLeastDamageAtAnEnd = 0.5;  // seconds

}  // namespace

AudioProducer::AudioProducer(AudioDecoder& decoder, std::optional<double> picture_start,
                             int channels, int rate,
                             AudioTimeline::OriginBehindRestart origin_behind_restart)
    : decoder_(decoder),
      channels_(static_cast<size_t>(channels)),
      rate_(rate),
      timeline_(picture_start, decoder.time_unit(), decoder.clock(),
                std::move(origin_behind_restart)),
      most_silence_(kMostValues / channels / rate),
      converter_(channels, rate) {}

std::optional<std::vector<int16_t>> AudioProducer::Next() {
  while (true) {
    if (silence_left_ > 0) return TakeSilence();
    if (ended_) return std::nullopt;
    FillQueue();
    std::vector<int16_t> output;
    if (!heard_) {
      ended_ = true;
    } else if (queue_.empty()) {
      ended_ = true;
      CountDamage(kLeastDamageAtAnEnd);
      InsertSilence(0, output);
    } else if (const double silence = NextCorrection(); silence > 0) {
      InsertSilence(silence, output);
    } else {
      AudioPiece piece = std::move(queue_.front());
      queue_.pop_front();
      Play(std::move(piece), output);
    }
    if (!output.empty()) return output;
  }
}

// Also decodes far enough ahead to know whether there is any audio, and at first whether
// the picture's clock restarts where the audio begins.
void AudioProducer::FillQueue() {
  const auto is_short = [this] {
    return queue_.size() < AudioTimeline::kLookAhead ||
           (first_ && decoder_.awaits_picture() && queue_.size() < kMostAhead);
  };
  while (!decoder_ended_ && (is_short() || !heard_)) {
    std::optional<AudioPiece> piece = decoder_.Next();
    if (piece) {
      heard_ = heard_ || (piece->frame != nullptr &&
                          AudioConverter::CanMix(piece->frame->ch_layout.nb_channels));
      queue_.push_back(*std::move(piece));
      continue;
    }
    decoder_ended_ = true;
    // The codec pads its last packet; the container states how much of it is audio.
    if (queue_.empty() || queue_.back().frame == nullptr) break;
    AudioPiece& last = queue_.back();
    if (last.excess <= decoder_.time_unit() || last.excess >= last.duration) break;
    const AVFrame& frame = *last.frame;
    last.frame->nb_samples -= static_cast<int>(std::lround(last.excess * frame.sample_rate));
    last.duration = static_cast<double>(frame.nb_samples) / frame.sample_rate;
  }
}

// Seconds of silence to insert before the queue; sets the duration to cut.
double AudioProducer::NextCorrection() {
  if (cut_left_ > 0) return 0;
  std::array<AudioTimeline::Piece, AudioTimeline::kLookAhead> upcoming;
  const size_t count = std::min(queue_.size(), upcoming.size());
  for (size_t i = 0; i < count; ++i) {
    upcoming[i] = {queue_[i].time, queue_[i].duration, queue_[i].byte,
                   decoder_.picture_restarted()};
  }
  first_ = false;
  const double correction = timeline_.Correction({upcoming.data(), count});
  cut_left_ = std::max(0.0, -correction);
  return silence_inserted_ + correction > most_silence_ ? 0 : std::max(0.0, correction);
}

void AudioProducer::Play(AudioPiece piece, std::vector<int16_t>& output) {
  if (cut_left_ >= piece.duration) {
    cut_left_ -= piece.duration;
    return;
  }
  const double cut = std::exchange(cut_left_, 0);
  damage_pending_ += piece.lost_before;
  if (piece.damaged) {
    damage_pending_ += piece.duration - cut;
  } else {
    CountDamage(undamaged_played_ ? 0 : kLeastDamageAtAnEnd);
    undamaged_played_ = true;
  }
  if (piece.frame != nullptr) {
    const AVFrame& frame = *piece.frame;
    const int skipped = static_cast<int>(std::lround(cut * frame.sample_rate));
    if (skipped >= frame.nb_samples) return;
    if (converter_.Convert(frame, skipped, output)) {
      timeline_.Advance(static_cast<double>(frame.nb_samples - skipped) / frame.sample_rate);
      frames_delivered_ += static_cast<int64_t>(output.size() / channels_);
      return;
    }
    frames_delivered_ += static_cast<int64_t>(output.size() / channels_);
  }
  InsertSilence(piece.duration - cut, output);
}

// The pending damage; less than `least` seconds are ignored.
void AudioProducer::CountDamage(double least) {
  const double seconds = std::exchange(damage_pending_, 0);
  if (seconds >= least) damaged_seconds_ += seconds;
}

// Ends the audio so far at its exact length, then extends it.
void AudioProducer::InsertSilence(double seconds, std::vector<int16_t>& output) {
  std::vector<int16_t> tail;
  converter_.Flush(tail);
  const int64_t room = std::max<int64_t>(0, FramesDue() - frames_delivered_);
  tail.resize(std::min(tail.size(), static_cast<size_t>(room) * channels_));
  output.insert(output.end(), tail.begin(), tail.end());
  frames_delivered_ += static_cast<int64_t>(tail.size() / channels_);
  if (silence_inserted_ + seconds <= most_silence_) {
    silence_inserted_ += seconds;
    timeline_.Advance(seconds);
  }
  silence_left_ = std::max<int64_t>(0, FramesDue() - frames_delivered_);
}

// The sample frames of the track so far, from its whole length, so that rounding does not
// accumulate.
int64_t AudioProducer::FramesDue() const { return std::llround(timeline_.position() * rate_); }

std::vector<int16_t> AudioProducer::TakeSilence() {
  const int64_t frames = std::min(silence_left_, kSilentFrames);
  silence_left_ -= frames;
  frames_delivered_ += frames;
  return std::vector<int16_t>(static_cast<size_t>(frames) * channels_);
}

}  // namespace qolm::media::ffmpeg
