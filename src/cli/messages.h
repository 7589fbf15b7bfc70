// SPDX-License-Identifier: MIT
//
// The banner, the usage text, the error lines and the notices. Error lines are
// for standard error and end with the path in question; everything else is
// for standard output. Every text ends with a newline.
#ifndef QOLM_CLI_MESSAGES_H_
#define QOLM_CLI_MESSAGES_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace qolm::cli::messages {

std::string Banner();

// `program` is argument 0 as given.
std::string Usage(std::string_view program);

// "[-] Error: " and `message`.
std::string Error(std::string_view message);

// An option was given where a file name is expected.
std::string OptionAsPathError(std::string_view option);
// A conversion rewrites its file's header at the end, so it cannot write to a pipe.
std::string StandardOutputError();
std::string InputOpenError(std::string_view reason, std::string_view input_path);
std::string OutputOpenError(std::string_view reason, std::string_view output_path);
std::string WriteError(std::string_view reason, std::string_view output_path);
// The finished part file could not replace the output and is kept.
std::string RenameError(std::string_view reason, std::string_view part_path,
                        std::string_view output_path);
std::string InterruptedWithPart(uint32_t frames, std::string_view part_path);
std::string InterruptedWithNothing(std::string_view output_path);
// The beginning of a file-system error; its reason and the input's path follow.
std::string InputSizeUnknown(std::string_view output_path);
std::string ContainerOpenError(std::string_view reason, std::string_view path);
std::string LegacyFormatError();
std::string ReportWriteError(std::string_view reason);
// For standard error, beside a conversion that succeeded.
std::string ReportLostNotice(std::string_view reason, std::string_view output_path);

// `reason` may be empty.
std::string AudioNotReadNotice(std::string_view reason);
// Follows the line with the number of samples.
std::string AudioTruncatedNotice(std::string_view reason);
std::string DamagedAudioNotice(double seconds);
std::string AudioOffNotice();
// `phrase` is a notice of the source.
std::string SourceNotice(std::string_view phrase);
std::string IndexAtEndNotice();
std::string NoFramesNotice();
std::string SourceReadNotice(std::string_view reason, uint32_t frames);
std::string DamagedPicturesNotice(int64_t pictures);
std::string LeftOutPicturesNotice(int64_t pictures, int64_t decoded);
std::string EarlyEndNotice(uint32_t frames, int32_t expected_frames);
// For the status line, without a newline. `duration_ms` is the source's, 0 or less
// when unknown.
std::string ReadingAudioStatus(double seconds, int32_t duration_ms);
std::string CodingAudioStatus(double seconds);
// An unfinished file, and what the export program can save of it.
enum class Saveable { kNothing, kAudio, kFrames };
std::string NeverFinishedNotice(Saveable saveable);
// A file without records, which may be unfinished.
std::string NoFrameYetNotice(bool holds_audio);
std::string FewerFramesDecodedNotice(uint64_t frames, uint32_t frames_in_header);

}  // namespace qolm::cli::messages

#endif  // QOLM_CLI_MESSAGES_H_
