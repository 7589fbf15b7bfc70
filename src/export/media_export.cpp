#include "export/media_export.h"

#include <algorithm>
#include <memory>
#include <span>
#include <string>

#include "audio/pcm_track.h"
#include "base/path_bytes.h"
#include "container/layout.h"
#include "export/export_report.h"
#include "export/form_signature.h"
#include "export/media_muxer.h"
#include "export/output_target.h"
#include "export/timeline.h"
#include "export/wav_writer.h"

namespace qolm::exporter {
namespace {

constexpr FrameRate kRateOfFilesWithout{25, 1};

bool HasSound(const PcmTrack& track) {
  return track.channels != 0 && track.sample_rate != 0 && track.samples.size() >= track.channels;
}

// A header names the channels of a file with sound.
bool SoundIsDamaged(const PcmTrack& track, const container::ContainerReader& reader) {
  return reader.header().audio_channels != 0 && !HasSound(track);
}

constexpr const char* kSoundDamaged = "the sound cannot be decoded";

std::string SoundText(const PcmTrack& track) {
  return std::to_string(track.sample_rate) + " Hz " + (track.channels == 1 ? "mono" : "stereo");
}

MediaForm MediaFormOf(Form form) {
  switch (form) {
    case Form::kMp4:
      return MediaForm::kMp4;
    case Form::kNut:
      return MediaForm::kNut;
    case Form::kPipe:
      return MediaForm::kPipe;
    default:
      return MediaForm::kMatroska;
  }
}

// Hands the track on in pieces, each when its time comes.
class SoundFeed {
 public:
  SoundFeed(const PcmTrack& track, const FrameRate& rate, MediaMuxer& muxer)
      : track_(track), rate_(rate), muxer_(muxer) {
    if (HasSound(track)) frames_ = track.samples.size() / track.channels;
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
      const size_t count = std::min(muxer_.sound_chunk(), frames_ - next_);
      if (!muxer_.write_sound(std::span(track_.samples)
                                  .subspan(next_ * track_.channels, count * track_.channels))) {
        return false;
      }
      next_ += count;
      if (next_ == frames_) return muxer_.end_sound();
    }
    return true;
  }

  const PcmTrack& track_;
  FrameRate rate_;
  MediaMuxer& muxer_;
  size_t frames_ = 0;  // samples per channel
  size_t next_ = 0;
};

ExportResult MuxerFailure(const ExportOptions& options, const OutputTarget& target,
                          const std::string& problem) {
  if (target.error()) return OutputFailure(options, target);
  return Failure(options.output, problem);
}

}  // namespace

ExportResult ExportWav(const ExportOptions& options, const container::ContainerReader& reader,
                       decoder::FrameDecoder& decoder) {
  const PcmTrack& track = decoder.decode_audio();
  if (!HasSound(track)) {
    return Failure(options.input,
                   SoundIsDamaged(track, reader) ? kSoundDamaged : "the file holds no sound");
  }
  OutputTarget target;
  if (!target.open(options.output, options.input, ReplacePolicyOf(options)) ||
      !WriteWav(track, target) || !target.commit()) {
    return OutputFailure(options, target);
  }
  const size_t frames = track.samples.size() / track.channels;
  return {true,
          std::to_string(frames) + (frames == 1 ? " sample, " : " samples, ") + SoundText(track),
          {}};
}

ExportResult ExportMedia(const ExportOptions& options, const container::ContainerReader& reader,
                         decoder::FrameDecoder& decoder) {
  // Before the frames, which would otherwise collect the sound as they pass it.
  const PcmTrack& track = decoder.decode_audio();
  bool more = decoder.next_planes();
  if (!more) return Failure(options.input, NoFrameText(reader, decoder.stream_end()));

  const container::FileHeader& header = reader.header();
  const bool rate_known = header.fps_num != 0 && header.fps_den != 0;
  MediaDescription description;
  description.form = MediaFormOf(options.form);
  description.width = decoder.planes().width;
  description.height = decoder.planes().height;
  description.rate = rate_known ? FrameRate{header.fps_num, header.fps_den} : kRateOfFilesWithout;
  if (HasSound(track)) {
    description.sample_rate = track.sample_rate;
    description.channels = track.channels;
  }

  OutputTarget target;
  const bool opened = options.to_standard_output
                          ? target.open_standard_output()
                          : target.open(options.output, options.input, ReplacePolicyOf(options));
  if (!opened) return OutputFailure(options, target);
  std::string problem;
  const std::unique_ptr<MediaMuxer> muxer = StartMedia(description, target, problem);
  if (!muxer) return MuxerFailure(options, target, problem);

  SoundFeed sound(track, description.rate, *muxer);
  uint32_t written = 0;
  std::string damage;
  for (; more; more = decoder.next_planes()) {
    const video::YuvPlanes& planes = decoder.planes();
    if (planes.width != description.width || planes.height != description.height) {
      damage = "the picture size changes at frame " + std::to_string(written) +
               ", which this form cannot show";
      break;
    }
    if (!sound.write_up_to(written) || !muxer->write_frame(planes)) {
      return MuxerFailure(options, target, muxer->problem());
    }
    ++written;
  }
  if (!sound.write_rest() || !muxer->finish()) {
    return MuxerFailure(options, target, muxer->problem());
  }
  if (!target.commit()) return OutputFailure(options, target);
  if (damage.empty()) {
    damage = DamageText(reader, decoder.stream_end(), static_cast<int32_t>(written));
  }
  if (damage.empty() && SoundIsDamaged(track, reader)) damage = kSoundDamaged;

  ExportResult result;
  result.summary = FramesText(written) + ", " + SizeText(description.width, description.height);
  if (muxer->stored_width() != description.width || muxer->stored_height() != description.height) {
    result.summary += " stored as " + SizeText(muxer->stored_width(), muxer->stored_height());
  }
  if (!rate_known) result.summary += ", 25 frames a second since the file names no rate";
  result.summary += HasSound(track) ? ", " + SoundText(track) : ", no sound";
  result.succeeded = damage.empty();
  if (!result.succeeded) result.problem = BytesFromPath(options.input) + ": " + damage;
  return result;
}

}  // namespace qolm::exporter
