// SPDX-License-Identifier: MIT
#include "platform/source_copy.h"

#include <windows.h>

#include <array>
#include <string_view>
#include <vector>

#include "platform/windows/text.h"

namespace qolm::platform {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kBlockBytes = DWORD{1} << 18;
constexpr DWORD kMillisecondsBetweenLooks = 10;
constexpr std::wstring_view kDevices = L"\\\\.\\";

std::string LastReason() { return WindowsMessage(GetLastError()); }

// Closes what it opened, and not standard input.
class SourceHandle {
 public:
  explicit SourceHandle(const std::optional<fs::path>& source)
      : owned_(source.has_value()),
        handle_(source ? CreateFileW(source->c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                     OPEN_EXISTING, 0, nullptr)
                       : GetStdHandle(STD_INPUT_HANDLE)) {
    if (!owned_ && handle_ == nullptr) {  // a program without a console
      handle_ = INVALID_HANDLE_VALUE;
      SetLastError(ERROR_INVALID_HANDLE);
    }
  }
  ~SourceHandle() {
    if (owned_ && valid()) CloseHandle(handle_);
  }
  SourceHandle(const SourceHandle&) = delete;
  SourceHandle& operator=(const SourceHandle&) = delete;

  bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  bool owned_;
  HANDLE handle_;
};

bool IsConsole(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != FALSE;
}

// The writer of a pipe has closed it.
bool IsEnd(DWORD error) { return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF; }

bool WriteAll(HANDLE file, const char* bytes, DWORD count) {
  while (count > 0) {
    DWORD written = 0;
    if (WriteFile(file, bytes, count, &written, nullptr) == FALSE) return false;
    bytes += written;
    count -= written;
  }
  return true;
}

SourceCopy::Result Copy(HANDLE from, HANDLE to, const std::function<bool()>& stop) {
  using Status = SourceCopy::Status;
  const bool is_pipe = GetFileType(from) == FILE_TYPE_PIPE;
  std::vector<char> block(kBlockBytes);
  while (!stop()) {
    // Nothing ends a read that waits for the writer of a pipe.
    DWORD waiting = kBlockBytes;
    if (is_pipe && PeekNamedPipe(from, nullptr, 0, nullptr, &waiting, nullptr) == FALSE) {
      if (IsEnd(GetLastError())) return {};
      return {Status::kSourceUnreadable, LastReason()};
    }
    if (waiting == 0) {
      Sleep(kMillisecondsBetweenLooks);
      continue;
    }
    DWORD count = 0;
    if (ReadFile(from, block.data(), kBlockBytes, &count, nullptr) == FALSE) {
      if (IsEnd(GetLastError())) return {};
      return {Status::kSourceUnreadable, LastReason()};
    }
    if (count == 0 && !is_pipe) return {};
    if (!WriteAll(to, block.data(), count)) return {Status::kWriteFailed, LastReason()};
  }
  return {Status::kStopped, {}};
}

// A file that the media framework can open too, which lets nobody delete what it
// reads: so it has a name until this object goes, and is left when the system ends
// the program.
HANDLE CreateNamedFile(const fs::path& folder, fs::path& path) {
  constexpr int kMostNames = 1000;
  HANDLE file = INVALID_HANDLE_VALUE;
  for (int i = 0; i < kMostNames && file == INVALID_HANDLE_VALUE; ++i) {
    path = folder / ("qolm-source-" + std::to_string(GetCurrentProcessId()) + "-" +
                     std::to_string(i) + ".tmp");
    file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                       FILE_ATTRIBUTE_TEMPORARY, nullptr);
    if (file == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS) break;
  }
  return file;
}

}  // namespace

SourceCopy::~SourceCopy() {
  if (file_ != kNone) DeleteFileW(path_.c_str());
}

bool SourceCopy::IsNeeded(const fs::path& source) {
  // CON, COM1 … become names among the devices. Looking at a pipe would open it.
  std::array<wchar_t, 16> full{};
  const DWORD length =
      GetFullPathNameW(source.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  return source.native().starts_with(kDevices) ||
         (length < full.size() && std::wstring_view(full.data(), length).starts_with(kDevices));
}

// A handle may have been opened in a way that keeps others from opening the file.
std::optional<fs::path> SourceCopy::FileOfStandardInput() { return std::nullopt; }

SourceCopy::Result SourceCopy::Make(const std::optional<fs::path>& source, const fs::path& folder,
                                    const std::function<bool()>& stop) {
  const SourceHandle from(source);
  if (!from.valid()) return {Status::kSourceUnreadable, LastReason()};
  if (IsConsole(from.get())) return {Status::kSourceUnreadable, "it is a terminal"};
  const HANDLE file = CreateNamedFile(folder, path_);
  if (file == INVALID_HANDLE_VALUE) return {Status::kFolderRefused, LastReason()};
  file_ = reinterpret_cast<intptr_t>(file);
  Result result = Copy(from.get(), file, stop);
  CloseHandle(file);
  return result;
}

}  // namespace qolm::platform
