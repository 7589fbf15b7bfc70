// SPDX-License-Identifier: MIT
//
// Every command, option and preset name of the command line, once: the parser compares
// with them and the usage text prints them.
#ifndef QOLM_CLI_OPTION_NAMES_H_
#define QOLM_CLI_OPTION_NAMES_H_

#include <string_view>

namespace qolm::cli::names {

inline constexpr std::string_view kEncodeCommand = "encode";
inline constexpr std::string_view kInfoCommand = "info";
inline constexpr std::string_view kHelpCommand = "help";
inline constexpr std::string_view kHelp = "--help";
inline constexpr std::string_view kHelpShort = "-h";
inline constexpr std::string_view kVersion = "--version";

inline constexpr std::string_view kOptionsEnd =
    "--";  // ends the options of other programs; not accepted here
inline constexpr std::string_view kStandardInput = "-";  // in place of an input's path

inline constexpr std::string_view kQuality = "--quality";
inline constexpr std::string_view kGop = "--gop";
inline constexpr std::string_view kVfrOn = "--vfr";
inline constexpr std::string_view kVfrOff = "--no-vfr";
inline constexpr std::string_view kGaborOn = "--gabor";
inline constexpr std::string_view kGaborOff = "--no-gabor";
inline constexpr std::string_view kFastStart = "--fast-start";
inline constexpr std::string_view kMonolithic = "--monolithic";
inline constexpr std::string_view kCclcOn = "--cclc";
inline constexpr std::string_view kCclcOff = "--no-cclc";
inline constexpr std::string_view kFrameLimit = "--frames";
inline constexpr std::string_view kAudioPreset = "--audio";
inline constexpr std::string_view kAudioMode = "--audio-mode";
inline constexpr std::string_view kOverwrite = "--overwrite";
inline constexpr std::string_view kNoAudio = "--no-audio";
inline constexpr std::string_view kInterleaveOn = "--interleave";
inline constexpr std::string_view kInterleaveOff = "--no-interleave";
inline constexpr std::string_view kBidirectionalOn = "--bidirectional";
inline constexpr std::string_view kBidirectionalOff = "--no-bidirectional";
inline constexpr std::string_view kAdaptiveGopOn = "--adaptive-gop";
inline constexpr std::string_view kAdaptiveGopOff = "--no-adaptive-gop";
inline constexpr std::string_view kTemporalFilterOn = "--temporal-filter";
inline constexpr std::string_view kTemporalFilterOff = "--no-temporal-filter";
inline constexpr std::string_view kFlatBlocksOn = "--flat-blocks";
inline constexpr std::string_view kFlatBlocksOff = "--no-flat-blocks";
inline constexpr std::string_view kSparseLevelsOn = "--sparse-levels";
inline constexpr std::string_view kSparseLevelsOff = "--no-sparse-levels";
inline constexpr std::string_view kMotionPredictionOn = "--motion-prediction";
inline constexpr std::string_view kMotionPredictionOff = "--no-motion-prediction";
inline constexpr std::string_view kDeblockingOn = "--deblocking";
inline constexpr std::string_view kDeblockingOff = "--no-deblocking";
inline constexpr std::string_view kPreAnalysisOn = "--pre-analysis";
inline constexpr std::string_view kPreAnalysisOff = "--no-pre-analysis";

inline constexpr std::string_view kPreset32k = "32k";
inline constexpr std::string_view kPresetSpeech = "speech";
inline constexpr std::string_view kPreset24k = "24k";
inline constexpr std::string_view kPresetCd = "cd";
inline constexpr std::string_view kPreset48k = "48k";
inline constexpr std::string_view kPresetOff = "off";
inline constexpr std::string_view kPresetNone = "none";

inline constexpr std::string_view kModeTransform = "transform";
inline constexpr std::string_view kModeMdct = "mdct";
inline constexpr std::string_view kModeAdpcm = "adpcm";

}  // namespace qolm::cli::names

#endif  // QOLM_CLI_OPTION_NAMES_H_
