#include "export/export_report.h"

#include "base/path_bytes.h"

namespace qolm::exporter {

ExportResult Failure(const std::filesystem::path& path, const std::string& reason) {
  return {false, {}, BytesFromPath(path) + ": " + reason};
}

ExportResult OutputFailure(const ExportOptions& options, const OutputTarget& target) {
  if (target.reader_has_gone()) return {};
  const std::string name =
      options.to_standard_output ? "standard output" : BytesFromPath(options.output);
  return {false, {}, name + ": " + target.error().message()};
}

std::string FramesText(int64_t count) {
  return std::to_string(count) + (count == 1 ? " frame" : " frames");
}

std::string SizeText(uint32_t width, uint32_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

std::string DamageText(const container::ContainerReader& reader, decoder::StreamEnd end,
                       int32_t delivered) {
  const uint32_t announced = reader.header().frame_count;
  switch (end) {
    case decoder::StreamEnd::kDamagedRecord:
      return "damaged record behind " + FramesText(delivered) +
             (announced != 0 ? " of " + std::to_string(announced) : "");
    case decoder::StreamEnd::kFramesMissing:
      return announced != 0 ? "the file ends after " + FramesText(delivered) + " of " +
                                  std::to_string(announced)
                            : "the file was never finished, it ends after " + FramesText(delivered);
    default:
      return {};
  }
}

std::string NoFrameText(const container::ContainerReader& reader, decoder::StreamEnd end) {
  const std::string damage = DamageText(reader, end, 0);
  return damage.empty() ? "the file holds no frames" : damage;
}

}  // namespace qolm::exporter
