// SPDX-License-Identifier: MIT
//
// Decoded pictures, and the pool that converted ones are allocated from.
#ifndef QOLM_MEDIA_FFMPEG_PICTURE_H_
#define QOLM_MEDIA_FFMPEG_PICTURE_H_

extern "C" {
#include <libavutil/mem.h>
}

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "media/ffmpeg/yuv_picture.h"

namespace qolm::media::ffmpeg {

// Rows of pixels B, G, R, X from top to bottom, each aligned for the widest vectors.
class PackedPicture {
 public:
  PackedPicture(int width, int height)
      : height_(static_cast<size_t>(height)),
        pitch_((static_cast<size_t>(width) * 4 + kAlignment - 1) / kAlignment * kAlignment),
        bytes_(static_cast<uint8_t*>(av_mallocz(height_ * pitch_ + kAlignment))) {
    if (bytes_ == nullptr) throw std::bad_alloc();
  }

  uint8_t* data() { return bytes_.get(); }
  const uint8_t* data() const { return bytes_.get(); }
  size_t pitch() const { return pitch_; }
  size_t size() const { return height_ * pitch_; }

 private:
  static constexpr size_t kAlignment = 64;
  struct Free {
    void operator()(uint8_t* bytes) const { av_free(bytes); }
  };

  size_t height_;
  size_t pitch_;
  std::unique_ptr<uint8_t, Free> bytes_;
};

// Allocates pictures of one size and reuses them once their last owner has released them,
// on any thread, even after the pool is destroyed.
class PicturePool {
 public:
  PicturePool(int width, int height)
      : width_(width), height_(height), stock_(std::make_shared<Stock>()) {}

  std::shared_ptr<PackedPicture> Acquire() {
    std::unique_ptr<PackedPicture> picture = stock_->Take();
    if (picture == nullptr) picture = std::make_unique<PackedPicture>(width_, height_);
    return std::shared_ptr<PackedPicture>(picture.release(),
                                          [stock = stock_](PackedPicture* returned) {
                                            stock->Return(std::unique_ptr<PackedPicture>(returned));
                                          });
  }

 private:
  class Stock {
   public:
    std::unique_ptr<PackedPicture> Take() {
      const std::lock_guard lock(mutex_);
      if (pictures_.empty()) return nullptr;
      std::unique_ptr<PackedPicture> picture = std::move(pictures_.back());
      pictures_.pop_back();
      return picture;
    }
    void Return(std::unique_ptr<PackedPicture> picture) noexcept {
      const std::lock_guard lock(mutex_);
      try {
        pictures_.push_back(std::move(picture));
      } catch (const std::bad_alloc&) {
        // If the list cannot grow, the picture is freed.
      }
    }

   private:
    std::mutex mutex_;
    std::vector<std::unique_ptr<PackedPicture>> pictures_;
  };

  int width_;
  int height_;
  std::shared_ptr<Stock> stock_;
};

// Either planes or packed pixels.
struct Picture {
  uint64_t number = 0;  // as VideoFrame::picture_number
  std::optional<YuvPicture> yuv;
  std::shared_ptr<const PackedPicture> packed;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PICTURE_H_
