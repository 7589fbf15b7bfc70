// SPDX-License-Identifier: MIT
//
// Runs that a signal ends at moments counted in calls on their files, so that a
// test ends them at the same places every time.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <map>
#include <random>
#include <thread>

#include "container/container_reader.h"
#include "faults/program_case.h"
#include "support/run_program.h"

namespace qolm::test {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMoments = 50;
constexpr int kRunFrames = 20;

class EndedRuns : public ProgramCaseTest {
 protected:
  // The output outgrows the writer's buffer, and short writes spread it over many calls.
  void SetUp() override {
    MakeSource({.frames = kRunFrames, .noise = 100});
    if (!GetParam().exports) options_ = {"--quality", "100"};
    // Key frames are the quickest way to many bytes.
    const bool any_kind_will_do = !GetParam().exports && GetParam().name != kBidirectional.name;
    if (any_kind_will_do) options_.insert(options_.end(), {"--gop", "0"});
    const FaultedRun run = RunTo(0, 0);
    ASSERT_EQ(run.exit_code, 0) << run.err;
    calls_ = run.calls;
    whole_ = ReadFile(output_);
  }

  std::vector<std::string> Words(const fs::path& output) const {
    std::vector<std::string> words = {"encode", Input(), output.string()};
    words.insert(words.end(), GetParam().options.begin(), GetParam().options.end());
    words.insert(words.end(), options_.begin(), options_.end());
    return words;
  }

  // Raises the signal before call number `at`.
  FaultedRun RunTo(uint64_t at, int signal_number, bool from_then = false) const {
    Fault fault;
    fault.files = OutputFiles(output_);
    fault.files.push_back(Input());
    fault.longest_write = 4096;
    fault.action = "s" + std::to_string(signal_number);
    fault.at = at;
    fault.from_then = from_then;
    return Run(fault, options_);
  }

  // Calls spread over a whole run, the first and the last among them.
  template <typename Judge>
  void AtMoments(uint64_t count, const Judge& judge) {
    for (uint64_t moment = 0; moment < count && !HasFailure(); ++moment) {
      const uint64_t at = 1 + moment * (calls_ - 1) / (count - 1);
      SCOPED_TRACE("call " + std::to_string(at) + " of " + std::to_string(calls_));
      WriteFile(output_, old_);
      judge(moment, at);
    }
  }

  void ExpectOldOrWhole() const {
    const std::string output = ReadFile(output_);
    EXPECT_TRUE(output == old_ || (output == whole_ && !fs::exists(Part())));
  }

  std::vector<std::string> options_;
  uint64_t calls_ = 0;  // of a whole run
};

class KilledRuns : public EndedRuns {
 protected:
  void SetUp() override {
    EndedRuns::SetUp();
    const fs::path copy = folder_ / "whole";
    WriteFile(copy, whole_);
    ASSERT_TRUE(whole_reader_.open(copy));
  }

  // Frames whose records lie within the first `bytes` bytes of the whole file.
  uint64_t FramesWithin(uint64_t bytes) const {
    uint64_t frames = 0;
    for (const uint64_t offset : whole_reader_.index()) {
      container::RecordHeader record;
      EXPECT_TRUE(whole_reader_.read_record_header(offset, record));
      if (offset + container::kRecordHeaderBytes + record.size > bytes) break;
      frames += container::frames_in_record(record);
    }
    return frames;
  }

  void Judge(const FaultedRun& run) {
    EXPECT_EQ(run.exit_code, -SIGKILL);
    ExpectOldOrWhole();
    if (!fs::exists(Part())) return;
    ++parts_;
    const uint64_t bytes = fs::file_size(Part());
    if (bytes < container::kFileHeaderBytes) return;
    const uint64_t frames = FramesWithin(bytes);
    if (frames == 0) ExpectNoFrameSaved();
    if (frames == 0 || frames == kRunFrames) return;  // perhaps with the index as well
    ++readable_parts_;
    // Without a reserved index in front, info finds what the unfinished file holds.
    const bool has_front_index = GetParam().options.empty();
    EXPECT_EQ(FramesByInfo(Part()), has_front_index ? 0 : frames) << bytes;
    ExpectSaved(frames);
  }

  // Neither program promises a frame.
  void ExpectNoFrameSaved() {
    ++parts_without_frames_;
    const FaultedRun info = RunWithFault(ConverterMain, {"info", Part()});
    EXPECT_EQ(info.exit_code, 0) << info.err;
    EXPECT_NE(info.out.find("[+] Note: the file "), std::string::npos) << info.out;
    EXPECT_EQ(info.out.find("qolm2_export can save what it holds"), std::string::npos) << info.out;
    const std::string saved = (folder_ / "saved.y4m").string();
    fs::remove(saved);
    EXPECT_EQ(RunWithFault(ExportMain, {Part(), saved}).err,
              "[-] Error: " + Part() + ": the file holds no frames\n");
    EXPECT_FALSE(fs::exists(saved));
  }

