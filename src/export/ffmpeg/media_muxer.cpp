// SPDX-License-Identifier: MIT
//
// The only file that uses the muxers of libavformat.
#include "export/media_muxer.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <array>
#include <cstdio>

#include "export/ffmpeg/audio_encoder.h"
#include "export/ffmpeg/handles.h"
#include "export/ffmpeg/picture_encoder.h"
#include "export/form.h"

namespace qolm::exporter {
namespace ffmpeg {
namespace {

constexpr int kStreamBufferBytes = 1 << 20;

const char* MuxerName(Form form) {
  switch (form) {
    case Form::kMp4:
      return "mp4";
    case Form::kNut:
      return "nut";
    default:
      return "matroska";
  }
}

int WriteToTarget(void* target, uint8_t* bytes, int size) {
  const bool written =
      static_cast<OutputTarget*>(target)->write({bytes, static_cast<size_t>(size)});
  return written ? size : AVERROR(EIO);
}

int64_t SeekTarget(void* target, int64_t offset, int whence) {
  if (whence != SEEK_SET || offset < 0) return AVERROR(ENOSYS);
  const bool sought = static_cast<OutputTarget*>(target)->seek(static_cast<uint64_t>(offset));
  return sought ? offset : AVERROR(EIO);
}

class FfmpegMuxer : public MediaMuxer {
 public:
  explicit FfmpegMuxer(OutputTarget& target) : target_(target) {}

  bool start(const MediaDescription& description);

  uint32_t stored_width() const override { return picture_.stored_width(); }
  uint32_t stored_height() const override { return picture_.stored_height(); }
  size_t audio_chunk_samples() const override {
    return static_cast<size_t>(audio_.packet_samples());
  }

  bool write_frame(const video::YuvPlanes& planes) override;
  bool write_audio(std::span<const int16_t> samples) override;
  bool end_audio() override;
  bool finish() override;

 private:
  int open_stream();
  int open_streams(const MediaDescription& description);
  int add_stream(const AVCodecContext& codec, AVStream*& stream);
  int write_header();
  int write_packets(AVCodecContext& codec, AVRational time_base, const AVStream& stream);
  int write_pictures() { return write_packets(picture_.codec(), frame_time_, *picture_stream_); }
  int write_queued_audio();
  int write_rest();
  bool keep(int result);

