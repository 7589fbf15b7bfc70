// SPDX-License-Identifier: MIT
#include "media/ffmpeg/decoder.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>
#include <utility>

#include "media/ffmpeg/avi_index.h"
#include "media/ffmpeg/container_file.h"
#include "media/ffmpeg/numbers.h"
#include "media/ffmpeg/packet_times.h"
#include "media/ffmpeg/probed_container.h"

namespace qolm::media::ffmpeg {
namespace {

// After this many errors without progress the rest is given up.
constexpr int kErrorsInARow = 100;
constexpr size_t kPacketsBeforeABreak = 2;

// The container takes precedence over the pictures, which may change. A container without
// a value has that of the first ones.
AVRational PixelShapeOf(const AVStream& stream, const AVFrame& frame) {
  const AVRational container = stream.sample_aspect_ratio;
  const AVRational coder = stream.codecpar->sample_aspect_ratio;
  if (frame.sample_aspect_ratio.num <= 0) return container;
  const bool container_says = container.num > 0 && av_cmp_q(container, coder) != 0;
  return container_says ? container : frame.sample_aspect_ratio;
}

// These decoders conceal damage, and flag it, only after other threads have begun to
// predict from the picture: pictures and damage counts would differ from run to run. One
// thread of them is far faster than encoding.
bool RacesWhenDamaged(AVCodecID codec) {
  constexpr std::array<AVCodecID, 5> kCodecs = {
      AV_CODEC_ID_H264, AV_CODEC_ID_MPEG4, AV_CODEC_ID_VP8, AV_CODEC_ID_RV30, AV_CODEC_ID_RV40};
  return std::find(kCodecs.begin(), kCodecs.end(), codec) != kCodecs.end();
}

// The system's message for what would otherwise be reported as a parsing error.
std::string DescribeUnreadablePath(const std::filesystem::path& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (error) return error.message();
  if (std::filesystem::is_directory(status)) {
    return std::make_error_code(std::errc::is_a_directory).message();
  }
  if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, error) == 0) {
    return "the file is empty";
  }
  return {};
}

}  // namespace

AVStream* SelectFirstVideoStream(AVFormatContext& format) {
  AVStream* selected = nullptr;
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    AVStream* const stream = format.streams[i];
    if (IsVideo(*stream) && selected == nullptr) {
      selected = stream;
    } else {
      stream->discard = AVDISCARD_ALL;
    }
  }
  return selected;
}

void ReadEveryStream(AVFormatContext& format) {
  for (unsigned i = 0; i < format.nb_streams; ++i) format.streams[i]->discard = AVDISCARD_DEFAULT;
}

bool HasPictures(const AVFormatContext& format) {
  return std::any_of(format.streams, format.streams + format.nb_streams,
                     [](const AVStream* stream) { return IsVideo(*stream); });
}

std::unique_ptr<Decoder> Decoder::Open(const std::filesystem::path& path, const StopSignal& stop,
                                       std::string& failure_reason) {
  failure_reason = DescribeUnreadablePath(path);
  if (!failure_reason.empty()) return nullptr;

  std::unique_ptr<Decoder> decoder(new Decoder);
  decoder->path_ = path;
  ProbedContainer container = OpenProbed(path, stop, failure_reason);
  if (container.format == nullptr) return nullptr;
  decoder->format_ = std::move(container.format);
  decoder->stream_ = SelectFirstVideoStream(*decoder->format_);
  if (decoder->stream_ == nullptr) {
    failure_reason = container.probe_result < 0 ? DescribeError(container.probe_result)
                     : container.search_ended() ? "no video stream in its first 64 MiB"
                                                : "no video stream";
    return nullptr;
  }

  const AVCodecParameters* const parameters = decoder->stream_->codecpar;
  const AVCodec* const codec = avcodec_find_decoder(parameters->codec_id);
  if (codec == nullptr) {
    failure_reason = std::string("no decoder for ") + avcodec_get_name(parameters->codec_id);
    return nullptr;
  }
  decoder->codec_.reset(avcodec_alloc_context3(codec));
  decoder->packet_.reset(av_packet_alloc());
  decoder->frame_.reset(av_frame_alloc());
  if (decoder->codec_ == nullptr || decoder->packet_ == nullptr || decoder->frame_ == nullptr) {
    failure_reason = DescribeError(AVERROR(ENOMEM));
    return nullptr;
  }
  int result = avcodec_parameters_to_context(decoder->codec_.get(), parameters);
  if (result >= 0) {
    decoder->codec_->pkt_timebase = decoder->stream_->time_base;
    constexpr int kAsManyAsProcessors = 0;
    decoder->codec_->thread_count = RacesWhenDamaged(codec->id) ? 1 : kAsManyAsProcessors;
    result = avcodec_open2(decoder->codec_.get(), codec, nullptr);
  }
  if (result < 0) {
    failure_reason = DescribeError(result);
    return nullptr;
  }
  return decoder;
}

