#include "export/y4m_writer.h"

#include <string>
#include <string_view>

namespace qolm::exporter {
namespace {

bool WriteText(std::string_view text, OutputTarget& target) {
  return target.write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

}  // namespace

bool WriteY4mHeader(uint32_t width, uint32_t height, uint32_t fps_numerator,
                    uint32_t fps_denominator, OutputTarget& target) {
  const bool rate_known = fps_numerator > 0 && fps_denominator > 0;
  const std::string rate =
      rate_known ? std::to_string(fps_numerator) + ":" + std::to_string(fps_denominator)
                 : "0:0";  // the format's way to say unknown
  return WriteText("YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) + " F" +
                       rate + " Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n",
                   target);
}

bool WriteY4mFrame(const video::YuvPlanes& planes, OutputTarget& target) {
  return WriteText("FRAME\n", target) && target.write(planes.y) && target.write(planes.cb) &&
         target.write(planes.cr);
}

}  // namespace qolm::exporter
