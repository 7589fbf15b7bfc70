// SPDX-License-Identifier: MIT
#include "media/ffmpeg/audio_decoder.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "media/ffmpeg/container_file.h"
#include "media/ffmpeg/declared_times.h"
#include "media/ffmpeg/decoder.h"
#include "media/ffmpeg/numbers.h"
#include "media/ffmpeg/packet_times.h"
#include "media/ffmpeg/probed_container.h"

namespace qolm::media::ffmpeg {
namespace {

// A slower clock is damage, and would inflate a small file to days of audio.
constexpr int kLowestRate = 1000;
constexpr double kLongestPacket = 10;  // seconds
// As for pictures: an earlier timestamp than this restarts the clock.
constexpr double kBackwardJump = 1;  // seconds
// Between packets; timestamps are rounded, and some packets are longer than stated.
constexpr double kSmallestHole = 0.02;  // seconds

std::optional<double> ToSeconds(int64_t stated, AVRational stated_base) {
  const Ratio time_base = TimeBaseOf(stated_base);
  const auto timestamp = TimestampOf(stated, time_base);
  if (!timestamp) return std::nullopt;
  return static_cast<double>(*timestamp) * time_base.value();
}

}  // namespace

std::unique_ptr<AudioDecoder> AudioDecoder::Open(const std::filesystem::path& path,
                                                 const StopSignal& stop,
                                                 std::string& failure_reason) {
  std::unique_ptr<AudioDecoder> decoder(new AudioDecoder);
  ProbedContainer container = OpenProbed(path, stop, failure_reason);
  if (container.format == nullptr) return nullptr;
  decoder->path_ = path;
  decoder->format_ = std::move(container.format);
  decoder->search_ended_ = container.search_ended();
  decoder->packet_.reset(av_packet_alloc());
  decoder->frame_.reset(av_frame_alloc());
  if (decoder->packet_ == nullptr || decoder->frame_ == nullptr) throw std::bad_alloc();
  return decoder;
}

bool AudioDecoder::SelectFirstAudioStream(std::string& failure_reason) {
  clock_ = MakeFileClock(*format_);
  stream_ = nullptr;
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    AVStream* const stream = format_->streams[i];
    if (stream_ == nullptr && stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
      stream_ = stream;
      stream->discard = AVDISCARD_DEFAULT;
    } else {
      stream->discard = clock_.declared_end() ? AVDISCARD_ALL : AVDISCARD_DEFAULT;
    }
  }
  stretch_.reset();
  if (stream_ != nullptr) {
    stretch_.emplace(path_, *format_, *stream_);
    if (stretch_->needs_every_stream()) ReadEveryStream(*format_);
  }
  if (stream_ == nullptr && search_ended_) failure_reason = "none in its first 64 MiB";
  return stream_ != nullptr;
}

bool AudioDecoder::OpenCodec(std::string& failure_reason) {
  if (stream_ == nullptr) return false;
  const AVCodec* const decoder = avcodec_find_decoder(stream_->codecpar->codec_id);
  if (decoder == nullptr) {
    failure_reason = std::string("no decoder for ") + avcodec_get_name(stream_->codecpar->codec_id);
    return false;
  }
  CodecContext codec(avcodec_alloc_context3(decoder));
  if (codec == nullptr) throw std::bad_alloc();
  if (avcodec_parameters_to_context(codec.get(), stream_->codecpar) < 0) return false;
  codec->pkt_timebase = stream_->time_base;
  // Checksums of lossless codecs are reliable; others are often wrong.
  if (decoder->id == AV_CODEC_ID_FLAC) codec->err_recognition = AV_EF_CRCCHECK | AV_EF_EXPLODE;
  if (avcodec_open2(codec.get(), decoder, nullptr) < 0) return false;
  codec_ = std::move(codec);
  return true;
}

std::optional<AudioPiece> AudioDecoder::Next() {
  while (true) {
    int result = avcodec_receive_frame(codec_.get(), frame_.get());
    if (result >= 0) {
      if (frame_->nb_samples > 0 && frame_->sample_rate >= kLowestRate) return PieceOfFrame();
      continue;
    }
    if (result == AVERROR_EOF || (result == AVERROR(EAGAIN) && draining_)) return std::nullopt;
    if (result == AVERROR(EAGAIN)) {
      draining_ = !ReadPacket();
      if (!draining_ && IsOverwritten(*packet_)) {
        packet_->duration = 0;  // was taken from these bytes
        result = AVERROR_INVALIDDATA;
      } else {
        result = avcodec_send_packet(codec_.get(), draining_ ? nullptr : packet_.get());
      }
    }
    if (result < 0) {
      if (draining_) return std::nullopt;
      AudioPiece damage = PieceOfDamage();
      if (damage.duration > 0) return damage;
      // The duration of such packets is known from the first frame on.
      if (last_frame_duration_ <= 0) ++unmeasured_damage_;
    }
  }
}

