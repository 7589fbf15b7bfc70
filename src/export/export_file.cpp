// SPDX-License-Identifier: MIT
#include "export/export_file.h"

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

#include "base/path_bytes.h"
#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "export/exporter.h"
#include "export/output_target.h"
#include "output/output_path.h"
#include "platform/terminal.h"

namespace qolm::exporter {
namespace {

struct FormExporter {
  Form form;
  ExportOutcome (*run)(ExportJob& job);
};

constexpr FormExporter kExporters[] = {
    {Form::kY4m, ExportY4m},        {Form::kPng, ExportPng},   {Form::kWav, ExportWav},
    {Form::kMatroska, ExportMedia}, {Form::kMp4, ExportMedia}, {Form::kNut, ExportMedia},
    {Form::kPipe, ExportMedia},
};

ExportResult Failure(const std::filesystem::path& path, const std::string& reason) {
  return {false, {}, BytesFromPath(path) + ": " + reason};
}

ExportResult TargetFailure(const ExportOptions& options, const OutputTarget& target) {
  if (target.reader_closed_pipe()) return {};
  return {false,
          {},
          (options.to_standard_output ? "standard output" : BytesFromPath(options.output)) + ": " +
              target.error().message()};
}

// Why the output cannot be written, with its name; empty when it can.
std::string OutputProblem(const ExportOptions& options, const OutputTarget& target) {
  if (options.to_standard_output) {
    return platform::StandardOutputIsTerminal()
               ? "standard output is a terminal, it takes no pictures"
               : "";
  }
  const std::error_code refusal = target.Validate();
  if (!refusal) return {};
  return BytesFromPath(options.output) + ": " +
         (refusal == output::OutputRefusal::kIsInput ? "is the input file" : refusal.message());
}

}  // namespace

ExportResult ExportFile(const ExportOptions& options) {
  container::ContainerReader reader;
  if (!reader.open(options.input, container::UnfinishedFiles::kYieldRecords)) {
    return Failure(options.input, reader.failure_reason());
  }
  OutputTarget target = options.to_standard_output
                            ? OutputTarget()
                            : OutputTarget(options.output, options.input,
                                           ReplacePolicyOf(options.form, options.overwrite));
  // A long export must not fail at the end for a reason known at its start.
  if (std::string problem = OutputProblem(options, target); !problem.empty()) {
    return {false, {}, std::move(problem)};
  }
  // Only a contact sheet seeks, and only forward, so no frames need caching.
  decoder::FrameDecoder decoder(reader, video::PixelOrder::kRgba, 0);
  ExportJob job = {options.form, options.choice, reader, decoder, target};
  const auto* const exporter =
      std::find_if(std::begin(kExporters), std::end(kExporters),
                   [&](const FormExporter& known) { return known.form == options.form; });
  ExportOutcome outcome = exporter->run(job);
  if (target.error()) return TargetFailure(options, target);
  if (!outcome.output_problem.empty()) return Failure(options.output, outcome.output_problem);
  ExportResult result;
  result.summary = std::move(outcome.summary);
  result.succeeded = outcome.input_problem.empty();
  if (!result.succeeded) result.problem = Failure(options.input, outcome.input_problem).problem;
  return result;
}

}  // namespace qolm::exporter
