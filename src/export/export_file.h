// SPDX-License-Identifier: MIT
//
// Exports one container file as the options request. Prints nothing; the result holds the
// messages.
#ifndef QOLM_EXPORT_EXPORT_FILE_H_
#define QOLM_EXPORT_EXPORT_FILE_H_

#include <string>

#include "export/export_options.h"

namespace qolm::exporter {

struct ExportResult {
  bool succeeded = false;
  // What was written, for one line; empty when nothing was. A damaged file
  // gives both a summary of what was saved and a problem.
  std::string summary;
  // Path and reason, for one error line. Empty after a success, and when the reader closed
  // the pipe, which needs no message.
  std::string problem;
};

ExportResult ExportFile(const ExportOptions& options);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_EXPORT_FILE_H_
