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

// One picture out for each one in; progressive ones pass as they are.
constexpr char kDeinterlace[] = "bwdif=mode=send_frame:parity=auto:deint=interlaced";

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
  const Input input{frame->width, frame->height, frame->format};
  if (input_ != input || input_deinterlaced_ != deinterlacing_) {
    Flush();
    input_ = input;
    input_deinterlaced_ = deinterlacing_;
    // A picture too small to deinterlace is at least brought upright.
    const std::string separator = orientation_.empty() ? "" : ",";
    if (!deinterlacing_ || !Build(*frame, kDeinterlace + separator + orientation_)) {
      if (orientation_.empty() || !Build(*frame, orientation_)) graph_.reset();
    }
  }
  Frame reference = Reference(*frame);
  if (graph_ == nullptr) {
    ready_.push_back(std::move(reference));
    return;
  }
  if (av_buffersrc_add_frame(source_, reference.get()) >= 0) Collect();
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

void FrameFilter::Collect() {
  while (true) {
    Frame frame(av_frame_alloc());
    if (frame == nullptr) throw std::bad_alloc();
    if (av_buffersink_get_frame(sink_, frame.get()) < 0) return;
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
