// SPDX-License-Identifier: MIT
//
// The program over sources that can be read only once.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cli/messages.h"
#include "scratch_directory.h"
#include "support/media_audio_writer.h"
#include "support/run_program.h"

namespace qolm::cli {
namespace {

namespace fs = std::filesystem;
using test::ProgramRun;
using testing::EndsWith;
using testing::HasSubstr;

constexpr const char* kConverter = QOLM_PROGRAM_PATH;

// Both ends of a pipe or of a pair of sockets.
struct Ends {
  int read = -1;
  int write = -1;
};

Ends MakePipe() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  return {ends[0], ends[1]};
}

Ends MakeSockets() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  return {ends[0], ends[1]};
}

// Writes on a thread of its own, as a neighbour in a pipeline does, and closes.
class Feeder {
 public:
  Feeder(int descriptor, std::string bytes)
      : Feeder([descriptor] { return descriptor; }, std::move(bytes)) {}
  // Opening a pipe by its name waits for its reader.
  Feeder(std::function<int()> open, std::string bytes)
      : thread_([open = std::move(open), bytes = std::move(bytes)] {
          const int descriptor = open();
          size_t done = 0;
          while (done < bytes.size()) {
            const ssize_t written = write(descriptor, bytes.data() + done, bytes.size() - done);
            if (written <= 0) break;
            done += static_cast<size_t>(written);
          }
          close(descriptor);
        }) {}
  ~Feeder() { thread_.join(); }
  Feeder(const Feeder&) = delete;
  Feeder& operator=(const Feeder&) = delete;

 private:
  std::thread thread_;
};

class PipedSource : public testing::Test {
 protected:
  PipedSource()
      : folder_(directory_ / "outputs"),
        clip_(directory_ / "clip.mkv"),
        output_((fs::path(folder_) / "clip.qolm").string()) {
    signal(SIGPIPE, SIG_IGN);
    fs::create_directory(folder_);
    test::SoundClip clip;
    clip.rate = 32000;
    clip.samples = 32000;
    clip.pictures = 25;
    clip.brightness = [](int picture) { return static_cast<uint8_t>(40 + picture * 7); };
    test::WriteSoundClip(clip_, clip, [](int64_t index, int) {
      return static_cast<int16_t>(9000 * std::sin(static_cast<double>(index) / 20));
    });
    bytes_ = ReadFile(clip_);
  }

  void Run(
      const std::string& input, int standard_input = -1,
      const std::function<void()>& in_child = [] {}) {
    ProgramRun run(kConverter, {"encode", input, output_}, [&] {
      if (standard_input >= 0) dup2(standard_input, STDIN_FILENO);
      in_child();
    });
    run.Wait();
    exit_code_ = run.exit_code();
    out_ = run.out();
    err_ = run.err();
  }

  // What the clip itself becomes.
  void ConvertTheFile() {
    Run(clip_);
    ASSERT_EQ(exit_code_, 0) << err_;
    of_file_ = ReadFile(output_);
    ASSERT_THAT(out_, HasSubstr("32000 samples"));
    fs::remove(output_);
  }

  void ExpectAsTheFile(const std::string& input) {
    EXPECT_EQ(exit_code_, 0);
    EXPECT_EQ(err_, "");
    EXPECT_THAT(out_, HasSubstr("[+] Input Video: " + input + "\n"));
    EXPECT_THAT(out_, HasSubstr("Duration   : 1 s (25 frames)\n[+] Audio Stream       : 32000 Hz, "
                                "Mono (1 ch) (~108 kbps ADPCM+rANS, 32000 samples)\n"));
    char size[64];
    snprintf(size, sizeof size, "  Original File Size     : %.1f KB\n",
             static_cast<double>(bytes_.size()) / 1024);
    EXPECT_THAT(out_, HasSubstr(size));
    EXPECT_THAT(out_, EndsWith("[+] Done.\n"));
    EXPECT_EQ(ReadFile(output_), of_file_);
    ExpectNothingBut({"clip.qolm"});
    fs::remove(output_);
  }

  // One error line and nothing made.
  void ExpectError(const std::string& line) {
    EXPECT_EQ(exit_code_, 1);
    EXPECT_EQ(err_, "[-] Error: " + line + "\n");
    EXPECT_EQ(out_, messages::Banner());
    ExpectNothingBut({});
  }

  void ExpectNothingBut(const std::set<std::string>& names) {
    std::set<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_)) {
      found.insert(entry.path().filename().string());
    }
    EXPECT_EQ(found, names);
  }

  // A signal while the program waits for more of `input`.
  void ExpectSignalEndsTheWaiting(const std::string& input, int standard_input) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
      ProgramRun run(kConverter, {"encode", input, output_},
                     [&] { dup2(standard_input, STDIN_FILENO); });
      while (run.IsRunning() && !test::Catches(run, SIGHUP)) {  // the last one that is set up
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      run.Signal(signal_number);
      run.Wait();
      EXPECT_EQ(run.exit_code(), 1);
      EXPECT_EQ(run.err(), messages::InterruptedWithNothing(output_));
      ExpectNothingBut({});
    }
  }

  ScratchDirectory directory_;
  std::string folder_;  // that the output goes to
  std::string clip_;
  std::string output_;
  std::string bytes_;    // of the clip
  std::string of_file_;  // converted
  int exit_code_ = -1;
  std::string out_;
  std::string err_;
};

