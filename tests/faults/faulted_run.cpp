#include "faults/faulted_run.h"

#include <stdlib.h>
#include <sys/resource.h>

#include <cstring>

#include "faults/fault_plan.h"
#include "support/run_program.h"
#include "support/text_file.h"

namespace qolm::test {
namespace {

// Far more than any run here needs: a program that goes round and round is ended.
constexpr rlim_t kMostSeconds = 120;

fault_plan::Report ReadReport(const std::filesystem::path& path) {
  const std::string bytes = ReadFile(path);
  uint64_t numbers[2] = {0, 0};
  if (bytes.size() >= sizeof(numbers)) std::memcpy(numbers, bytes.data(), sizeof(numbers));
  return {numbers[0], numbers[1]};
}

}  // namespace

FaultedRun RunWithFault(const std::string& program, const std::vector<std::string>& arguments,
                        const Fault& fault, const std::function<void()>& in_child) {
  const TemporaryFolder folder;
  const std::filesystem::path report_path = folder / "report";
  WriteFile(report_path, std::string(sizeof(fault_plan::Report), '\0'));
  std::string files;
  for (const std::string& file : fault.files) files += (files.empty() ? "" : ":") + file;
  // Where the sanitizers' runtime is a library of its own it asks to be the first.
  const char* const old_options = getenv("ASAN_OPTIONS");
  const std::string options =
      std::string(old_options != nullptr ? old_options : "") + ":verify_asan_link_order=0";

  ProgramRun run(program, arguments, [&] {
    setenv(fault_plan::kFiles, files.c_str(), 1);
    setenv(fault_plan::kCall, fault.call.c_str(), 1);
    setenv(fault_plan::kAction, fault.action.c_str(), 1);
    setenv(fault_plan::kAt, std::to_string(fault.at).c_str(), 1);
    if (fault.from_then) setenv(fault_plan::kFromThen, "1", 1);
    setenv(fault_plan::kLongestWrite, std::to_string(fault.longest_write).c_str(), 1);
    setenv(fault_plan::kReport, report_path.c_str(), 1);
    setenv("ASAN_OPTIONS", options.c_str(), 1);
    setenv("LD_PRELOAD", QOLM_FAULTY_CALLS, 1);
    const rlimit limit = {kMostSeconds, kMostSeconds};
    setrlimit(RLIMIT_CPU, &limit);
    in_child();
  });
  run.Wait();
  const fault_plan::Report report = ReadReport(report_path);
  return {run.exit_code(), run.out(), run.err(), report.calls, report.faults};
}

std::vector<std::string> OutputFiles(const std::string& output) {
  return {output, output + ".part"};
}

}  // namespace qolm::test
