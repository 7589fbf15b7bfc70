// SPDX-License-Identifier: MIT
//
// Forms with audio: WAV, and picture and audio in one file.
#include <algorithm>
#include <memory>
#include <span>
#include <string>

#include "audio/pcm_track.h"
#include "container/layout.h"
#include "export/exporter.h"
#include "export/media_muxer.h"
#include "export/report_text.h"
#include "export/timeline.h"
#include "export/wav_writer.h"

namespace qolm::exporter {
namespace {

constexpr FrameRate kRateOfFilesWithout{25, 1};

// Passes the track on in pieces, each when its time comes.
class AudioFeed {
 public:
  AudioFeed(const PcmTrack& track, const FrameRate& rate, MediaMuxer& muxer)
      : track_(track), rate_(rate), muxer_(muxer) {
    if (HasAudio(track)) frames_ = track.samples.size() / track.channels;
  }

  // Writes all that starts no later than this video frame.
  [[nodiscard]] bool write_up_to(uint32_t frame) {
    if (frames_ == 0) return true;
    return write_until(SampleAtFrame(frame, rate_, track_.sample_rate));
  }

  [[nodiscard]] bool write_rest() { return write_until(frames_); }

 private:
  bool write_until(uint64_t last_start) {
    while (next_ < frames_ && next_ <= last_start) {
      const size_t count = std::min(muxer_.audio_chunk_samples(), frames_ - next_);
      if (!muxer_.write_audio(std::span(track_.samples)
                                  .subspan(next_ * track_.channels, count * track_.channels))) {
        return false;
      }
      next_ += count;
      if (next_ == frames_) return muxer_.end_audio();
    }
    return true;
  }

  const PcmTrack& track_;
  FrameRate rate_;
  MediaMuxer& muxer_;
  size_t frames_ = 0;  // samples per channel
  size_t next_ = 0;
};

}  // namespace

ExportOutcome ExportWav(ExportJob& job) {
  const PcmTrack& track = job.decoder.decode_audio();
  if (!HasAudio(track)) {
    const std::string damage = AudioDamageText(job.reader, track);
    return {.input_problem = damage.empty() ? "the file holds no sound" : damage};
  }
  if (!job.target.open() || !WriteWav(track, job.target) || !job.target.commit()) return {};
  const size_t frames = track.samples.size() / track.channels;
  return {.summary = std::to_string(frames) + (frames == 1 ? " sample, " : " samples, ") +
                     AudioText(track)};
}

ExportOutcome ExportMedia(ExportJob& job) {
  decoder::FrameDecoder& decoder = job.decoder;
  // Before the frames, which would otherwise collect the audio as they pass it.
  const PcmTrack& track = decoder.decode_audio();
  bool more = decoder.next_planes();
  if (!more) return {.input_problem = NoFrameText(job.reader, decoder.stream_end())};

  const container::FileHeader& header = job.reader.header();
  const bool rate_known = header.fps_num != 0 && header.fps_den != 0;
  MediaDescription description;
  description.form = job.form;
  description.width = decoder.planes().width;
  description.height = decoder.planes().height;
  description.rate = rate_known ? FrameRate{header.fps_num, header.fps_den} : kRateOfFilesWithout;
  if (HasAudio(track)) {
    description.sample_rate = track.sample_rate;
    description.channels = track.channels;
  }

  if (!job.target.open()) return {};
  ExportOutcome failure;
  const std::unique_ptr<MediaMuxer> muxer =
      StartMedia(description, job.target, failure.output_problem);
  if (!muxer) return failure;

  AudioFeed audio(track, description.rate, *muxer);
  uint32_t written = 0;
  std::string damage;
  for (; more; more = decoder.next_planes()) {
    const video::YuvPlanes& planes = decoder.planes();
    if (planes.width != description.width || planes.height != description.height) {
      damage = "the picture size changes at frame " + std::to_string(written) +
               ", which this form cannot show";
      break;
    }
    if (!audio.write_up_to(written) || !muxer->write_frame(planes)) {
      return {.output_problem = muxer->problem()};
    }
    ++written;
  }
  if (!audio.write_rest() || !muxer->finish()) return {.output_problem = muxer->problem()};
  if (!job.target.commit()) return {};
  if (damage.empty()) {
    damage = DamageText(job.reader, decoder.stream_end(), static_cast<int32_t>(written));
  }
  if (damage.empty()) damage = AudioDamageText(job.reader, track);

  ExportOutcome outcome;
  outcome.input_problem = damage;
  outcome.summary = FramesText(written) + ", " + SizeText(description.width, description.height);
  if (muxer->stored_width() != description.width || muxer->stored_height() != description.height) {
    outcome.summary += " stored as " + SizeText(muxer->stored_width(), muxer->stored_height());
  }
  if (!rate_known) outcome.summary += ", 25 frames a second since the file names no rate";
  outcome.summary += HasAudio(track) ? ", " + AudioText(track) : ", no sound";
  return outcome;
}

}  // namespace qolm::exporter
