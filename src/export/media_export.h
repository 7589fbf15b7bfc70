// The forms that carry sound.
#ifndef QOLM_EXPORT_MEDIA_EXPORT_H_
#define QOLM_EXPORT_MEDIA_EXPORT_H_

#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "export/export_file.h"
#include "export/export_options.h"

namespace qolm::exporter {

// The sound alone. A file without any is a failure.
ExportResult ExportWav(const ExportOptions& options, const container::ContainerReader& reader,
                       decoder::FrameDecoder& decoder);

// Every frame, with the sound where there is some. Of a damaged file the frames
// before the damage and all the sound that decodes. `decoder` has delivered
// nothing yet.
ExportResult ExportMedia(const ExportOptions& options, const container::ContainerReader& reader,
                         decoder::FrameDecoder& decoder);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_MEDIA_EXPORT_H_
