// SPDX-License-Identifier: MIT
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio/audio_coding_mode.h"
#include "cli/options.h"
#include "export/export_options.h"
#include "fuzz/input_reader.h"
#include "fuzz/require.h"
#include "fuzz/targets.h"

namespace qolm::fuzz {
namespace {

enum class Outcome { kValue, kNoNumber, kOutOfRange };

// ParseInteger by way of the C library, which knows the same grammar.
Outcome ParseByLibrary(const std::string& text, int32_t& value) {
  char* end = nullptr;
  errno = 0;
  const long long number = std::strtoll(text.c_str(), &end, 10);
  if (end == text.c_str()) return Outcome::kNoNumber;
  if (errno == ERANGE || number < std::numeric_limits<int32_t>::min() ||
      number > std::numeric_limits<int32_t>::max()) {
    return Outcome::kOutOfRange;
  }
  value = static_cast<int32_t>(number);
  return Outcome::kValue;
}

Outcome ParseInteger(const std::string& text, int32_t& value) {
  try {
    value = cli::ParseInteger(text);
    return Outcome::kValue;
  } catch (const std::invalid_argument& error) {
    QOLM_REQUIRE(std::string(error.what()) == "invalid stoi argument");
    return Outcome::kNoNumber;
  } catch (const std::out_of_range& error) {
    QOLM_REQUIRE(std::string(error.what()) == "stoi argument out of range");
    return Outcome::kOutOfRange;
  }
}

// False when a number is none.
bool Parse(const std::vector<std::string>& arguments, size_t first, cli::EncodeOptions& options) {
  try {
    options = cli::ParseEncodeOptions(arguments, first);
    return true;
  } catch (const std::invalid_argument&) {
    return false;
  } catch (const std::out_of_range&) {
    return false;
  }
}

bool Same(const cli::EncodeOptions& a, const cli::EncodeOptions& b) {
  const encoder::EncodeSettings& s = a.settings;
  const encoder::EncodeSettings& t = b.settings;
  return s.gop_length == t.gop_length && s.quality == t.quality && s.vfr == t.vfr &&
         s.gabor == t.gabor && s.bidirectional == t.bidirectional && s.fast_start == t.fast_start &&
         s.cclc == t.cclc && s.flat_blocks == t.flat_blocks && s.sparse_levels == t.sparse_levels &&
         s.motion_prediction == t.motion_prediction && s.deblocking == t.deblocking &&
         s.temporal_filter == t.temporal_filter && s.adaptive_gop == t.adaptive_gop &&
         s.pre_analysis == t.pre_analysis && s.audio_interleave == t.audio_interleave &&
         s.audio_coding_mode == t.audio_coding_mode && a.audio.enabled == b.audio.enabled &&
         a.audio.sample_rate == b.audio.sample_rate && a.audio.channels == b.audio.channels &&
         a.frame_limit == b.frame_limit && a.overwrite == b.overwrite;
}

}  // namespace

void EncodeOptions(Input input) {
  const std::vector<std::string> arguments = Arguments(input);
  for (const std::string& argument : arguments) {
    int32_t value = 0;
    int32_t expected = 0;
    const Outcome outcome = ParseInteger(argument, value);
    QOLM_REQUIRE(outcome == ParseByLibrary(argument, expected));
    QOLM_REQUIRE(value == expected);
  }

  cli::EncodeOptions options;
  if (!Parse(arguments, 0, options)) return;
  QOLM_REQUIRE(options.settings.width == 0 && options.settings.height == 0);
  QOLM_REQUIRE(options.audio.channels == 1 || options.audio.channels == 2);
  const audio::AudioCodingMode mode = options.settings.audio_coding_mode;
  QOLM_REQUIRE(mode == audio::AudioCodingMode::kAdpcm ||
               mode == audio::AudioCodingMode::kTransform);

  // Where reading starts is all that the arguments before it decide, and a word
  // that no option has stands for nothing.
  std::vector<std::string> longer = {"--quality", "encode"};
  longer.insert(longer.end(), arguments.begin(), arguments.end());
  cli::EncodeOptions again;
  QOLM_REQUIRE(Parse(longer, 2, again));
  QOLM_REQUIRE(Same(options, again));
  longer.insert(longer.begin() + 2, "--no-such-option");
  QOLM_REQUIRE(Parse(longer, 2, again));
  QOLM_REQUIRE(Same(options, again));
}

void ExportOptions(Input input) {
  const std::vector<std::string> arguments = Arguments(input);
  exporter::OptionsProblem problem;
  const auto options = exporter::ParseExportOptions(arguments, problem);
  if (!options) {
    QOLM_REQUIRE(!problem.text.empty());
    return;
  }
  if (options->help || options->version) return;
  QOLM_REQUIRE(options->to_standard_output == (options->output == "-"));
  const bool picks_frames =
      options->choice.frame || options->choice.seconds || options->choice.sheet;
  QOLM_REQUIRE(!picks_frames || options->form == exporter::Form::kPng);
  QOLM_REQUIRE(static_cast<int>(options->choice.frame.has_value()) +
                   static_cast<int>(options->choice.seconds.has_value()) +
                   static_cast<int>(options->choice.sheet.has_value()) <=
               1);
  if (options->choice.frame) QOLM_REQUIRE(*options->choice.frame >= 0);
  if (options->choice.seconds) QOLM_REQUIRE(*options->choice.seconds >= 0.0);
  if (options->choice.sheet) {
    QOLM_REQUIRE(options->choice.sheet->columns >= 1 && options->choice.sheet->rows >= 1);
    QOLM_REQUIRE(options->choice.sheet->columns <= exporter::kMaxSheetSide);
    QOLM_REQUIRE(options->choice.sheet->rows <= exporter::kMaxSheetSide);
  }
}

}  // namespace qolm::fuzz
