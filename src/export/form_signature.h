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

// An export replaces files of its own form, and others when asked to.
output::ReplacePolicy ReplacePolicyOf(const ExportOptions& options);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_FORM_SIGNATURE_H_
