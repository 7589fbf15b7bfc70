// How the files of each form begin.
#ifndef QOLM_EXPORT_FORM_SIGNATURE_H_
#define QOLM_EXPORT_FORM_SIGNATURE_H_

#include <cstdint>
#include <span>

#include "export/export_options.h"
#include "output/output_path.h"

namespace qolm::exporter {

// Whether a file that begins with these bytes, 32 if it has as many, is of the form.
bool BeginsAs(Form form, std::span<const uint8_t> bytes);

// In every media file that this program writes, within the first or the last 4 KiB.
inline constexpr const char* kProgramMark = "qolm2_export";

// An export replaces files of its own form, and others when asked to. A media file
// must also bear the program's mark: the film that was converted often stands beside
// its conversion, under the very name that its export would be given.
output::ReplacePolicy ReplacePolicyOf(const ExportOptions& options);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_FORM_SIGNATURE_H_
