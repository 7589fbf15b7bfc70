// SPDX-License-Identifier: MIT
#include "cli/conversion.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <utility>

#include "base/path_bytes.h"
#include "base/picture_limits.h"
#include "cli/encode_report.h"
#include "cli/messages.h"
#include "cli/option_names.h"
#include "cli/progress_line.h"
#include "cli/status_line.h"
#include "container/layout.h"
#include "encoder/encoder_session.h"
#include "media/video_source.h"
#include "output/output_path.h"
#include "output/part_file.h"
#include "platform/source_copy.h"

namespace qolm::cli {
namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;

// Leaving out one picture of this many for a constant rate is not reported.
constexpr int64_t kUnreportedShare = 50;

enum class LoopEnd { kSourceEnded, kFrameLimit, kInterrupted, kWriteFailed };

// Nobody can read a status line that changes faster; shorter work needs none.
constexpr std::chrono::milliseconds kBetweenStatusLines{500};
constexpr double kLongAudioSeconds = 600;

double SecondsOf(const PcmTrack& track) {
  const double values_per_second = double{1} * track.sample_rate * track.channels;
  return values_per_second > 0 ? static_cast<double>(track.samples.size()) / values_per_second : 0;
}

// A source may announce a few frames too many: containers round their duration, and the
// audio may last longer than the pictures. A larger difference is reported.
bool EndedWellBefore(uint32_t frames, const media::VideoSource& source) {
  const int64_t expected = source.frame_count();
  const int64_t two_seconds =
      int64_t{2} * source.fps_numerator() / std::max(source.fps_denominator(), 1);
  const int64_t tolerated = std::max<int64_t>(2, std::min(expected / 20, two_seconds));
  return expected - static_cast<int64_t>(frames) > tolerated;
}

class Conversion {
 public:
  Conversion(const EncodeRequest& request, const EncodeEnvironment& environment, std::ostream& out,
             std::ostream& err)
      : request_(request),
        environment_(environment),
        out_(out),
        err_(err),
        output_(PathFromBytes(request.output_path)),
        replace_policy_{container::BeginsAsQolm, request.options.overwrite},
        settings_(request.options.settings),
        source_(environment.make_video_framework()),
        status_(err, environment.errors_on_terminal) {}

  ~Conversion() { EndProgressLine(); }

  Conversion(const Conversion&) = delete;
  Conversion& operator=(const Conversion&) = delete;

  int Run() {
    if (!PrepareInput() || !OpenInput()) return kFailure;
    session_.emplace(settings_);
    ReadAudio();
    // Reading the audio ends early on an interrupt.
    if (environment_.interrupted()) return Conclude(LoopEnd::kInterrupted);
    if (!OpenOutput()) return kFailure;
    out_ << SettingsLine(settings_) << std::flush;
    start_ = environment_.monotonic_now();
    const LoopEnd end = ConvertFrames();
    return Conclude(end);
  }

 private:
  // Finds the file to read. A source that can be read only once is copied first, since
  // pictures and audio are read one after the other and more than once.
  bool PrepareInput() {
    const bool is_standard_input = request_.input_path == names::kStandardInput;
    std::optional<std::filesystem::path> input;
    if (!is_standard_input) input = PathFromBytes(request_.input_path);
    const auto file = input ? input : platform::SourceCopy::FileOfStandardInput();
    if (file && !platform::SourceCopy::IsNeeded(*file)) {
      input_ = *file;
      return true;
    }

    // A pipe cannot be read again, so the output is validated first.
    output::OutputPath place;
    std::error_code refusal = output::ValidateOutputPath(
        output_, input.value_or(std::filesystem::path()), replace_policy_, place);
    if (!refusal && place.special) refusal = output::OutputRefusal::kNotRegular;
    if (refusal) return Fail(messages::OutputOpenError(refusal.message(), request_.output_path));

    using Status = platform::SourceCopy::Status;
    const platform::SourceCopy::Result copied =
        source_copy_.Make(input, place.target.parent_path(), environment_.interrupted);
    input_ = source_copy_.path();
    switch (copied.status) {
      case Status::kDone:
        return true;
      case Status::kStopped:
        return Fail(messages::InterruptedWithNothing(request_.output_path));
      case Status::kSourceUnreadable:
        return Fail(messages::InputOpenError(copied.reason, request_.input_path));
      case Status::kFolderRefused:
        return Fail(messages::OutputOpenError(copied.reason, request_.output_path));
      case Status::kWriteFailed:
        break;
    }
    return Fail(messages::WriteError(copied.reason, request_.output_path));
  }