// Opus and Vorbis decode any bytes, but their encoders never write such long packets of
// zeros, even for silence.
bool AudioDecoder::IsOverwritten(const AVPacket& packet) const {
  constexpr int kLongestOfSilence = 16;  // bytes
  const AVCodecID codec = stream_->codecpar->codec_id;
  if (codec != AV_CODEC_ID_OPUS && codec != AV_CODEC_ID_VORBIS) return false;
  return packet.size > kLongestOfSilence && std::all_of(packet.data, packet.data + packet.size,
                                                        [](uint8_t byte) { return byte == 0; });
}

// Reads the next packet of the stream into packet_, where it stays while it is decoded;
// false at the end.
bool AudioDecoder::ReadPacket() {
  decoded_of_packet_ = 0;
  while (true) {
    av_packet_unref(packet_.get());
    if (ReadPacketPastErrors(*format_, *packet_) < 0) return false;
    stretch_->Note(*packet_);
    if (packet_->stream_index == stream_->index) {
      byte_ = std::max(byte_, packet_->pos);
      NoteHole();
      return true;
    } else {
      if (IsVideo(*format_->streams[packet_->stream_index])) NotePicture();
      CoverWith(*packet_, *format_->streams[packet_->stream_index], clock_);
    }
  }
}

// Detects a restart of the picture's clock by decoding times, which ascend.
void AudioDecoder::NotePicture() {
  const auto time = ToSeconds(packet_->dts, format_->streams[packet_->stream_index]->time_base);
  picture_followed_ = picture_followed_ || last_frame_duration_ > 0;
  if (!time) return;
  const double step = *time - picture_time_.value_or(*time);
  if (step > FileClock::kSureStep || step < -kBackwardJump) picture_restarted_ = true;
  picture_time_ = time;
}

// The demuxer skips audio whose packets are damaged, and the timestamps continue.
void AudioDecoder::NoteHole() {
  const auto time = ToSeconds(packet_->pts, stream_->time_base);
  if (!time) return;
  const double end = packet_end_.value_or(*time);
  const double duration = static_cast<double>(packet_->duration) * time_unit();
  packet_end_ = *time + std::max(duration, 0.0);
  const double hole = *time - end;
  if (hole < std::max(kSmallestHole, duration / 2)) return;
  FileClock clock = clock_;
  if (clock.IsReal(end, *time, FileClock::Behind::kGoesOn) && stretch_->IsBroken()) {
    passed_over_ += hole;
  }
}

AudioPiece AudioDecoder::PieceOfFrame() {
  AudioPiece piece;
  piece.frame.reset(av_frame_alloc());
  if (piece.frame == nullptr) throw std::bad_alloc();
  av_frame_move_ref(piece.frame.get(), frame_.get());
  const AVFrame& frame = *piece.frame;
  piece.time = ToSeconds(frame.best_effort_timestamp, stream_->time_base);
  piece.damaged = frame.decode_error_flags != 0;
  piece.duration = static_cast<double>(frame.nb_samples) / frame.sample_rate;
  piece.lost_before = std::exchange(unmeasured_damage_, 0) * piece.duration;
  piece.lost_before += std::exchange(passed_over_, 0);
  piece.byte = byte_;
  if (frame.pkt_duration > 0) {
    piece.excess = piece.duration - static_cast<double>(frame.pkt_duration) * time_unit();
  }
  decoded_of_packet_ += piece.duration;
  last_frame_duration_ = piece.duration;
  return piece;
}

AudioPiece AudioDecoder::PieceOfDamage() const {
  AudioPiece piece;
  piece.damaged = true;
  piece.time =
      ToSeconds(packet_->pts != AV_NOPTS_VALUE ? packet_->pts : packet_->dts, stream_->time_base);
  double duration = static_cast<double>(packet_->duration) * time_unit();
  // The container's duration is rounded to its clock; the codec's is not.
  const bool is_rounded = std::abs(duration - last_frame_duration_) <= time_unit();
  if (duration <= 0 || duration > kLongestPacket || is_rounded) duration = last_frame_duration_;
  piece.duration = std::max(0.0, duration - decoded_of_packet_);
  piece.byte = byte_;
  if (piece.time) *piece.time += decoded_of_packet_;
  return piece;
}

}  // namespace qolm::media::ffmpeg
