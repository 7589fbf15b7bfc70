// SPDX-License-Identifier: MIT
#include "media/ffmpeg/ffmpeg_audio_framework.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/ffmpeg/audio_converter.h"
#include "media/ffmpeg/audio_decoder.h"
#include "media/ffmpeg/audio_producer.h"
#include "media/ffmpeg/container_file.h"
#include "media/ffmpeg/decoder.h"
#include "media/ffmpeg/numbers.h"
#include "media/ffmpeg/picture_sections.h"
#include "media/ffmpeg/stream_scan.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr uint32_t kBits = 16;
constexpr uint32_t kLowestRate = 1000;     // Hz; lower ones need huge filters
constexpr uint32_t kHighestRate = 768000;  // Hz
// Matroska timestamps cannot express the time before zero, up to 33 seconds.
constexpr int kMostUntimed = 4096;  // pictures

class PcmBuffer : public AudioBuffer {
 public:
  explicit PcmBuffer(std::shared_ptr<const std::vector<int16_t>> samples)
      : samples_(std::move(samples)) {}

  std::optional<Bytes> Lock() override {
    return Bytes{reinterpret_cast<const uint8_t*>(samples_->data()),
                 samples_->size() * sizeof(int16_t)};
  }
  void Unlock() override {}

 private:
  std::shared_ptr<const std::vector<int16_t>> samples_;
};

class PcmSample : public AudioSample {
 public:
  explicit PcmSample(std::vector<int16_t> samples)
      : samples_(std::make_shared<const std::vector<int16_t>>(std::move(samples))) {}

  std::unique_ptr<AudioBuffer> ConvertToContiguousBuffer() override {
    return std::make_unique<PcmBuffer>(samples_);
  }

 private:
  std::shared_ptr<const std::vector<int16_t>> samples_;
};

// The start of the picture that becomes the first frame, on the file's clock. It must be
// decoded to know: edit lists and broken references drop pictures. With a reason if the
// file has pictures but could not be read that far. The audio before the picture covers
// `clock` if the container declares no length that limits how late pictures may begin.
std::optional<double> PictureStart(const std::filesystem::path& path, const StopSignal& stop,
                                   bool has_pictures, FileClock& clock, std::string& read_failure) {
  std::string reason;
  const std::unique_ptr<Decoder> decoder = Decoder::Open(path, stop, reason);
  if (decoder == nullptr) {
    if (has_pictures) read_failure = reason;
    return std::nullopt;
  }
  if (!clock.declared_end()) decoder->ObserveOtherStreams(clock);
  const Ratio time_base = TimeBaseOf(decoder->stream().time_base);
  std::optional<int64_t> timestamp;
  int untimed = 0;
  while (true) {
    const AVFrame* const frame = decoder->Next();
    read_failure = decoder->read_failure();
    if (frame == nullptr) return std::nullopt;
    timestamp = TimestampOf(frame->best_effort_timestamp, time_base);
    if (timestamp) break;
    if (++untimed > kMostUntimed) return std::nullopt;
  }
  const double time = static_cast<double>(*timestamp) * time_base.value();
  if (untimed == 0) return time;
  // Each of them takes one slot of the video's frame rate.
  const StreamTiming timing = ScanTiming(path, stop, decoder->format(), decoder->stream());
  if (!timing.rate) return std::nullopt;
  return time - untimed / timing.rate->value();
}

class FfmpegAudioReader : public AudioReader {
 public:
  explicit FfmpegAudioReader(std::function<bool()> interrupted) : stop_(std::move(interrupted)) {}

  bool Open(const std::filesystem::path& path) {
    path_ = path;
    std::string ignored_reason;
    decoder_ = AudioDecoder::Open(path, stop_, ignored_reason);
    return decoder_ != nullptr;
  }

  bool SelectFirstAudioStream() override {
    return decoder_->SelectFirstAudioStream(failure_reason_);
  }

  bool SetOutputPcm(const PcmType& request) override {
    try {
      if (!codec_is_open_) codec_is_open_ = decoder_->OpenCodec(failure_reason_);
      if (!codec_is_open_) return false;
      const AVCodecContext& codec = decoder_->codec();
      const int own = codec.ch_layout.nb_channels;
      if (own > AudioConverter::kMostChannels) {
        failure_reason_ = "it has " + std::to_string(own) + " channels, and no more than " +
                          std::to_string(AudioConverter::kMostChannels) + " can be mixed";
        return false;
      }
      const uint32_t own_channels = own == 1 ? 1 : 2;
      const uint32_t channels = request.channels.value_or(own_channels);
      const uint32_t rate =
          request.sample_rate.value_or(static_cast<uint32_t>(std::max(codec.sample_rate, 0)));
      if (request.bits_per_sample.value_or(kBits) != kBits) return false;
      if (channels < 1 || channels > 2 || rate < kLowestRate || rate > kHighestRate) return false;
      type_ = {channels, rate, kBits};
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

  PcmType CurrentPcmType() override { return type_; }

  ReadResult ReadSample() override {
    ReadResult result;
    if (!type_.channels || !type_.sample_rate) return result;
    try {
      if (!producer_) {
        const auto picture_start = PictureStart(path_, stop_, HasPictures(decoder_->format()),
                                                decoder_->clock(), failure_reason_);
        AudioTimeline::OriginBehindRestart origin;
        if (picture_start) {
          origin = [this, start = *picture_start](const AudioTimeline::Piece& piece) {
            return OriginBehindRestart(piece, start);
          };
        }
        producer_.emplace(*decoder_, picture_start, static_cast<int>(*type_.channels),
                          static_cast<int>(*type_.sample_rate), std::move(origin));
      }
      std::optional<std::vector<int16_t>> samples = producer_->Next();
      result.end_of_stream = !samples;
      if (!samples && failure_reason_.empty()) failure_reason_ = ReadFailure(decoder_->format());
      result.succeeded = samples || failure_reason_.empty();
      if (samples) result.sample = std::make_unique<PcmSample>(*std::move(samples));
    } catch (const std::bad_alloc&) {
      throw;  // truncated audio would be taken for complete
    } catch (const std::exception&) {
      result = ReadResult{};
    }
    return result;
  }

  double damaged_seconds() const override { return producer_ ? producer_->damaged_seconds() : 0; }

  std::string failure_reason() const override { return failure_reason_; }

 private:
  // Files whose clock never restarts need no scan.
  std::optional<double> OriginBehindRestart(const AudioTimeline::Piece& piece,
                                            double picture_start) {
    if (!piece.time) return std::nullopt;
    if (!sections_) sections_ = PictureSections::Scan(path_, stop_, picture_start);
    return sections_->OriginOfNewSection(piece.byte, *piece.time);
  }

  StopSignal stop_;
  std::string failure_reason_;
  std::filesystem::path path_;
  std::unique_ptr<AudioDecoder> decoder_;
  bool codec_is_open_ = false;
  PcmType type_;
  std::optional<PictureSections> sections_;  // from the first restart of the sound's clock on
  std::optional<AudioProducer> producer_;    // from the first read on; ends before the decoder
};

}  // namespace

std::unique_ptr<AudioReader> FfmpegAudioFramework::Open(const std::filesystem::path& path,
                                                        const ReaderAttributes&) {
  try {
    // A pipe can be read only once, for the picture.
    if (!std::filesystem::is_regular_file(path)) return nullptr;
    auto reader = std::make_unique<FfmpegAudioReader>(interrupted_);
    if (reader->Open(path)) return reader;
  } catch (const std::exception&) {  // memory ran out
  }
  return nullptr;
}

}  // namespace qolm::media::ffmpeg
