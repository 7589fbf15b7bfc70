// SPDX-License-Identifier: MIT
//
// Turns one container file into the output that the options ask for. Prints
// nothing; what to tell the user is in the result.
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
  // Path and reason, for one error line. Empty after a success, and when the
  // reader of a pipe has gone, which needs no words.
  std::string problem;
};

ExportResult ExportFile(const ExportOptions& options);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_EXPORT_FILE_H_