  OutputTarget& target_;
  // The format refers to the byte stream up to its own end.
  ByteStream bytes_;
  FormatContext format_;
  PictureEncoder picture_;
  AudioEncoder audio_;
  Packet packet_;
  AVStream* picture_stream_ = nullptr;
  AVStream* audio_stream_ = nullptr;  // null without sound
  AVRational frame_time_{1, 25};      // seconds per frame
  // Only encoders that delay frames change the order of the two streams; libavformat then
  // buffers packets to interleave them.
  bool interleave_ = false;
  bool fragmented_ = false;
  bool failed_ = false;
};

bool FfmpegMuxer::keep(int result) {
  if (result >= 0) return true;
  failed_ = true;
  if (!target_.error() && problem_.empty()) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(result, text.data(), text.size());
    problem_ = text.data();
  }
  return false;
}

bool FfmpegMuxer::start(const MediaDescription& description) {
  av_log_set_level(AV_LOG_QUIET);
  interleave_ = description.form == Form::kMp4;
  fragmented_ = description.form == Form::kMp4 && !target_.seekable();
  frame_time_ = av_inv_q(ToRational(description.rate));
  packet_.reset(av_packet_alloc());
  if (!packet_) return keep(AVERROR(ENOMEM));
  AVFormatContext* format = nullptr;
  const int result =
      avformat_alloc_output_context2(&format, nullptr, MuxerName(description.form), nullptr);
  format_.reset(format);
  if (!keep(result) || !keep(open_stream()) || !keep(open_streams(description))) return false;
  return keep(write_header());
}

int FfmpegMuxer::open_stream() {
  auto* const buffer = static_cast<uint8_t*>(av_malloc(kStreamBufferBytes));
  if (buffer == nullptr) return AVERROR(ENOMEM);
  bytes_.reset(avio_alloc_context(buffer, kStreamBufferBytes, 1, &target_, nullptr, WriteToTarget,
                                  target_.seekable() ? SeekTarget : nullptr));
  if (!bytes_) {
    av_free(buffer);
    return AVERROR(ENOMEM);
  }
  bytes_->seekable = target_.seekable() ? AVIO_SEEKABLE_NORMAL : 0;
  format_->pb = bytes_.get();
  format_->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT;
  return 0;
}

int FfmpegMuxer::open_streams(const MediaDescription& description) {
  const bool global_header = (format_->oformat->flags & AVFMT_GLOBALHEADER) != 0;
  if (const int result = picture_.open(description, global_header); result < 0) return result;
  if (const int result = add_stream(picture_.codec(), picture_stream_); result < 0) return result;
  picture_stream_->time_base = frame_time_;
  picture_stream_->avg_frame_rate = av_inv_q(frame_time_);
  picture_stream_->r_frame_rate = av_inv_q(frame_time_);
  if (description.channels == 0) return 0;
  if (const int result = audio_.open(description, global_header); result < 0) return result;
  return add_stream(audio_.codec(), audio_stream_);
}

int FfmpegMuxer::add_stream(const AVCodecContext& codec, AVStream*& stream) {
  stream = avformat_new_stream(format_.get(), nullptr);
  if (stream == nullptr) return AVERROR(ENOMEM);
  stream->time_base = codec.time_base;
  stream->sample_aspect_ratio = codec.sample_aspect_ratio;
  return avcodec_parameters_from_context(stream->codecpar, &codec);
}

int FfmpegMuxer::write_header() {
  // Formats ignore keys that they have no field for; Matroska would name the library.
  for (const char* const key : {"encoding_tool", "encoded_by"}) {
    if (const int result = av_dict_set(&format_->metadata, key, kProgramMark, 0); result < 0) {
      return result;
    }
  }
  Dictionary options;
  // An MP4 file whose start cannot be rewritten is fragmented.
  if (fragmented_) options.set("movflags", "frag_keyframe+delay_moov+default_base_moof");
  return avformat_write_header(format_.get(), options.get());
}

int FfmpegMuxer::write_packets(AVCodecContext& codec, AVRational time_base,
                               const AVStream& stream) {
  while (true) {
    const int received = avcodec_receive_packet(&codec, packet_.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return 0;
    if (received < 0) return received;
    packet_->stream_index = stream.index;
    if (&stream == picture_stream_) packet_->duration = 1;
    av_packet_rescale_ts(packet_.get(), time_base, stream.time_base);
    const int written = interleave_ ? av_interleaved_write_frame(format_.get(), packet_.get())
                                    : av_write_frame(format_.get(), packet_.get());
    av_packet_unref(packet_.get());
    if (written < 0) return written;
    // Muxers may ignore write errors.
    if (bytes_->error < 0) return bytes_->error;
  }
}

bool FfmpegMuxer::write_frame(const video::YuvPlanes& planes) {
  return !failed_ && keep(picture_.send(planes)) && keep(write_pictures());
}

bool FfmpegMuxer::write_audio(std::span<const int16_t> samples) {
  return !failed_ && keep(audio_.queue(samples)) && keep(write_queued_audio());
}

int FfmpegMuxer::write_queued_audio() {
  while (audio_.has_packet()) {
    if (const int result = audio_.send_packet(); result < 0) return result;
    const int result = write_packets(audio_.codec(), audio_.codec().time_base, *audio_stream_);
    if (result < 0) return result;
  }
  return 0;
}

int FfmpegMuxer::write_rest() {
  if (const int result = avcodec_send_frame(&picture_.codec(), nullptr); result < 0) return result;
  if (const int result = write_pictures(); result < 0) return result;
  if (audio_stream_ != nullptr) {
    if (const int result = avcodec_send_frame(&audio_.codec(), nullptr); result < 0) return result;
    const int result = write_packets(audio_.codec(), audio_.codec().time_base, *audio_stream_);
    if (result < 0) return result;
  }
  if (const int result = av_write_trailer(format_.get()); result < 0) return result;
  avio_flush(bytes_.get());
  return bytes_->error;
}

bool FfmpegMuxer::end_audio() {
  return !failed_ && keep(audio_.queue_rest()) && keep(write_queued_audio());
}

bool FfmpegMuxer::finish() { return !failed_ && keep(write_rest()); }

}  // namespace
}  // namespace ffmpeg

bool MediaFormsAvailable() { return true; }

std::unique_ptr<MediaMuxer> StartMedia(const MediaDescription& description, OutputTarget& target,
                                       std::string& problem) {
  auto muxer = std::make_unique<ffmpeg::FfmpegMuxer>(target);
  if (muxer->start(description)) return muxer;
  problem = muxer->problem();
  return nullptr;
}

}  // namespace qolm::exporter
