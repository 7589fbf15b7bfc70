#include "cli/options.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

#include "audio/audio_coding_mode.h"
#include "cli/option_words.h"

namespace qolm::cli {
namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

void ApplyAudioPreset(std::string_view preset, media::AudioOptions& audio) {
  if (preset == words::kPreset32k || preset == words::kPresetSpeech) {
    audio = {1, 32000, 1};
  } else if (preset == words::kPreset24k) {
    audio = {1, 24000, 1};
  } else if (preset == words::kPresetCd) {
    audio = {1, 44100, 2};
  } else if (preset == words::kPreset48k) {
    audio = {1, 48000, 2};
  } else if (preset == words::kPresetOff || preset == words::kPresetNone) {
    audio.enabled = 0;
  }
}

void ApplyAudioMode(std::string_view mode, encoder::EncodeSettings& settings) {
  if (mode == words::kModeTransform || mode == words::kModeMdct) {
    settings.audio_coding_mode = audio::AudioCodingMode::kTransform;
  } else if (mode == words::kModeAdpcm) {
    settings.audio_coding_mode = audio::AudioCodingMode::kAdpcm;
  }
}

// An option either stands alone or takes the argument after it.
struct Option {
  std::string_view word;
  void (*set)(EncodeOptions&);
  void (*take)(EncodeOptions&, std::string_view value);
};

constexpr Option Switch(std::string_view word, void (*set)(EncodeOptions&)) {
  return {word, set, nullptr};
}

constexpr Option Value(std::string_view word, void (*take)(EncodeOptions&, std::string_view)) {
  return {word, nullptr, take};
}

constexpr std::array kOptions = {
    Value(words::kQuality,
          [](EncodeOptions& o, std::string_view v) { o.settings.quality = ParseInteger(v); }),
    Value(words::kGop,
          [](EncodeOptions& o, std::string_view v) { o.settings.gop_length = ParseInteger(v); }),
    Switch(words::kVfrOn, [](EncodeOptions& o) { o.settings.vfr = true; }),
    Switch(words::kVfrOff, [](EncodeOptions& o) { o.settings.vfr = false; }),
    Switch(words::kGaborOn, [](EncodeOptions& o) { o.settings.gabor = true; }),
    Switch(words::kGaborOff, [](EncodeOptions& o) { o.settings.gabor = false; }),
    Switch(words::kFastStart, [](EncodeOptions& o) { o.settings.fast_start = true; }),
    Switch(words::kMonolithic, [](EncodeOptions& o) { o.settings.fast_start = false; }),
    Switch(words::kCclcOn, [](EncodeOptions& o) { o.settings.cclc = true; }),
    Switch(words::kCclcOff, [](EncodeOptions& o) { o.settings.cclc = false; }),
    Value(words::kFrameLimit,
          [](EncodeOptions& o, std::string_view v) { o.frame_limit = ParseInteger(v); }),
    Value(words::kAudioPreset,
          [](EncodeOptions& o, std::string_view v) { ApplyAudioPreset(v, o.audio); }),
    Value(words::kAudioMode,
          [](EncodeOptions& o, std::string_view v) { ApplyAudioMode(v, o.settings); }),
    Switch(words::kOverwrite, [](EncodeOptions& o) { o.overwrite = true; }),
    Switch(words::kNoAudio, [](EncodeOptions& o) { o.audio.enabled = 0; }),
    Switch(words::kInterleaveOn, [](EncodeOptions& o) { o.settings.audio_interleave = true; }),
    Switch(words::kInterleaveOff, [](EncodeOptions& o) { o.settings.audio_interleave = false; }),
    Switch(words::kBidirectionalOn, [](EncodeOptions& o) { o.settings.bidirectional = true; }),
    Switch(words::kBidirectionalOff, [](EncodeOptions& o) { o.settings.bidirectional = false; }),
    Switch(words::kAdaptiveGopOn, [](EncodeOptions& o) { o.settings.adaptive_gop = true; }),
    Switch(words::kAdaptiveGopOff, [](EncodeOptions& o) { o.settings.adaptive_gop = false; }),
    Switch(words::kTemporalFilterOn, [](EncodeOptions& o) { o.settings.temporal_filter = true; }),
    Switch(words::kTemporalFilterOff, [](EncodeOptions& o) { o.settings.temporal_filter = false; }),
    Switch(words::kFlatBlocksOn, [](EncodeOptions& o) { o.settings.flat_blocks = true; }),
    Switch(words::kFlatBlocksOff, [](EncodeOptions& o) { o.settings.flat_blocks = false; }),
    Switch(words::kSparseLevelsOn, [](EncodeOptions& o) { o.settings.sparse_levels = true; }),
    Switch(words::kSparseLevelsOff, [](EncodeOptions& o) { o.settings.sparse_levels = false; }),
    Switch(words::kMotionPredictionOn,
           [](EncodeOptions& o) { o.settings.motion_prediction = true; }),
    Switch(words::kMotionPredictionOff,
           [](EncodeOptions& o) { o.settings.motion_prediction = false; }),
    Switch(words::kDeblockingOn, [](EncodeOptions& o) { o.settings.deblocking = true; }),
    Switch(words::kDeblockingOff, [](EncodeOptions& o) { o.settings.deblocking = false; }),
    Switch(words::kPreAnalysisOn, [](EncodeOptions& o) { o.settings.pre_analysis = true; }),
    Switch(words::kPreAnalysisOff, [](EncodeOptions& o) { o.settings.pre_analysis = false; }),
};

// What is thrown names the option and its value.
void TakeValue(const Option& option, const std::string& value, EncodeOptions& options) {
  const auto named = [&](const std::exception& error) {
    return std::string(option.word) + " " + value + ": " + error.what();
  };
  try {
    option.take(options, value);
  } catch (const std::invalid_argument& error) {
    throw std::invalid_argument(named(error));
  } catch (const std::out_of_range& error) {
    throw std::out_of_range(named(error));
  }
}

}  // namespace

bool IsOptionWord(std::string_view argument) {
  return argument == words::kHelp || argument == words::kHelpShort || argument == words::kVersion ||
         argument == words::kOptionsEnd ||
         std::any_of(kOptions.begin(), kOptions.end(),
                     [argument](const Option& option) { return option.word == argument; });
}

int32_t ParseInteger(std::string_view text) {
  size_t at = 0;
  while (at < text.size() && IsSpace(text[at])) ++at;
  bool negative = false;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    negative = text[at] == '-';
    ++at;
  }
  if (at >= text.size() || !IsDigit(text[at])) {
    throw std::invalid_argument("invalid stoi argument");
  }
  // The magnitude stays just past the largest legal one, however many digits follow.
  const int64_t limit =
      static_cast<int64_t>(std::numeric_limits<int32_t>::max()) + (negative ? 1 : 0);
  int64_t magnitude = 0;
  for (; at < text.size() && IsDigit(text[at]); ++at) {
    magnitude = magnitude * 10 + (text[at] - '0');
    if (magnitude > limit) throw std::out_of_range("stoi argument out of range");
  }
  return static_cast<int32_t>(negative ? -magnitude : magnitude);
}

EncodeOptions ParseEncodeOptions(const std::vector<std::string>& arguments, size_t first) {
  EncodeOptions options;
  for (size_t i = first; i < arguments.size(); ++i) {
    for (const Option& option : kOptions) {
      if (arguments[i] != option.word) continue;
      if (option.set != nullptr) {
        option.set(options);
        break;
      }
      if (i + 1 < arguments.size()) {
        TakeValue(option, arguments[++i], options);
        break;
      }
    }
  }
  return options;
}

}  // namespace qolm::cli
