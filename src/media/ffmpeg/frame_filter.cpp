// SPDX-License-Identifier: MIT
#include "media/ffmpeg/frame_filter.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
}

#include <cstdlib>
#include <new>
#include <utility>

namespace qolm::media::ffmpeg {
namespace {

// One picture out for each one in; progressive ones pass unchanged.
constexpr char kDeinterlace[] = "bwdif=mode=send_frame:parity=auto:deint=interlaced";

// Reference white of HDR, 203 cd/m2, becomes standard white. The curve keeps the
// darker half and compresses brighter values below full white.
constexpr char kToneMap[] =
    "zscale=t=linear:npl=203,format=gbrpf32le,zscale=p=bt709,"
    "tonemap=mobius:param=0.5:desat=0,zscale=t=bt709:m=gbr:r=pc,format=gbrp";

bool IsHighDynamicRange(const AVFrame& frame) {
  return frame.color_trc == AVCOL_TRC_SMPTE2084 || frame.color_trc == AVCOL_TRC_ARIB_STD_B67;
}

// The usual properties of such streams, used where unspecified.
void CompleteHdrColour(AVFrame& frame) {
  if (frame.color_primaries == AVCOL_PRI_UNSPECIFIED) frame.color_primaries = AVCOL_PRI_BT2020;
  if (frame.colorspace == AVCOL_SPC_UNSPECIFIED) frame.colorspace = AVCOL_SPC_BT2020_NCL;
  if (frame.color_range == AVCOL_RANGE_UNSPECIFIED) frame.color_range = AVCOL_RANGE_MPEG;
}

struct InOutDeleter {
  void operator()(AVFilterInOut* list) const { avfilter_inout_free(&list); }
};
using InOut = std::unique_ptr<AVFilterInOut, InOutDeleter>;

InOut MakeEnd(const char* name, AVFilterContext* filter) {
  InOut end(avfilter_inout_alloc());
  if (end == nullptr) throw std::bad_alloc();
  end->name = av_strdup(name);
  end->filter_ctx = filter;
  end->pad_idx = 0;
  end->next = nullptr;
  return end;
}

Frame Reference(const AVFrame& frame) {
  Frame reference(av_frame_clone(&frame));
  if (reference == nullptr) throw std::bad_alloc();
  reference->pts = frame.best_effort_timestamp;
  return reference;
}

}  // namespace

std::string UprightFilters(const int32_t* display_matrix) {
  // A stored point (x, y) is shown at (a x + c y, b x + d y).
  const int64_t a = display_matrix[0];
  const int64_t b = display_matrix[1];
  const int64_t c = display_matrix[3];
  const int64_t d = display_matrix[4];
  if (std::llabs(b) + std::llabs(c) > std::llabs(a) + std::llabs(d)) {
    if (b > 0) return c > 0 ? "transpose=cclock_flip" : "transpose=clock";
    return c > 0 ? "transpose=cclock" : "transpose=clock_flip";
  }
  if (a < 0) return d < 0 ? "hflip,vflip" : "hflip";
  return d < 0 ? "vflip" : "";
}

void FrameFilter::Send(const AVFrame* frame) {
  if (frame == nullptr) {
    Flush();
    return;
  }
  deinterlacing_ = deinterlacing_ || frame->interlaced_frame != 0;
  const Input input{frame->width, frame->height, frame->format, IsHighDynamicRange(*frame)};
  if (input_ != input || input_deinterlaced_ != deinterlacing_) {
    Flush();
    SetUp(*frame);
    input_ = input;
    input_deinterlaced_ = deinterlacing_;
  }
  if (Run(*frame) || !input.is_hdr || tone_mapping_failed_) return;
  tone_mapping_failed_ = true;
  SetUp(*frame);
  Run(*frame);
}

void FrameFilter::SetUp(const AVFrame& frame) {
  const bool tone_map = IsHighDynamicRange(frame) && !tone_mapping_failed_;
  // A picture too small to deinterlace is still rotated and mapped.
  if (BuildChain(frame, deinterlacing_, tone_map) || BuildChain(frame, false, tone_map)) return;
  tone_mapping_failed_ = tone_mapping_failed_ || tone_map;
  if (BuildChain(frame, deinterlacing_, false) || BuildChain(frame, false, false)) return;
  graph_.reset();
}

bool FrameFilter::BuildChain(const AVFrame& frame, bool deinterlace, bool tone_map) {
  std::string filters;
  const auto append = [&filters](const std::string& filter) {
    if (!filters.empty() && !filter.empty()) filters += ",";
    filters += filter;
  };
  if (deinterlace) append(kDeinterlace);
  append(orientation_);
  if (tone_map) append(kToneMap);
  graph_.reset();
  return filters.empty() || Build(frame, filters);
}

bool FrameFilter::Run(const AVFrame& frame) {
  Frame reference = Reference(frame);
  if (graph_ == nullptr) {
    ready_.push_back(std::move(reference));
    return true;
  }
  if (IsHighDynamicRange(frame)) CompleteHdrColour(*reference);
  return av_buffersrc_add_frame(source_, reference.get()) >= 0 && Collect();
}

Frame FrameFilter::Receive() {
  if (ready_.empty()) return nullptr;
  Frame frame = std::move(ready_.front());
  ready_.pop_front();
  return frame;
}

bool FrameFilter::Build(const AVFrame& frame, const std::string& filters) {
  graph_.reset(avfilter_graph_alloc());
  if (graph_ == nullptr) return false;
  const std::string arguments =
      "video_size=" + std::to_string(frame.width) + "x" + std::to_string(frame.height) +
      ":pix_fmt=" + std::to_string(frame.format) + ":time_base=" + std::to_string(time_base_.num) +
      "/" + std::to_string(time_base_.den);
  if (avfilter_graph_create_filter(&source_, avfilter_get_by_name("buffer"), "in",
                                   arguments.c_str(), nullptr, graph_.get()) < 0 ||
      avfilter_graph_create_filter(&sink_, avfilter_get_by_name("buffersink"), "out", nullptr,
                                   nullptr, graph_.get()) < 0) {
    return false;
  }
  AVFilterInOut* outputs = MakeEnd("in", source_).release();
  AVFilterInOut* inputs = MakeEnd("out", sink_).release();
  const int parsed =
      avfilter_graph_parse_ptr(graph_.get(), filters.c_str(), &inputs, &outputs, nullptr);
  const InOut rest_of_inputs(inputs);
  const InOut rest_of_outputs(outputs);
  return parsed >= 0 && avfilter_graph_config(graph_.get(), nullptr) >= 0;
}

bool FrameFilter::Collect() {
  while (true) {
    Frame frame(av_frame_alloc());
    if (frame == nullptr) throw std::bad_alloc();
    const int result = av_buffersink_get_frame(sink_, frame.get());
    if (result < 0) return result == AVERROR(EAGAIN) || result == AVERROR_EOF;
    // Filters may count time in finer units.
    if (frame->pts != AV_NOPTS_VALUE) {
      frame->pts = av_rescale_q(frame->pts, av_buffersink_get_time_base(sink_), time_base_);
    }
    ready_.push_back(std::move(frame));
  }
}

void FrameFilter::Flush() {
  if (graph_ == nullptr) return;
  if (av_buffersrc_add_frame(source_, nullptr) >= 0) Collect();
  graph_.reset();
  input_.reset();
}

}  // namespace qolm::media::ffmpeg
