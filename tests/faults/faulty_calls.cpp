// SPDX-License-Identifier: MIT
#include "faults/faulty_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <string_view>

// Only the C library does any work here: the program may hold any locks.
namespace {

// The C library's own.
template <typename Function>
Function* Real(const char* name) {
  void* const symbol = dlsym(RTLD_NEXT, name);
  if (symbol == nullptr) abort();
  return reinterpret_cast<Function*>(symbol);
}

// Written while the process has one thread.
const qolm::test::Fault* g_fault = nullptr;
qolm::test::FaultReport* g_report = nullptr;

bool IsNamed(std::string_view path) {
  return g_fault != nullptr &&
         std::find(g_fault->files.begin(), g_fault->files.end(), path) != g_fault->files.end();
}

constexpr size_t kMostDescriptors = 1024;
std::array<std::atomic<bool>, kMostDescriptors> g_watched{};

bool Watched(int descriptor) {
  return descriptor >= 0 && static_cast<size_t>(descriptor) < kMostDescriptors &&
         g_watched[static_cast<size_t>(descriptor)];
}

void Watch(int descriptor, bool watched) {
  if (descriptor >= 0 && static_cast<size_t>(descriptor) < kMostDescriptors) {
    g_watched[static_cast<size_t>(descriptor)] = watched;
  }
}

void Change(const char* path, char how, int64_t value) {
  struct stat status = {};
  switch (how) {
    case 't':
      if (truncate(path, value) != 0) abort();
      break;
    case 'g':
      if (stat(path, &status) != 0 || truncate(path, status.st_size + value) != 0) abort();
      break;
    case 'u':
      unlink(path);
      break;
    default:
      abort();
  }
}

// Whether a call with these flags passes the permissions of a new file.
bool MakesAFile(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

// Does what is planned for this call. True, with errno, when the call shall fail.
bool Fault(std::string_view call) {
  if (g_fault->call != "any" && g_fault->call != call) return false;
  const uint64_t at = g_fault->at;
  const uint64_t number = ++g_report->calls;
  if (at == 0 || (g_fault->from_then ? number < at : number != at)) return false;
  ++g_report->faults;
  const char how = g_fault->action.front();
  const int64_t value = atoll(g_fault->action.c_str() + 1);
  if (how == 'e') {
    errno = static_cast<int>(value);
    return true;
  }
  const int error = errno;
  if (how == 's') {
    raise(static_cast<int>(value));
  } else {
    Change(g_fault->files.front().c_str(), how, value);
  }
  errno = error;
  return false;
}

int Open(const char* path, int flags, mode_t mode) {
  const bool named = IsNamed(path);
  if (named && Fault("open")) return -1;
  static auto* const real = Real<int(const char*, int, ...)>("open");
  const int descriptor = real(path, flags, mode);
  Watch(descriptor, named);
  return descriptor;
}

int Close(int descriptor) {
  static auto* const real = Real<int(int)>("close");
  const bool fails = Watched(descriptor) && Fault("close");
  const int error = errno;
  Watch(descriptor, false);
  const int result = real(descriptor);  // also where it fails: the descriptor is gone then
  if (!fails) return result;
  errno = error;
  return -1;
}

ssize_t Write(int descriptor, const void* bytes, size_t count) {
  static auto* const real = Real<ssize_t(int, const void*, size_t)>("write");
  if (!Watched(descriptor)) return real(descriptor, bytes, count);
  if (Fault("write")) return -1;
  const uint64_t most = g_fault->longest_write;
  return real(descriptor, bytes, most != 0 && most < count ? most : count);
}

off_t Seek(int descriptor, off_t offset, int whence) {
  static auto* const real = Real<off_t(int, off_t, int)>("lseek");
  return Watched(descriptor) && Fault("seek") ? -1 : real(descriptor, offset, whence);
}

// A stream of the C library writes by ways that nobody can stand in, so a stream
// over these functions takes its place, and like it goes on after a short write.
ssize_t WriteStream(void* cookie, const char* bytes, size_t count) {
  const int descriptor = *static_cast<int*>(cookie);
  size_t written = 0;
  while (written < count) {
    const ssize_t result = Write(descriptor, bytes + written, count - written);
    if (result <= 0) break;
    written += static_cast<size_t>(result);
  }
  return static_cast<ssize_t>(written);
}

int SeekStream(void* cookie, off64_t* offset, int whence) {
  const off_t result = Seek(*static_cast<int*>(cookie), *offset, whence);
  if (result < 0) return -1;
  *offset = result;
  return 0;
}

int CloseStream(void* cookie) {
  const int descriptor = *static_cast<int*>(cookie);
  free(cookie);
  return Close(descriptor);
}

FILE* OpenStream(const char* path, const char* mode, const char* real_name) {
  const bool writes = strcmp(mode, "wb") == 0;
  if (!writes || !IsNamed(path)) {
    return Real<FILE*(const char*, const char*)>(real_name)(path, mode);
  }
  const int descriptor = Open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (descriptor < 0) return nullptr;
  auto* const cookie = static_cast<int*>(malloc(sizeof(int)));
  if (cookie == nullptr) abort();
  *cookie = descriptor;
  return fopencookie(cookie, mode, {nullptr, WriteStream, SeekStream, CloseStream});
}

}  // namespace

void qolm::test::MeetFault(const Fault& fault, FaultReport& report) {
  g_fault = &fault;
  g_report = &report;
}

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = MakesAFile(flags) ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return Open(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = MakesAFile(flags) ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return Open(path, flags, mode);
}

int close(int descriptor) { return Close(descriptor); }

ssize_t write(int descriptor, const void* bytes, size_t count) {
  return Write(descriptor, bytes, count);
}

ssize_t read(int descriptor, void* bytes, size_t count) {
  static auto* const real = Real<ssize_t(int, void*, size_t)>("read");
  return Watched(descriptor) && Fault("read") ? -1 : real(descriptor, bytes, count);
}

ssize_t pread(int descriptor, void* bytes, size_t count, off_t offset) {
  static auto* const real = Real<ssize_t(int, void*, size_t, off_t)>("pread");
  return Watched(descriptor) && Fault("read") ? -1 : real(descriptor, bytes, count, offset);
}

ssize_t pread64(int descriptor, void* bytes, size_t count, off64_t offset) {
  return pread(descriptor, bytes, count, offset);
}

off_t lseek(int descriptor, off_t offset, int whence) noexcept {
  return Seek(descriptor, offset, whence);
}

off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept {
  return Seek(descriptor, offset, whence);
}

// Only the end of a process is tried here, not of the system, which needs no disk
// that has taken everything; waiting for it would take most of the time.
int fsync(int descriptor) { return Watched(descriptor) && Fault("sync") ? -1 : 0; }

int flock(int descriptor, int operation) noexcept {
  static auto* const real = Real<int(int, int)>("flock");
  return Watched(descriptor) && Fault("lock") ? -1 : real(descriptor, operation);
}

int rename(const char* from, const char* to) noexcept {
  static auto* const real = Real<int(const char*, const char*)>("rename");
  return IsNamed(to) && Fault("rename") ? -1 : real(from, to);
}

int chmod(const char* path, mode_t mode) noexcept {
  static auto* const real = Real<int(const char*, mode_t)>("chmod");
  return IsNamed(path) && Fault("chmod") ? -1 : real(path, mode);
}

FILE* fopen(const char* path, const char* mode) { return OpenStream(path, mode, "fopen"); }
FILE* fopen64(const char* path, const char* mode) { return OpenStream(path, mode, "fopen64"); }

}  // extern "C"