  // Info says what the part file is, and the export saves its frames.
  void ExpectSaved(uint64_t frames) const {
    const FaultedRun info = RunWithFault(ConverterMain, {"info", Part()});
    EXPECT_TRUE(
        info.out.ends_with("[+] Note: the file was never finished, or is still being "
                           "written; qolm2_export can save what it holds so far.\n"))
        << info.out;
    const std::string saved = (folder_ / "saved.y4m").string();
    const FaultedRun run = RunWithFault(ExportMain, {Part(), saved});
    EXPECT_EQ(run.exit_code, 1);
    const std::string count = std::to_string(frames) + (frames == 1 ? " frame" : " frames");
    EXPECT_TRUE(run.err.starts_with("[-] Error: " + Part() +
                                    ": the file was never finished, it ends after " + count +
                                    "; saved in " + saved + ": " + count + ", "))
        << run.err;
    EXPECT_TRUE(IsOneErrorLine(run.err)) << run.err;
  }

  container::ContainerReader whole_reader_;
  uint64_t parts_ = 0;
  uint64_t readable_parts_ = 0;
  uint64_t parts_without_frames_ = 0;
};

TEST_P(KilledRuns, LeaveTheOldFileOrTheWholeNewOne) {
  AtMoments(kMoments, [this](uint64_t, uint64_t at) { Judge(RunTo(at, SIGKILL)); });
  EXPECT_GT(parts_, kMoments / 3);
  EXPECT_GT(readable_parts_, kMoments / 5);
  EXPECT_GT(parts_without_frames_, 0U);
  // What a killed run left is in nobody's way.
  ExpectSuccess(Run({}, options_));
}

TEST_P(KilledRuns, AtAnyTime) {
  std::mt19937 chance(20);
  for (int round = 0; round < 5; ++round) {
    WriteFile(output_, old_);
    ProgramRun run(QOLM_CONVERTER, Words(output_));
    std::this_thread::sleep_for(std::chrono::milliseconds(chance() % 300));
    run.Signal(SIGKILL);
    run.Wait();
    ExpectOldOrWhole();
  }
  ExpectSuccess(Run({}, options_));
}

INSTANTIATE_TEST_SUITE_P(Encode, KilledRuns,
                         testing::Values(kFastStart, kMonolithic, kBidirectional), CaseName);

class InterruptedRuns : public EndedRuns {
 protected:
  // What a run leaves that is told to stop after so many frames.
  const std::string& FirstFrames(uint64_t frames) {
    std::string& bytes = first_frames_[frames];
    if (bytes.empty()) {
      const fs::path path = folder_ / "first.qolm";
      std::vector<std::string> words = Words(path);
      words.insert(words.end(), {"--frames", std::to_string(frames)});
      const FaultedRun run = RunWithFault(ConverterMain, words);
      EXPECT_EQ(run.exit_code, 0) << run.err;
      bytes = ReadFile(path);
    }
    return bytes;
  }

  void Judge(const FaultedRun& run) {
    if (run.exit_code == 0) {
      ExpectSuccess(run);
      return;
    }
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(IsOneErrorLine(run.err)) << run.err;
    EXPECT_TRUE(ReadFile(output_) == old_);
    if (run.err ==
        "[-] Error: Interrupted before the first frame; nothing was written: " + output_ + "\n") {
      EXPECT_FALSE(fs::exists(Part()));
      return;
    }
    const std::string before = "[-] Error: Interrupted after ";
    ASSERT_TRUE(run.err.starts_with(before)) << run.err;
    const uint64_t frames = std::stoull(run.err.substr(before.size()));
    EXPECT_EQ(run.err, before + std::to_string(frames) +
                           " frames; these are kept in a playable file: " + Part() + "\n");
    EXPECT_TRUE(ReadFile(Part()) == FirstFrames(frames)) << frames;
    fs::remove(Part());
    ++kept_parts_;
  }

  std::map<uint64_t, std::string> first_frames_;
  uint64_t kept_parts_ = 0;
};

TEST_P(InterruptedRuns, KeepTheFramesThatWereTaken) {
  AtMoments(kMoments, [this](uint64_t moment, uint64_t at) {
    Judge(RunTo(at, moment % 2 == 0 ? SIGINT : SIGTERM));
  });
  EXPECT_GT(kept_parts_, kMoments / 5);
}

// Signals at every call from one on; those of the first 0.3 s are one request.
TEST_P(InterruptedRuns, FurtherSignalsEndThemAtOnceOrKeepTheFrames) {
  AtMoments(6, [this](uint64_t moment, uint64_t at) {
    const int signal_number = moment % 2 == 0 ? SIGINT : SIGTERM;
    const FaultedRun run = RunTo(at, signal_number, true);
    if (run.exit_code == -signal_number) {
      ExpectOldOrWhole();
      fs::remove(Part());
    } else {
      Judge(run);  // no call was left for a second request
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Encode, InterruptedRuns,
                         testing::Values(kFastStart, kMonolithic, kBidirectional), CaseName);

class InterruptedExports : public EndedRuns {};

TEST_P(InterruptedExports, LeaveNothingWritten) {
  AtMoments(std::min(calls_, kMoments), [this](uint64_t moment, uint64_t at) {
    const int signal_number = moment % 2 == 0 ? SIGINT : SIGTERM;
    const FaultedRun run = RunTo(at, signal_number);
    EXPECT_EQ(run.exit_code, -signal_number);
    ExpectOldOrWhole();
    EXPECT_FALSE(fs::exists(Part()));
  });
}

INSTANTIATE_TEST_SUITE_P(Exports, InterruptedExports, testing::Values(kY4m, kWav, kPng), CaseName);

}  // namespace
}  // namespace qolm::test
