// SPDX-License-Identifier: MIT
//
// A video framework that answers as a test tells it to and notes what it is
// asked.
#ifndef QOLM_TESTS_SUPPORT_MEDIA_SCRIPTED_FRAMEWORK_H_
#define QOLM_TESTS_SUPPORT_MEDIA_SCRIPTED_FRAMEWORK_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/video_framework.h"

namespace qolm::test {

struct ScriptedSample {
  bool succeeded = true;
  bool end_of_stream = false;
  bool has_sample = true;
  int64_t timestamp = 0;
  uint64_t picture_number = 0;
  bool writes_rgba = false;  // `bytes` as they are; no buffer is to be asked for
  bool has_buffer = true;
  bool offers_rows = false;    // Lock2D succeeds
  bool rows_are_null = false;  // ... but hands no address
  bool lock_succeeds = true;
  bool bytes_are_null = false;
  std::vector<uint8_t> bytes;  // first byte is the lowest address
  ptrdiff_t pitch = 0;
};

struct Script {
  int opens_that_fail = 0;
  std::string open_failure;
  bool selection_succeeds = true;
  bool output_succeeds = true;
  std::string reader_failure;
  std::optional<media::VideoReader::FrameRate> rate;
  std::optional<media::VideoReader::FrameSize> size;
  std::optional<int32_t> stride;
  std::optional<int64_t> duration;
  std::deque<ScriptedSample> samples;  // an empty list is a failing read

  // What was asked, and what is still held.
  std::vector<std::string> calls;
  std::vector<std::filesystem::path> paths;
  int readers = 0;
  int held = 0;   // readers, samples and buffers alive
  int locks = 0;  // locks not given back
};

class ScriptedFramework : public media::VideoFramework {
 public:
  explicit ScriptedFramework(Script& script) : script_(script) {}

  std::unique_ptr<media::VideoReader> Open(
      const std::filesystem::path& path,
      const std::optional<ReaderAttributes>& attributes) override {
    script_.paths.push_back(path);
    script_.calls.push_back(
        !attributes ? "open without attributes"
                    : "open hardware=" + std::to_string(attributes->enable_hardware_transforms) +
                          " processing=" + std::to_string(attributes->enable_video_processing));
    if (script_.opens_that_fail > 0) {
      --script_.opens_that_fail;
      return nullptr;
    }
    return std::make_unique<Reader>(script_);
  }
  std::string failure_reason() const override { return script_.open_failure; }

 private:
  class Held {
   public:
    explicit Held(Script& script) : script_(script) { ++script_.held; }
    ~Held() { --script_.held; }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

   protected:
    Script& script_;
  };

  class Buffer : public media::VideoBuffer, private Held {
   public:
    Buffer(Script& script, ScriptedSample sample) : Held(script), sample_(std::move(sample)) {}

    std::optional<PitchedRows> Lock2D() override {
      script_.calls.push_back("lock 2d");
      if (!sample_.offers_rows) return std::nullopt;
      ++script_.locks;
      return PitchedRows{sample_.rows_are_null ? nullptr : sample_.bytes.data(), sample_.pitch};
    }
    void Unlock2D() override {
      script_.calls.push_back("unlock 2d");
      --script_.locks;
    }
    std::optional<Bytes> Lock() override {
      script_.calls.push_back("lock");
      if (!sample_.lock_succeeds) return std::nullopt;
      ++script_.locks;
      return Bytes{sample_.bytes_are_null ? nullptr : sample_.bytes.data(), sample_.bytes.size()};
    }
    void Unlock() override {
      script_.calls.push_back("unlock");
      --script_.locks;
    }

   private:
    ScriptedSample sample_;
  };

  class Sample : public media::VideoSample, private Held {
   public:
    Sample(Script& script, ScriptedSample sample) : Held(script), sample_(std::move(sample)) {}

    uint64_t picture_number() const override { return sample_.picture_number; }
    bool writes_rgba() const override { return sample_.writes_rgba; }
    void WriteRgba(uint8_t* rgba) override {
      script_.calls.push_back("write rgba");
      std::copy(sample_.bytes.begin(), sample_.bytes.end(), rgba);
    }
    std::unique_ptr<media::VideoBuffer> ConvertToContiguousBuffer() override {
      if (!sample_.has_buffer) return nullptr;
      return std::make_unique<Buffer>(script_, sample_);
    }

   private:
    ScriptedSample sample_;
  };

  class Reader : public media::VideoReader, private Held {
   public:
    explicit Reader(Script& script) : Held(script) { ++script_.readers; }

    bool SetStreamSelection(Streams streams, bool selected) override {
      script_.calls.push_back(std::string(selected ? "select" : "deselect") +
                              (streams == Streams::kAll ? " all" : " first video"));
      return script_.selection_succeeds;
    }
    bool SetOutputRgb32() override {
      script_.calls.push_back("output rgb32");
      return script_.output_succeeds;
    }
    std::optional<FrameRate> NativeFrameRate() override { return script_.rate; }
    std::optional<FrameSize> CurrentFrameSize() override { return script_.size; }
    std::optional<int32_t> CurrentDefaultStride() override { return script_.stride; }
    std::optional<int64_t> PresentationDuration() override { return script_.duration; }
    ReadResult ReadSample() override {
      ReadResult result;
      if (script_.samples.empty()) return result;
      ScriptedSample sample = std::move(script_.samples.front());
      script_.samples.pop_front();
      result.succeeded = sample.succeeded;
      result.end_of_stream = sample.end_of_stream;
      result.timestamp = sample.timestamp;
      if (sample.has_sample) result.sample = std::make_unique<Sample>(script_, std::move(sample));
      return result;
    }
    std::string failure_reason() const override { return script_.reader_failure; }
  };

  Script& script_;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_MEDIA_SCRIPTED_FRAMEWORK_H_
