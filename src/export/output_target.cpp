#include "export/output_target.h"

#include <cerrno>

#include "export/part_cleanup.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace qolm::exporter {
namespace {

constexpr size_t kBufferBytes = size_t{1} << 20;

bool MayBeReplaced(const std::filesystem::path& path) {
#ifdef _WIN32
  return _waccess(path.c_str(), 2) == 0;
#else
  return access(path.c_str(), W_OK) == 0;
#endif
}

std::FILE* OpenForWriting(const std::filesystem::path& path) {
#ifdef _WIN32
  return _wfopen(path.c_str(), L"wb");
#else
  return std::fopen(path.c_str(), "wb");
#endif
}

}  // namespace

bool StandardOutputIsTerminal() {
#ifdef _WIN32
  return _isatty(_fileno(stdout)) != 0;
#else
  return isatty(STDOUT_FILENO) != 0;
#endif
}

std::filesystem::path PartPathOf(const std::filesystem::path& output) {
  std::filesystem::path part = output;
  part += ".part";
  return part;
}

OutputTarget::~OutputTarget() {
  if (owns_stream_ && stream_ != nullptr) std::fclose(stream_);
  std::error_code ignored;
  if (!part_path_.empty()) {
    std::filesystem::remove(part_path_, ignored);
    RemoveOnSignal(nullptr);
  }
}

bool OutputTarget::open(const std::filesystem::path& path) {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(path, ignored);
  if (status.type() == std::filesystem::file_type::directory) {
    return fail(std::make_error_code(std::errc::is_a_directory));
  }
  // A rename would replace even a file that its owner has write-protected.
  if (std::filesystem::exists(status) && !MayBeReplaced(path)) return fail_with_errno();

  path_ = path;
  const bool special = std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
  if (special) {
    stream_ = OpenForWriting(path);
    if (stream_ == nullptr) return fail_with_errno();
  } else if (!open_part()) {
    return false;
  }
  owns_stream_ = true;
  buffer_.resize(kBufferBytes);
  std::setvbuf(stream_, buffer_.data(), _IOFBF, buffer_.size());
  return true;
}

bool OutputTarget::open_part() {
  std::error_code error;
  // A link stays one: the file that it names is replaced.
  const std::filesystem::path linked = std::filesystem::canonical(path_, error);
  if (!error) path_ = linked;
  const std::filesystem::path part = PartPathOf(path_);
  // What an earlier run left is replaced, never written through: it may have
  // other names.
  const std::filesystem::file_status left = std::filesystem::symlink_status(part, error);
  if (std::filesystem::is_directory(left)) {
    return fail(std::make_error_code(std::errc::is_a_directory));
  }
  if (std::filesystem::exists(left) && !std::filesystem::remove(part, error) && error) {
    return fail(error);
  }
  part_path_ = part;
  RemoveOnSignal(&part_path_);
  stream_ = OpenForWriting(part_path_);
  if (stream_ != nullptr) return true;
  const bool opened = fail_with_errno();
  RemoveOnSignal(nullptr);
  part_path_.clear();
  return opened;
}

bool OutputTarget::open_standard_output() {
#ifdef _WIN32
  _setmode(_fileno(stdout), _O_BINARY);
#endif
  stream_ = stdout;
  return true;
}

bool OutputTarget::write(std::span<const uint8_t> bytes) {
  if (error_) return false;
  errno = 0;
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream_) != bytes.size()) return fail_with_errno();
  return true;
}

bool OutputTarget::commit() {
  if (error_) return false;
  errno = 0;
  if (std::fflush(stream_) != 0) return fail_with_errno();
  if (!owns_stream_) return true;
  std::FILE* const closing = stream_;
  stream_ = nullptr;
  if (std::fclose(closing) != 0) return fail_with_errno();
  if (part_path_.empty()) return true;
  std::error_code renamed;
  std::filesystem::rename(part_path_, path_, renamed);
  if (renamed) return fail(renamed);
  RemoveOnSignal(nullptr);
  part_path_.clear();
  return true;
}

bool OutputTarget::fail(std::error_code error) {
  if (!error_) error_ = error;
  return false;
}

bool OutputTarget::fail_with_errno() {
  return fail(std::error_code(errno != 0 ? errno : EIO, std::generic_category()));
}

}  // namespace qolm::exporter
