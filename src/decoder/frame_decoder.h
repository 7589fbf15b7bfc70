// Delivers the frames of an opened file one at a time, in display order.
#ifndef QOLM_DECODER_FRAME_DECODER_H_
#define QOLM_DECODER_FRAME_DECODER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/pcm_track.h"
#include "container/container_reader.h"
#include "decoder/frame_caches.h"
#include "video/picture/color_conversion.h"
#include "video/picture/yuv_planes.h"

namespace qolm::decoder {

inline constexpr uint64_t kDefaultCacheBytes = uint64_t{256} << 20;

// A delivered picture.
struct OutputFrame {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> pixels;   // width * height * 4 bytes, see PixelOrder
  int64_t presentation_tag = 0;  // number of the frame in display order

  // Names the picture in `pixels` among all pictures of this process; 0 names
  // none. next_frame leaves pixels that already hold the wanted picture alone,
  // so a caller that draws on them sets this to 0.
  uint64_t picture_id = 0;
};

// Why no further frame comes.
enum class StreamEnd {
  kNotReached,     // the last call delivered a frame, or none was made yet
  kComplete,       // every frame that the file announces was delivered
  kFramesMissing,  // the records end before the frame count of the header, or the header has
                   // none because the file was never finished
  kDamagedRecord,  // a record could not be read or rebuilt
};

class FrameDecoder {
 public:
  // `reader` must be open and outlive the decoder. Its pictures are allocated
  // when the first frame is asked for. `cache_bytes` bounds the pictures that
  // are kept for seeking.
  explicit FrameDecoder(container::ContainerReader& reader,
                        video::PixelOrder order = video::PixelOrder::kRgba,
                        uint64_t cache_bytes = kDefaultCacheBytes);
  ~FrameDecoder();
  FrameDecoder(const FrameDecoder&) = delete;
  FrameDecoder& operator=(const FrameDecoder&) = delete;

  // The next frame; false at the end of the file or at a record that cannot be
  // read or rebuilt, and from then on until a seek. Frames that wait for such a
  // record come before that. Reads at most one video record, and in files with
  // bidirectional frames as many more as may wait for it: DisplayOrder::kMaxParked
  // (repeat runs that follow each other are one), whose pictures take at most
  // DisplayOrder::kMaxParkedPlaneBytes or are a single one. A repeat into the
  // OutputFrame that holds its picture copies nothing.
  [[nodiscard]] bool next_frame(OutputFrame& out);

  // next_frame without the conversion to packed pixels: the planes of the
  // next frame stay readable through planes() until the next call. The two may
  // be mixed; either advances by one frame.
  [[nodiscard]] bool next_planes();

  // The reconstruction that the last delivered frame was made of; empty before
  // the first frame, unspecified after a damaged record.
  const video::YuvPlanes& planes() const;

  // Names the picture in planes() as OutputFrame::picture_id does: equal
  // numbers mean the same picture.
  uint64_t picture_id() const;

  // Frames returned so far; after a seek, the number of the next frame.
  int32_t frames_delivered() const;

  StreamEnd stream_end() const;

  // Makes the frame of this entry of reader.keyframes() the next one. False
  // when there is no such entry, when the frame's number is above 2^31 - 1, and
  // where numbers that make no sense show the frame amid earlier ones and
  // seek_to_frame to it fails.
  [[nodiscard]] bool seek_to_key_frame(size_t keyframes_entry);

  // Makes `frame_number` the next frame, with the same pictures from there on
  // as decoding from the start gives. Starts from whichever is nearest: the
  // present position, a key frame or a cached picture. False when the file has
  // no such frame or decoding ends before it; stream_end() then says why. Where
  // decoding has ended before, a seek that would come to the same end costs nothing.
  [[nodiscard]] bool seek_to_frame(int32_t frame_number);

  const FrameCaches& caches() const;

  // Pictures that were rebuilt, or tried to be, since the decoder was made: what
  // its work costs.
  uint64_t pictures_rebuilt() const;

  // Decodes the file's sound once and returns it; an empty track when the
  // file has none or it cannot be decoded.
  const PcmTrack& decode_audio();

  // How much sound decode_audio would give, without the memory that it takes; that
  // gives none afterwards.
  SoundExtent measure_audio();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_FRAME_DECODER_H_
