// SPDX-License-Identifier: MIT
//
// One file's pictures, upright, progressive, in one size and at a constant rate.
#ifndef QOLM_MEDIA_FFMPEG_PICTURE_PRODUCER_H_
#define QOLM_MEDIA_FFMPEG_PICTURE_PRODUCER_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/ffmpeg/decoder.h"
#include "media/ffmpeg/frame_filter.h"
#include "media/ffmpeg/frame_timeline.h"
#include "media/ffmpeg/picture.h"
#include "media/ffmpeg/picture_converter.h"
#include "media/ffmpeg/stop_signal.h"
#include "media/ffmpeg/stream_scan.h"
#include "media/video_framework.h"

namespace qolm::media::ffmpeg {

using SourceLosses = VideoReader::Losses;

struct TimedPicture {
  std::shared_ptr<const Picture> picture;  // repeats share one
  int64_t timestamp = 0;                   // 100-nanosecond units from the first picture
  SourceLosses losses;                     // up to this picture
};

class PictureProducer {
 public:
  // Decodes as far as the first picture, which sets the size. Null with the
  // reason on failure. Once `stop` is set, calls end early.
  static std::unique_ptr<PictureProducer> Open(const std::filesystem::path& path,
                                               const StopSignal& stop, std::string& failure_reason);

  // Nothing at the end of the stream.
  std::optional<TimedPicture> Next();

  // Notices for the user about the first picture, one phrase each.
  std::vector<std::string> notices() const { return notices_; }

  // Up to the end, once it is reached.
  SourceLosses losses() const { return losses_; }

  // As the decoder's.
  std::string read_failure() const { return decoder_->read_failure(); }

  int width() const { return width_; }    // pixels, as shown
  int height() const { return height_; }  // pixels, as shown
  const std::optional<Ratio>& frame_rate() const { return timing_.rate; }
  // 100-nanosecond units. At the end it is the length delivered, if the declared one proves
  // to be another stream's.
  std::optional<int64_t> duration() const;

 private:
  PictureProducer() = default;
  void ForgetUnseenSlots();
  Frame NextFrame();
  Frame TakeFrame();
  TimedPicture Deliver(std::shared_ptr<const Picture> picture);
  std::shared_ptr<const Picture> PictureOf(std::shared_ptr<const AVFrame> frame);
  std::optional<int64_t> TimeOf(const AVFrame* frame) const;
  Ratio rate() const;
  int64_t DamagedPictures() const;

  std::unique_ptr<Decoder> decoder_;
  StreamTiming timing_;
  std::optional<FrameTimeline> timeline_;
  std::optional<FrameFilter> filter_;
  bool decoder_ended_ = false;
  Frame first_frame_;
  std::vector<std::string> notices_;
  Frame frame_behind_;  // decoded ahead for its timestamp
  int width_ = 0;
  int height_ = 0;
  std::optional<PictureConverter> converter_;
  std::shared_ptr<const AVFrame> converted_frame_;  // the previous one and its conversion
  std::shared_ptr<const Picture> converted_picture_;
  std::shared_ptr<const Picture> last_picture_;
  int64_t last_duration_ = 0;  // of the last picture, in the stream's time base
  int64_t repeats_left_ = 0;   // of last_picture_, before next_picture_
  std::shared_ptr<const Picture> next_picture_;
  int64_t slot_ = 0;  // of the next picture to deliver
  SourceLosses losses_;
  int64_t unconverted_ = 0;  // pictures
  bool ended_ = false;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PICTURE_PRODUCER_H_
