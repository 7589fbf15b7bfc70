// SPDX-License-Identifier: MIT
#include "fuzz/targets.h"

#include <array>

namespace qolm::fuzz {

std::span<const Target> AllTargets() {
  static constexpr std::array kTargets = {
      Target{"rans", Rans},
      Target{"frequency_table", FrequencyTable},
      Target{"context_rans", ContextRans},
      Target{"coefficient_tokens", CoefficientTokens},
      Target{"coefficient_stream", CoefficientStream},
      Target{"key_frame", KeyFrame},
      Target{"predicted_frame", PredictedFrame},
      Target{"bidirectional_frame", BidirectionalFrame},
      Target{"adpcm_audio", AdpcmAudio},
      Target{"transform_audio", TransformAudio},
      Target{"file", File},
      Target{"large_file", LargeFile},
      Target{"round_trip", RoundTrip},
      Target{"encode_options", EncodeOptions},
      Target{"export_options", ExportOptions},
      Target{"video_source", VideoSource},
      Target{"audio_source", AudioSource},
#ifdef QOLM_FUZZ_FFMPEG
      Target{"source", Source},
#else
      Target{"source", [](Input) {}},  // nothing of it is in this build
#endif
      Target{"row_layout", RowLayout},
  };
  return kTargets;
}

}  // namespace qolm::fuzz
