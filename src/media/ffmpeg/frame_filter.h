// SPDX-License-Identifier: MIT
//
// Rotates decoded pictures upright, deinterlaces them and tone-maps high dynamic range (PQ,
// HLG) to standard dynamic range.
#ifndef QOLM_MEDIA_FFMPEG_FRAME_FILTER_H_
#define QOLM_MEDIA_FFMPEG_FRAME_FILTER_H_

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

// The filters that show a stored picture as its display matrix (nine values, row
// by row, as containers carry it) asks for, rounded to quarter turns; empty when
// it is upright already.
std::string UprightFilters(const int32_t* display_matrix);

class FrameFilter {
 public:
  // `orientation` are filters as above. `time_base` is that of the pictures'
  // timestamps.
  FrameFilter(std::string orientation, AVRational time_base)
      : orientation_(std::move(orientation)), time_base_(time_base) {}

  // Passes one picture in; null ends the stream. Receive returns every picture once, in
  // order, some only after the next one was sent.
  void Send(const AVFrame* frame);
  Frame Receive();  // null when another Send is needed

  // Whether high dynamic range pictures passed unchanged because no filter could map them.
  bool tone_mapping_failed() const { return tone_mapping_failed_; }

 private:
  struct Input {
    int width = 0;
    int height = 0;
    int format = 0;
    bool is_hdr = false;
    friend bool operator==(const Input&, const Input&) = default;
  };
  void SetUp(const AVFrame& frame);
  bool BuildChain(const AVFrame& frame, bool deinterlace, bool tone_map);
  bool Build(const AVFrame& frame, const std::string& filters);
  // False when a filter failed.
  bool Run(const AVFrame& frame);
  bool Collect();
  void Flush();

  std::string orientation_;
  AVRational time_base_;
  bool deinterlacing_ = false;  // from the first interlaced picture on
  std::optional<Input> input_;  // what the graph, or its absence, is set up for
  bool input_deinterlaced_ = false;
  bool tone_mapping_failed_ = false;
  FilterGraph graph_;
  AVFilterContext* source_ = nullptr;
  AVFilterContext* sink_ = nullptr;
  std::deque<Frame> ready_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_FRAME_FILTER_H_
