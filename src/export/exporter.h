// SPDX-License-Identifier: MIT
//
// One function per form. Each takes an export whose source and output are already open or
// chosen, and returns what became of it.
#ifndef QOLM_EXPORT_EXPORTER_H_
#define QOLM_EXPORT_EXPORTER_H_

#include <string>

#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "export/export_options.h"
#include "export/form.h"
#include "export/output_target.h"

namespace qolm::exporter {

struct ExportJob {
  Form form;
  PictureChoice choice;  // only for Form::kPng
  const container::ContainerReader& reader;
  decoder::FrameDecoder& decoder;  // has delivered nothing yet
  // The exporter opens it once it has something to write, so that a file that shows
  // nothing leaves nothing behind, and commits it.
  OutputTarget& target;
};

// Without texts after a failure of the target, whose error() has the reason.
struct ExportOutcome {
  std::string summary = {};         // what was committed, for one line; empty for nothing
  std::string input_problem = {};   // why nothing, or less than the file announces, was written
  std::string output_problem = {};  // why the form cannot be written
};

// Every frame with its decoded planes.
ExportOutcome ExportY4m(ExportJob& job);

// One frame, or a contact sheet.
ExportOutcome ExportPng(ExportJob& job);

// The audio alone. A file without any is a problem of the input.
ExportOutcome ExportWav(ExportJob& job);

// Every frame, with the audio if there is any. Of a damaged file the frames before the
// damage and all audio that decodes.
ExportOutcome ExportMedia(ExportJob& job);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_EXPORTER_H_
