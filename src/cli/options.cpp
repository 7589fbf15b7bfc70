// SPDX-License-Identifier: MIT
#include "cli/options.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

#include "audio/audio_coding_mode.h"
#include "cli/option_names.h"

namespace qolm::cli {
namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

void ApplyAudioPreset(std::string_view preset, media::AudioOptions& audio) {
  if (preset == names::kPreset32k || preset == names::kPresetSpeech) {
    audio = {1, 32000, 1};
  } else if (preset == names::kPreset24k) {
    audio = {1, 24000, 1};
  } else if (preset == names::kPresetCd) {
    audio = {1, 44100, 2};
  } else if (preset == names::kPreset48k) {
    audio = {1, 48000, 2};
  } else if (preset == names::kPresetOff || preset == names::kPresetNone) {
    audio.enabled = 0;
  }
}

void ApplyAudioMode(std::string_view mode, encoder::EncodeSettings& settings) {
  if (mode == names::kModeTransform || mode == names::kModeMdct) {
    settings.audio_coding_mode = audio::AudioCodingMode::kTransform;
  } else if (mode == names::kModeAdpcm) {
    settings.audio_coding_mode = audio::AudioCodingMode::kAdpcm;
  }
}

// An option is either a switch or takes the next argument as its value.
struct Option {
  std::string_view name;
  void (*set)(EncodeOptions&);
  void (*parse)(EncodeOptions&, std::string_view value);
};

constexpr Option Switch(std::string_view name, void (*set)(EncodeOptions&)) {
  return {name, set, nullptr};
}

constexpr Option Value(std::string_view name, void (*parse)(EncodeOptions&, std::string_view)) {
  return {name, nullptr, parse};
}

constexpr std::array kOptions = {
    Value(names::kQuality,
          [](EncodeOptions& o, std::string_view v) { o.settings.quality = ParseInteger(v); }),
    Value(names::kGop,
          [](EncodeOptions& o, std::string_view v) { o.settings.gop_length = ParseInteger(v); }),
    Switch(names::kVfrOn, [](EncodeOptions& o) { o.settings.vfr = true; }),
    Switch(names::kVfrOff, [](EncodeOptions& o) { o.settings.vfr = false; }),
    Switch(names::kGaborOn, [](EncodeOptions& o) { o.settings.gabor = true; }),
    Switch(names::kGaborOff, [](EncodeOptions& o) { o.settings.gabor = false; }),
    Switch(names::kFastStart, [](EncodeOptions& o) { o.settings.fast_start = true; }),
    Switch(names::kMonolithic, [](EncodeOptions& o) { o.settings.fast_start = false; }),
    Switch(names::kCclcOn, [](EncodeOptions& o) { o.settings.cclc = true; }),
    Switch(names::kCclcOff, [](EncodeOptions& o) { o.settings.cclc = false; }),
    Value(names::kFrameLimit,
          [](EncodeOptions& o, std::string_view v) { o.frame_limit = ParseInteger(v); }),
    Value(names::kAudioPreset,
          [](EncodeOptions& o, std::string_view v) { ApplyAudioPreset(v, o.audio); }),
    Value(names::kAudioMode,
          [](EncodeOptions& o, std::string_view v) { ApplyAudioMode(v, o.settings); }),
    Switch(names::kOverwrite, [](EncodeOptions& o) { o.overwrite = true; }),
    Switch(names::kNoAudio, [](EncodeOptions& o) { o.audio.enabled = 0; }),
    Switch(names::kInterleaveOn, [](EncodeOptions& o) { o.settings.audio_interleave = true; }),
    Switch(names::kInterleaveOff, [](EncodeOptions& o) { o.settings.audio_interleave = false; }),
    Switch(names::kBidirectionalOn, [](EncodeOptions& o) { o.settings.bidirectional = true; }),
    Switch(names::kBidirectionalOff, [](EncodeOptions& o) { o.settings.bidirectional = false; }),
    Switch(names::kAdaptiveGopOn, [](EncodeOptions& o) { o.settings.adaptive_gop = true; }),
    Switch(names::kAdaptiveGopOff, [](EncodeOptions& o) { o.settings.adaptive_gop = false; }),
    Switch(names::kTemporalFilterOn, [](EncodeOptions& o) { o.settings.temporal_filter = true; }),
    Switch(names::kTemporalFilterOff, [](EncodeOptions& o) { o.settings.temporal_filter = false; }),
    Switch(names::kFlatBlocksOn, [](EncodeOptions& o) { o.settings.flat_blocks = true; }),
    Switch(names::kFlatBlocksOff, [](EncodeOptions& o) { o.settings.flat_blocks = false; }),
    Switch(names::kSparseLevelsOn, [](EncodeOptions& o) { o.settings.sparse_levels = true; }),
    Switch(names::kSparseLevelsOff, [](EncodeOptions& o) { o.settings.sparse_levels = false; }),
    Switch(names::kMotionPredictionOn,
           [](EncodeOptions& o) { o.settings.motion_prediction = true; }),
    Switch(names::kMotionPredictionOff,
           [](EncodeOptions& o) { o.settings.motion_prediction = false; }),
    Switch(names::kDeblockingOn, [](EncodeOptions& o) { o.settings.deblocking = true; }),
    Switch(names::kDeblockingOff, [](EncodeOptions& o) { o.settings.deblocking = false; }),
    Switch(names::kPreAnalysisOn, [](EncodeOptions& o) { o.settings.pre_analysis = true; }),
    Switch(names::kPreAnalysisOff, [](EncodeOptions& o) { o.settings.pre_analysis = false; }),
};

// Exceptions name the option and its value.
void ParseValue(const Option& option, const std::string& value, EncodeOptions& options) {
  const auto named = [&](const std::exception& error) {
    return std::string(option.name) + " " + value + ": " + error.what();
  };
  try {
    option.parse(options, value);
  } catch (const std::invalid_argument& error) {
    throw std::invalid_argument(named(error));
  } catch (const std::out_of_range& error) {
    throw std::out_of_range(named(error));
  }
}

}  // namespace

bool IsOptionName(std::string_view argument) {
  return argument == names::kHelp || argument == names::kHelpShort || argument == names::kVersion ||
         argument == names::kOptionsEnd ||
         std::any_of(kOptions.begin(), kOptions.end(),
                     [argument](const Option& option) { return option.name == argument; });
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
  // Stops just beyond the largest valid magnitude, however many digits follow.
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
      if (arguments[i] != option.name) continue;
      if (option.set != nullptr) {
        option.set(options);
        break;
      }
      if (i + 1 < arguments.size()) {
        ParseValue(option, arguments[++i], options);
        break;
      }
    }
  }
  return options;
}

}  // namespace qolm::cli
