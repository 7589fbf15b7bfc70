// qolm2_export: shows what a container file holds, in forms that other
// programs read. All of its messages but the help go to standard error, since
// standard output may carry the pictures.
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "export/export_file.h"
#include "export/export_options.h"
#include "output/signals.h"

namespace {

using qolm::exporter::ExportOptions;
using qolm::exporter::ExportResult;
using qolm::exporter::OptionsProblem;

int Run(const std::vector<std::string>& arguments) {
  OptionsProblem problem;
  const std::optional<ExportOptions> options =
      qolm::exporter::ParseExportOptions(arguments, problem);
  if (!options) {
    std::cerr << "[-] Error: " << problem.text << "\n";
    if (problem.needs_usage) std::cerr << "\n" << qolm::exporter::UsageText();
    return 1;
  }
  if (options->help) {
    std::cout << qolm::exporter::UsageText();
    return 0;
  }
  const ExportResult result = qolm::exporter::ExportFile(*options);
  if (!result.summary.empty() && !options->to_standard_output) {
    std::cerr << "[+] Wrote " << options->output.string() << ": " << result.summary << "\n";
  }
  if (!result.problem.empty()) std::cerr << "[-] Error: " << result.problem << "\n";
  return result.succeeded ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  qolm::output::IgnoreBrokenPipeSignal();
  qolm::output::IgnoreFileSizeSignal();
  try {
    return Run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
  } catch (const std::exception& failure) {
    std::cerr << "[-] Error: " << failure.what() << "\n";
    return 1;
  }
}
