// The words of the export program's results.
#ifndef QOLM_EXPORT_EXPORT_REPORT_H_
#define QOLM_EXPORT_EXPORT_REPORT_H_

#include <cstdint>
#include <filesystem>
#include <string>

#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "export/export_file.h"
#include "export/export_options.h"
#include "export/output_target.h"

namespace qolm::exporter {

ExportResult Failure(const std::filesystem::path& path, const std::string& reason);

// Of an output whose target has an error; quiet where the reader has gone.
ExportResult OutputFailure(const ExportOptions& options, const OutputTarget& target);

std::string FramesText(int64_t count);
std::string SizeText(uint32_t width, uint32_t height);

// Why decoding stopped early; empty when it did not.
std::string DamageText(const container::ContainerReader& reader, decoder::StreamEnd end,
                       int32_t delivered);

// Why a file shows no frame at all.
std::string NoFrameText(const container::ContainerReader& reader, decoder::StreamEnd end);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_EXPORT_REPORT_H_
