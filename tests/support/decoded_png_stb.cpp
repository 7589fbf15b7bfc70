// SPDX-License-Identifier: MIT
//
// For systems without libpng.
#include <memory>

#include "support/container_file.h"
#include "support/decoded_png.h"

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#define STBI_NO_STDIO
#include <stb_image.h>

namespace qolm::test {

DecodedPng ReadPng(const std::filesystem::path& path) {
  const std::vector<uint8_t> bytes = ReadBytes(path);
  constexpr int kChannels = 4;
  int width = 0;
  int height = 0;
  int channels_in_file = 0;
  const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
      stbi_load_from_memory(bytes.data(), static_cast<int>(bytes.size()), &width, &height,
                            &channels_in_file, kChannels),
      stbi_image_free);
  if (!pixels) return {};
  const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height) * kChannels;
  return {static_cast<uint32_t>(width),
          static_cast<uint32_t>(height),
          {pixels.get(), pixels.get() + size}};
}

}  // namespace qolm::test