TEST_F(PipedSource, BecomesWhatItsFileWould) {
  ConvertTheFile();
  for (const std::string input : {"-", "/dev/stdin"}) {
    for (const Ends& ends : {MakePipe(), MakeSockets()}) {
      const Feeder feeder(ends.write, bytes_);
      Run(input, ends.read);
      close(ends.read);
      ExpectAsTheFile(input);
    }
  }
  const std::string fifo = directory_ / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  {
    const Feeder feeder([&fifo] { return open(fifo.c_str(), O_WRONLY | O_CLOEXEC); }, bytes_);
    Run(fifo);
  }
  ExpectAsTheFile(fifo);
}

TEST_F(PipedSource, StandardInputMayBeAFile) {
  ConvertTheFile();
  const int file = open(clip_.c_str(), O_RDONLY | O_CLOEXEC);
  Run("-", file);
  close(file);
  ExpectAsTheFile("-");

  // What was read of it before does not belong to the source.
  const std::string longer = directory_ / "longer";
  WriteFile(longer, "read by somebody else" + bytes_);
  const int later = open(longer.c_str(), O_RDONLY | O_CLOEXEC);
  lseek(later, static_cast<off_t>(sizeof "read by somebody else" - 1), SEEK_SET);
  Run("-", later);
  close(later);
  ExpectAsTheFile("-");

  // A file of that name is another one.
  fs::copy_file(clip_, fs::path(folder_) / "-");
  Run("./-", -1, [this] {
    if (chdir(folder_.c_str()) != 0) _exit(126);
  });
  fs::remove(fs::path(folder_) / "-");
  ExpectAsTheFile("./-");
}

TEST_F(PipedSource, TheOutputMayNotBeTheInput) {
  const int file = open(clip_.c_str(), O_RDONLY | O_CLOEXEC);
  output_ = clip_;
  Run("-", file);
  close(file);
  EXPECT_EQ(exit_code_, 1);
  EXPECT_THAT(err_, HasSubstr("it is the input file"));
  EXPECT_EQ(ReadFile(clip_), bytes_);
}

TEST_F(PipedSource, WhatHoldsNoVideoIsRefused) {
  Run("-");  // nothing to read
  ExpectError("Cannot open input video (the file is empty): -");
  Run("/dev/null");
  ExpectError("Cannot open input video (the file is empty): /dev/null");

  const Ends ends = MakePipe();
  {
    const Feeder feeder(ends.write, "Just a few words,\nnothing to look at.\n");
    Run("-", ends.read);
  }
  close(ends.read);
  ExpectError("Cannot open input video (not a video file, or damaged): -");

  const int directory = open(folder_.c_str(), O_RDONLY | O_CLOEXEC);
  Run("-", directory);
  close(directory);
  ExpectError("Cannot open input video (Is a directory): -");

  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(grantpt(terminal), 0);
  ASSERT_EQ(unlockpt(terminal), 0);
  Run(ptsname(terminal));
  ExpectError("Cannot open input video (it is a terminal): " + std::string(ptsname(terminal)));
  close(terminal);
}

TEST_F(PipedSource, AnOutputThatCannotBeIsRefusedBeforeThePipeIsRead) {
  const Ends ends = MakePipe();  // whose writer says nothing
  const std::string outputs = folder_;
  const auto expect_refused = [&](const std::string& output, const std::string& reason) {
    output_ = output;
    Run("-", ends.read);
    ExpectError("Cannot open output file (" + reason + "): " + output);
  };
  expect_refused(outputs, "Is a directory");
  expect_refused(outputs + "/missing/clip.qolm", "No such file or directory");
  expect_refused("/dev/null", "it is not a regular file");
  close(ends.read);
  close(ends.write);
}

TEST_F(PipedSource, ACopyThatFindsNoRoomIsAFailedWrite) {
  const Ends ends = MakePipe();
  {
    const Feeder feeder(ends.write, bytes_);
    Run("-", ends.read, [] {
      const rlimit limit = {10'000, 10'000};
      setrlimit(RLIMIT_FSIZE, &limit);
    });
    close(ends.read);
  }
  ExpectError("Cannot write output file (File too large): " + output_);
}

TEST_F(PipedSource, TheFirstSignalEndsTheWaitForASource) {
  const Ends starving = MakePipe();
  ASSERT_EQ(write(starving.write, bytes_.data(), 1000), 1000);
  ExpectSignalEndsTheWaiting("-", starving.read);
  const std::string fifo = directory_ / "fifo";  // that nobody has opened
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  ExpectSignalEndsTheWaiting(fifo, starving.read);
  close(starving.read);
  close(starving.write);
}

}  // namespace
}  // namespace qolm::cli
