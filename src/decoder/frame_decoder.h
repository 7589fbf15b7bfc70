// SPDX-License-Identifier: MIT
//
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
#include "video/picture/colour_conversion.h"
#include "video/picture/yuv_planes.h"

namespace qolm::decoder {

inline constexpr uint64_t kDefaultCacheBytes = uint64_t{256} << 20;

// A delivered picture.
struct OutputFrame {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> pixels;   // width * height * 4 bytes, see PixelOrder
  int64_t presentation_tag = 0;  // number of the frame in display order

  // Identifies the picture in `pixels`, unique in this process; 0 for none. next_frame
  // does not rewrite pixels that already hold the wanted picture, so callers that
  // modify them must set this to 0.
  uint64_t picture_id = 0;
};

// Why the stream has ended.
enum class StreamEnd {
  kNotReached,     // the last call delivered a frame, or there was no call yet
  kComplete,       // every frame that the file declares was delivered
  kFramesMissing,  // the records end before the frame count of the header, or the header
                   // has none because the file was never finished
  kDamagedRecord,  // a record could not be read or reconstructed
};

class FrameDecoder {
 public:
  // `reader` must be open and outlive the decoder. Pictures are allocated on the first
  // request for a frame. `cache_bytes` is the budget of the seek caches.
  explicit FrameDecoder(container::ContainerReader& reader,
                        video::PixelOrder order = video::PixelOrder::kRgba,
                        uint64_t cache_bytes = kDefaultCacheBytes);
  ~FrameDecoder();
  FrameDecoder(const FrameDecoder&) = delete;
  FrameDecoder& operator=(const FrameDecoder&) = delete;

  // The next frame; false at the end of the file or at a record that cannot be read or
  // reconstructed, and from then on until a seek. Pending frames are delivered before
  // such a record ends the stream. Reads at most one video record, and in files with
  // bidirectional frames up to DisplayOrder::kMaxPending more (consecutive repeat runs
  // count as one), limited by DisplayOrder::kMaxPendingPlaneBytes. A repeated frame into
  // an OutputFrame that already holds its picture copies nothing.
  [[nodiscard]] bool next_frame(OutputFrame& out);

  // next_frame without the conversion to packed pixels: planes() returns the planes of
  // the frame until the next call. Both functions advance by one frame and can be mixed.
  [[nodiscard]] bool next_planes();

  // The planes of the last delivered frame; empty before the first frame, unspecified
  // after a damaged record.
  const video::YuvPlanes& planes() const;

  // The picture_id of the picture in planes(): equal ids mean the same picture.
  uint64_t picture_id() const;

  // Frames returned so far; after a seek, the number of the next frame.
  int32_t frames_delivered() const;

  StreamEnd stream_end() const;

  // Makes the frame of this entry of reader.keyframes() the next one. False when there
  // is no such entry, when the frame's number exceeds 2^31 - 1, and when inconsistent
  // frame numbers display it among earlier frames and seek_to_frame to it fails.
  [[nodiscard]] bool seek_to_key_frame(size_t keyframes_entry);

  // Makes `frame_number` the next frame; the pictures from there on are those of decoding
  // from the start. Decodes from the nearest of the current position, a key frame and a
  // cached snapshot. False when the file has no such frame or decoding ends before it;
  // stream_end() returns the reason. The last such end is remembered, so that repeated
  // seeks beyond it cost nothing.
  [[nodiscard]] bool seek_to_frame(int32_t frame_number);

  const FrameCaches& caches() const;

  // The number of pictures reconstructed so far, failed attempts included: a measure of
  // the decoding work.
  uint64_t pictures_rebuilt() const;

  // Decodes the file's audio once and returns it; an empty track when the file has none
  // or it cannot be decoded.
  const PcmTrack& decode_audio();

  // The extent of the track that decode_audio would return, without allocating it.
  // Afterwards decode_audio returns an empty track.
  AudioExtent measure_audio();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_FRAME_DECODER_H_
