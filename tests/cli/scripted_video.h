// SPDX-License-Identifier: MIT
//
// A media framework that plays a script, for conversions without files.
#ifndef QOLM_TESTS_CLI_SCRIPTED_VIDEO_H_
#define QOLM_TESTS_CLI_SCRIPTED_VIDEO_H_

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/video_framework.h"

namespace qolm::cli {

struct VideoScript {
  uint32_t width = 32;
  uint32_t height = 16;
  uint32_t fps_numerator = 25;
  uint32_t fps_denominator = 1;
  std::optional<int64_t> duration_100ns;
  int frames = 0;                 // delivered before the end of the stream
  bool moving = true;             // whether frames differ from each other
  std::optional<int> still_from;  // this frame and all behind it are the same
  media::VideoReader::Losses losses;
  std::string open_failure;                                  // when not empty, nothing opens
  std::function<void(int frame)> before_frame = [](int) {};  // called before each delivery
  std::function<void()> while_opening = [] {};
  std::function<void()> before_end = [] {};
};

class ScriptedBuffer : public media::VideoBuffer {
 public:
  explicit ScriptedBuffer(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
  std::optional<PitchedRows> Lock2D() override { return std::nullopt; }
  void Unlock2D() override {}
  std::optional<Bytes> Lock() override { return Bytes{bytes_.data(), bytes_.size()}; }
  void Unlock() override {}

 private:
  std::vector<uint8_t> bytes_;
};

class ScriptedSample : public media::VideoSample {
 public:
  explicit ScriptedSample(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
  std::unique_ptr<media::VideoBuffer> ConvertToContiguousBuffer() override {
    return std::make_unique<ScriptedBuffer>(bytes_);
  }

 private:
  std::vector<uint8_t> bytes_;
};

class ScriptedReader : public media::VideoReader {
 public:
  explicit ScriptedReader(const VideoScript& script) : script_(script) {}
  bool SetStreamSelection(Streams, bool) override { return true; }
  bool SetOutputRgb32() override { return true; }
  std::optional<FrameRate> NativeFrameRate() override {
    return FrameRate{script_.fps_numerator, script_.fps_denominator};
  }
  std::optional<FrameSize> CurrentFrameSize() override {
    return FrameSize{script_.width, script_.height};
  }
  std::optional<int32_t> CurrentDefaultStride() override { return std::nullopt; }
  std::optional<int64_t> PresentationDuration() override { return script_.duration_100ns; }
  ReadResult ReadSample() override {
    ReadResult result;
    result.succeeded = true;
    result.losses = script_.losses;
    if (next_ >= script_.frames) {
      script_.before_end();
      result.end_of_stream = true;
      return result;
    }
    script_.before_frame(next_);
    std::vector<uint8_t> bytes(size_t{4} * script_.width * script_.height);
    const int shown = std::min(next_, script_.still_from.value_or(next_));
    uint32_t noise = script_.moving ? static_cast<uint32_t>(shown) * 2654435761U + 1 : 1;
    for (uint8_t& byte : bytes) {
      noise = noise * 1664525U + 1013904223U;
      byte = static_cast<uint8_t>(noise >> 24);
    }
    result.sample = std::make_unique<ScriptedSample>(std::move(bytes));
    result.timestamp = int64_t{400000} * next_;
    ++next_;
    return result;
  }
  std::string failure_reason() const override { return {}; }

 private:
  const VideoScript& script_;
  int next_ = 0;
};

class ScriptedFramework : public media::VideoFramework {
 public:
  explicit ScriptedFramework(const VideoScript& script) : script_(script) {}
  std::unique_ptr<media::VideoReader> Open(const std::filesystem::path&,
                                           const std::optional<ReaderAttributes>&) override {
    script_.while_opening();
    if (!script_.open_failure.empty()) return nullptr;
    return std::make_unique<ScriptedReader>(script_);
  }
  std::string failure_reason() const override { return script_.open_failure; }

 private:
  const VideoScript& script_;
};

}  // namespace qolm::cli

#endif  // QOLM_TESTS_CLI_SCRIPTED_VIDEO_H_
