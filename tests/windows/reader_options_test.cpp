// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "media/mediafoundation/mediafoundation_audio_framework.h"
#include "media/mediafoundation/mediafoundation_video_framework.h"
#include "media/mediafoundation/source_reader.h"

namespace qolm::media::mediafoundation {
namespace {

// The store holds these two values and nothing else.
void ExpectStored(const ReaderOptions& options, const GUID& first_key, bool first,
                  const GUID& second_key, bool second) {
  ComPtr<IMFAttributes> store;
  ASSERT_HRESULT_SUCCEEDED(MakeAttributeStore(options, store));
  EXPECT_EQ(Uint32Attribute(*store.Get(), first_key), first ? 1u : 0u);
  EXPECT_EQ(Uint32Attribute(*store.Get(), second_key), second ? 1u : 0u);
  UINT32 count = 0;
  store->GetCount(&count);
  EXPECT_EQ(count, 2u);
}

TEST(ReaderOptions, EveryAttributeHasItsOwnKey) {
  for (const bool first : {false, true}) {
    for (const bool second : {false, true}) {
      ExpectStored(OptionsOf(VideoFramework::ReaderAttributes{first, second}),
                   MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, first,
                   MF_SOURCE_READER_ENABLE_VIDEO_PROCESSING, second);
      ExpectStored(OptionsOf(AudioFramework::ReaderAttributes{first, second}),
                   MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, first, MF_LOW_LATENCY, second);
    }
  }
}

}  // namespace
}  // namespace qolm::media::mediafoundation