  // Opens the source, reports it and completes the settings with its geometry.
  bool OpenInput() {
    const bool open = source_.Open(input_);
    if (environment_.interrupted())
      return Fail(messages::InterruptedWithNothing(request_.output_path));
    if (!open) {
      const std::string& reason = source_.failure_reason();
      return Fail(messages::InputOpenError(reason.empty() ? "unknown format" : reason,
                                           request_.input_path));
    }
    out_ << InputReportText({request_.input_path, source_.width(), source_.height(),
                             source_.fps_numerator(), source_.fps_denominator(),
                             source_.frame_count(), source_.duration_ms()});
    for (const std::string& phrase : source_.notices()) out_ << messages::SourceNotice(phrase);
    settings_.width = source_.width();
    settings_.height = source_.height();
    settings_.fps_numerator = source_.fps_numerator();
    settings_.fps_denominator = source_.fps_denominator();
    settings_.expected_frame_count = std::max(source_.frame_count(), 0);
    settings_.frame_limit = request_.options.frame_limit;
    return true;
  }

  void ReadAudio() {
    if (request_.options.audio.enabled == 0) {
      out_ << messages::AudioOffNotice();
      return;
    }
    PcmTrack sound;
    AudioReadReport report;
    out_ << std::flush;  // a status line follows
    std::chrono::nanoseconds shown = environment_.monotonic_now();
    const auto show_progress = [&](double seconds) {
      const std::chrono::nanoseconds now = environment_.monotonic_now();
      if (now - shown < kBetweenStatusLines) return;
      shown = now;
      status_.Show(messages::ReadingAudioStatus(seconds, source_.duration_ms()));
    };
    const bool read =
        environment_.read_audio(input_, request_.options.audio, sound, report, show_progress);
    status_.Clear();
    if (!read) {
      if (!environment_.interrupted()) out_ << messages::AudioNotReadNotice(report.failure_reason);
      return;
    }
    out_ << AudioStreamLine(sound.sample_rate, sound.channels, sound.samples.size());
    if (report.damaged_seconds > 0) out_ << messages::DamagedAudioNotice(report.damaged_seconds);
    if (!report.failure_reason.empty()) {
      out_ << messages::AudioTruncatedNotice(report.failure_reason);
    }
    audio_seconds_ = SecondsOf(sound);
    session_->set_audio(std::move(sound));
  }

  bool OpenOutput() {
    std::string reason;
    const auto most = static_cast<int32_t>(kMaxPictureSide);
    if (settings_.width > most || settings_.height > most) {
      reason = "pictures larger than " + std::to_string(most) + "x" + std::to_string(most) +
               " cannot be stored";
    } else if (const std::error_code refusal =
                   part_file_.Prepare(output_, input_, replace_policy_)) {
      reason = refusal.message();
    } else {
      // The audio is coded here, which takes a while for a long track.
      if (audio_seconds_ >= kLongAudioSeconds) {
        out_ << std::flush;
        status_.Show(messages::CodingAudioStatus(audio_seconds_));
      }
      const bool opened = session_->open_output(part_file_.path(), environment_.interrupted);
      status_.Clear();
      if (!opened && session_->stream_error() == std::errc::operation_canceled) {
        return Fail(messages::InterruptedWithNothing(request_.output_path));
      }
      if (!opened) reason = session_->stream_error().message();
    }
    if (!reason.empty()) return Fail(messages::OutputOpenError(reason, request_.output_path));
    if (session_->index_too_large_for_front()) {
      out_ << messages::IndexAtEndNotice();
      index_notice_given_ = true;
      settings_.fast_start = false;  // as the session has decided
    }
    return true;
  }

  LoopEnd ConvertFrames() {
    const int32_t limit = request_.options.frame_limit;
    VideoFrame frame;
    while (true) {
      if (environment_.interrupted()) return LoopEnd::kInterrupted;
      if (!source_.ReadNextFrame(frame)) {
        // An interrupt also ends the wait for the source.
        return environment_.interrupted() ? LoopEnd::kInterrupted : LoopEnd::kSourceEnded;
      }
      session_->encode_frame(frame);
      if (session_->stream_error()) return LoopEnd::kWriteFailed;
      ++frames_;
      if (ProgressIsDue(frames_)) WriteProgress();
      if (limit >= 1 && frames_ >= static_cast<uint32_t>(limit)) return LoopEnd::kFrameLimit;
    }
  }

