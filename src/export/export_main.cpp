// SPDX-License-Identifier: MIT
//
// qolm2_export: converts a container file to formats that other programs read. All messages
// except the help go to standard error, since standard output may carry the pictures.
#include <cerrno>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/path_bytes.h"
#include "base/printable.h"
#include "export/export_file.h"
#include "export/export_options.h"
#include "platform/output_stream.h"
#include "platform/program_main.h"
#include "platform/write_signals.h"

namespace {

using qolm::exporter::ExportOptions;
using qolm::exporter::ExportResult;
using qolm::exporter::OptionsProblem;

// One line; control characters of names are escaped.
std::string ErrorLine(std::string_view message) {
  return "[-] Error: " + qolm::Printable(message) + "\n";
}

// The exit code.
int Print(std::string_view text) {
  errno = 0;
  if (std::cout << text << std::flush) return 0;
  const int reason = qolm::platform::StreamError();
  std::cerr << "[-] Error: standard output: "
            << std::generic_category().message(reason != 0 ? reason : EIO) << "\n";
  return 1;
}

int Run(std::span<const std::string> arguments) {
  OptionsProblem problem;
  const std::optional<ExportOptions> options =
      qolm::exporter::ParseExportOptions(arguments, problem);
  if (!options) {
    const char* const hint = problem.needs_usage ? "; see qolm2_export --help" : "";
    std::cerr << ErrorLine(problem.text + hint);
    return 1;
  }
  if (options->help) return Print(qolm::exporter::UsageText());
  if (options->version) return Print(qolm::exporter::VersionText());
  const ExportResult result = qolm::exporter::ExportFile(*options);
  // Composed before any of it is printed, since memory may run out.
  std::string report;
  if (!result.summary.empty() && !options->to_standard_output) {
    report = qolm::BytesFromPath(options->output) + ": " + result.summary;
    if (result.problem.empty()) report = "[+] Wrote " + qolm::Printable(report) + "\n";
  }
  if (!result.problem.empty()) {
    report = ErrorLine(report.empty() ? result.problem : result.problem + "; saved in " + report);
  }
  std::cerr << report;
  return result.succeeded ? 0 : 1;
}

}  // namespace

int qolm::ProgramMain(const std::vector<std::string>& arguments) {
  platform::IgnoreBrokenPipeSignal();
  platform::IgnoreFileSizeSignal();
  try {
    return Run(std::span(arguments).subspan(arguments.empty() ? 0 : 1));
  } catch (const std::bad_alloc&) {
    std::cerr << "[-] Error: out of memory\n";
    return 1;
  } catch (const std::exception& failure) {
    std::cerr << ErrorLine(failure.what());
    return 1;
  }
}
