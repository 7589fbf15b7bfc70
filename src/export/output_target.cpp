// SPDX-License-Identifier: MIT
#include "export/output_target.h"

#include <cerrno>
#include <utility>

#include "platform/output_stream.h"
#include "platform/removal_on_signal.h"

namespace qolm::exporter {
namespace {

constexpr size_t kBufferBytes = size_t{1} << 20;

}  // namespace

OutputTarget::~OutputTarget() {
  if (owns_stream_ && stream_ != nullptr) std::fclose(stream_);
}

OutputTarget::OutputTarget(std::filesystem::path path, std::filesystem::path input,
                           output::ReplacePolicy policy)
    : file_({std::move(path), std::move(input), std::move(policy)}) {}

std::error_code OutputTarget::Validate() const {
  output::OutputPath ignored;
  return file_ ? output::ValidateOutputPath(file_->path, file_->input, file_->policy, ignored)
               : std::error_code();
}

bool OutputTarget::open() {
  if (!file_) {
    stream_ = platform::BinaryStandardOutput();
    return true;
  }
  if (const std::error_code refusal = prepare_part();
      refusal && refusal != output::OutputRefusal::kNotRegular) {
    return fail(refusal);
  }
  stream_ = platform::OpenStream(commits_part_ ? part_.path() : file_->path);
  if (stream_ == nullptr) return fail_with_errno();
  owns_stream_ = true;
  buffer_.resize(kBufferBytes);
  std::setvbuf(stream_, buffer_.data(), _IOFBF, buffer_.size());
  return true;
}

std::error_code OutputTarget::prepare_part() {
  // No signal may terminate the program between the file's creation and its registration.
  const platform::ScopedSignalBlock block;
  const std::error_code refusal = part_.Prepare(file_->path, file_->input, file_->policy);
  commits_part_ = !refusal;
  if (commits_part_) part_.RemoveOnSignal();
  return refusal;
}

bool OutputTarget::write(std::span<const uint8_t> bytes) {
  if (error_) return false;
  errno = 0;
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream_) != bytes.size()) return fail_with_errno();
  return true;
}

bool OutputTarget::seek(uint64_t position) {
  if (error_) return false;
  errno = 0;
  return platform::SeekStream(stream_, position) == 0 || fail_with_errno();
}

bool OutputTarget::commit() {
  if (error_) return false;
  errno = 0;
  if (std::fflush(stream_) != 0) return fail_with_errno();
  if (!owns_stream_) return true;
  std::FILE* const closing = stream_;
  stream_ = nullptr;
  if (std::fclose(closing) != 0) return fail_with_errno();
  if (!commits_part_) return true;
  const std::error_code error = part_.Commit();
  return !error || fail(error);
}

bool OutputTarget::fail(std::error_code error) {
  if (!error_) error_ = error;
  return false;
}

bool OutputTarget::fail_with_errno() {
  const int reason = platform::StreamError();
  return fail(std::error_code(reason != 0 ? reason : EIO, std::generic_category()));
}

}  // namespace qolm::exporter