  int Conclude(LoopEnd end) {
    if (end == LoopEnd::kInterrupted && frames_ == 0) {
      session_->abandon();
      Fail(messages::InterruptedWithNothing(request_.output_path));
      return kFailure;
    }
    if (end != LoopEnd::kWriteFailed) session_->finish();
    const std::chrono::nanoseconds stop = environment_.monotonic_now();
    if (session_->stream_error()) {
      session_->abandon();
      Fail(messages::WriteError(session_->stream_error().message(), request_.output_path));
      return kFailure;
    }
    if (end == LoopEnd::kInterrupted) {
      part_file_.Keep();
      Fail(messages::InterruptedWithPart(frames_, BytesFromPath(part_file_.path())));
      return kFailure;
    }
    if (const std::error_code error = part_file_.Commit()) {
      part_file_.Keep();
      Fail(messages::RenameError(error.message(), BytesFromPath(part_file_.path()),
                                 request_.output_path));
      return kFailure;
    }

    ReportProblems(end);
    Statistics statistics;
    statistics.frames_processed = frames_;
    statistics.frames_skipped = session_->frames_skipped();
    statistics.encoding_time_ms = static_cast<double>((stop - start_).count()) * 1e-6;
    statistics.output_bytes = std::filesystem::file_size(output_);
    statistics.input_bytes = InputSize();
    statistics.width = settings_.width;
    statistics.height = settings_.height;
    out_ << StatisticsText(statistics) << std::flush;
    progress_line_open_ = false;  // the statistics begin with the newline it lacks
    return kSuccess;
  }

  // The output is in place by now, and the error must say so.
  uintmax_t InputSize() const {
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(input_, error);
    if (error) {
      throw std::filesystem::filesystem_error(messages::InputSizeUnknown(request_.output_path),
                                              PathFromBytes(request_.input_path), error);
    }
    return size;
  }

  // Notices about a complete file. They precede the statistics, whose last line ends the
  // report.
  void ReportProblems(LoopEnd end) {
    if (session_->index_too_large_for_front() && !index_notice_given_) {
      Notify(messages::IndexAtEndNotice());
    }
    const media::VideoReader::Losses& losses = source_.losses();
    if (losses.damaged > 0) Notify(messages::DamagedPicturesNotice(losses.damaged));
    if (losses.left_out > losses.pictures / kUnreportedShare) {
      Notify(messages::LeftOutPicturesNotice(losses.left_out, losses.pictures));
    }
    if (end != LoopEnd::kSourceEnded) return;
    if (!source_.failure_reason().empty()) {
      Notify(messages::SourceReadNotice(source_.failure_reason(), frames_));
    }
    if (frames_ == 0) {
      Notify(messages::NoFramesNotice());
    } else if (EndedWellBefore(frames_, source_)) {
      Notify(messages::EarlyEndNotice(frames_, source_.frame_count()));
    }
  }

  void Notify(const std::string& notice) {
    EndProgressLine();
    out_ << notice;
  }

  void WriteProgress() {
    out_ << ProgressLine({frames_, source_.frame_count(), session_->frames_skipped(),
                          environment_.monotonic_now() - start_})
         << std::flush;
    progress_line_open_ = true;
  }

  void EndProgressLine() {
    if (progress_line_open_) out_ << "\n" << std::flush;
    progress_line_open_ = false;
  }

  // Always false, for the caller to return.
  bool Fail(const std::string& error_line) {
    EndProgressLine();
    out_ << std::flush;
    err_ << error_line << std::flush;
    return false;
  }

  const EncodeRequest& request_;
  const EncodeEnvironment& environment_;
  std::ostream& out_;
  std::ostream& err_;
  std::filesystem::path input_;  // the file that is read
  const std::filesystem::path output_;
  const output::ReplacePolicy replace_policy_;
  encoder::EncodeSettings settings_;

  // Destroyed in reverse order: the session closes the part file before part_file_ may
  // remove it, and the source closes the copy before source_copy_ removes it.
  platform::SourceCopy source_copy_;
  media::VideoSource source_;
  output::PartFile part_file_;
  std::optional<encoder::EncoderSession> session_;

  StatusLine status_;
  double audio_seconds_ = 0;  // of the track that will be coded

  uint32_t frames_ = 0;  // read from the source and passed to the session
  std::chrono::nanoseconds start_{0};
  bool progress_line_open_ = false;
  bool index_notice_given_ = false;
};

}  // namespace

int EncodeVideo(const EncodeRequest& request, const EncodeEnvironment& environment,
                std::ostream& out, std::ostream& err) {
  return Conversion(request, environment, out, err).Run();
}

}  // namespace qolm::cli
