// Delivers the frames of an opened file one at a time, in display order.
#ifndef QOLM_DECODER_FRAME_DECODER_H_
#define QOLM_DECODER_FRAME_DECODER_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/pcm_track.h"
#include "container/container_reader.h"
#include "video/color_conversion.h"
#include "video/yuv_planes.h"

namespace qolm::decoder {

// A delivered picture.
struct OutputFrame {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> pixels;  // width * height * 4 bytes, see PixelOrder
  int64_t presentation_tag = 0; // number of the frame in display order
};

class FrameDecoder {
 public:
  // `reader` must be open and outlive the decoder.
  explicit FrameDecoder(container::ContainerReader& reader,
                        video::PixelOrder order = video::PixelOrder::kRgba);
  ~FrameDecoder();
  FrameDecoder(const FrameDecoder&) = delete;
  FrameDecoder& operator=(const FrameDecoder&) = delete;

  // The next frame; false at the end of the file or at a record that cannot be
  // read or rebuilt. Reads at most one video record.
  [[nodiscard]] bool next_frame(OutputFrame& out);

  // next_frame without the conversion to packed pixels: the planes of the
  // next frame stay readable through planes() until the next call. The two may
  // be mixed; either advances by one frame.
  [[nodiscard]] bool next_planes();

  // The reconstruction that the last delivered frame was made of.
  const video::YuvPlanes& planes() const;

  int32_t frames_delivered() const;

  // Decodes the file's sound once and returns it; an empty track when the
  // file has none or it cannot be decoded.
  const PcmTrack& decode_audio();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_FRAME_DECODER_H_