const AVFrame* Decoder::Next() {
  for (int errors = 0; errors < kErrorsInARow;) {
    const int result = avcodec_receive_frame(codec_.get(), frame_.get());
    if (result >= 0) {
      if (frame_->width <= 0 || frame_->height <= 0) continue;
      if (IsDamaged(*frame_)) CountDamage();
      frame_->sample_aspect_ratio = PixelShapeOf(*stream_, *frame_);
      return frame_.get();
    }
    if (result == AVERROR(EAGAIN)) {
      if (draining_ || !FeedDecoder()) return nullptr;
      errors = 0;
    } else if (result == AVERROR_EOF) {
      return nullptr;
    } else {
      ++errors;  // one damaged picture; later ones may be intact
      CountDamage();
    }
  }
  return nullptr;
}

bool Decoder::IsDamaged(const AVFrame& frame) {
  if (counted_packets_.erase(frame.pts) > 0) return false;
  return frame.decode_error_flags != 0 || (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

std::string Decoder::read_failure() const { return ReadFailure(*format_); }

void Decoder::ObserveOtherStreams(FileClock& clock) {
  clock_ = &clock;
  ReadEveryStream(*format_);
}

void Decoder::WatchForLosses(Ratio rate, FileClock clock) {
  lost_pictures_.emplace(path_, *format_, *stream_, rate, std::move(clock));
  if (lost_pictures_->needs_every_stream()) ReadEveryStream(*format_);
  if (std::string_view(format_->iformat->name) == "avi") {
    packets_to_come_ = IndexedPackets(path_, *stream_);
  }
}

// Sends the decoder one more packet, or the end of the stream.
bool Decoder::FeedDecoder() {
  if (!ReadPacket()) {
    CountSuspects(0);
    damaged_pictures_ += std::max<int64_t>(0, packets_to_come_);
    draining_ = true;
    return avcodec_send_packet(codec_.get(), nullptr) >= 0;
  }
  key_frame_seen_ = key_frame_seen_ || (packet_->flags & AV_PKT_FLAG_KEY) != 0;
  --packets_to_come_;
  NotePacket(*packet_);
  // A packet that the decoder refuses is damaged; later ones may be intact.
  if (avcodec_send_packet(codec_.get(), packet_.get()) < 0) CountDamage();
  av_packet_unref(packet_.get());
  return true;
}

// The next packet of the stream; false at the end.
bool Decoder::ReadPacket() {
  while (ReadPacketPastErrors(*format_, *packet_) >= 0) {
    if (lost_pictures_) lost_pictures_->Note(*packet_);
    if (packet_->stream_index == stream_->index) return true;
    if (clock_ != nullptr) {
      CoverWith(*packet_, *format_->streams[packet_->stream_index], *clock_);
    }
    av_packet_unref(packet_.get());
  }
  return false;
}

// Records packets that the demuxer flags as damaged. Where recordings were joined, the
// last ones before the join are flagged without being damaged.
void Decoder::NotePacket(const AVPacket& packet) {
  const Ratio time_base = TimeBaseOf(stream_->time_base);
  if (const auto timestamp = TimestampOf(packet.dts, time_base)) {
    const double time = static_cast<double>(*timestamp) * time_base.value();
    const double step = time - packet_time_.value_or(time);
    if (step < 0 || step > FileClock::kSureStep) suspects_.clear();
    packet_time_ = time;
  }
  CountSuspects(kPacketsBeforeABreak);
  const bool suspect = (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
  suspects_.push_back(suspect ? std::optional(packet.pts) : std::nullopt);
}

// All but the latest `kept` packets.
void Decoder::CountSuspects(size_t kept) {
  for (; suspects_.size() > kept; suspects_.pop_front()) {
    if (!suspects_.front()) continue;
    CountDamage();
    counted_packets_.insert(*suspects_.front());
  }
}

}  // namespace qolm::media::ffmpeg
