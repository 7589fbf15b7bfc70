// SPDX-License-Identifier: MIT
//
// Small video files, made by the ffmpeg program.
#ifndef QOLM_TESTS_FAULTS_CLIP_H_
#define QOLM_TESTS_FAULTS_CLIP_H_

#include <stdexcept>
#include <string>

#include "support/run_program.h"

namespace qolm::test {

struct Clip {
  int width = 160;
  int height = 120;
  int frames = 25;                         // 25 a second
  int noise = 0;                           // 0 to 100, of the moving picture
  std::string picture_codec = "rawvideo";  // the cheapest to read
  std::string sound_codec = "pcm_s16le";

  // With a tone as long as the picture. The ending of `path` names the form.
  void Write(const std::string& path) const {
    const std::string seconds =
        std::to_string(frames / 25) + "." + std::to_string(1000 + frames % 25 * 40).substr(1);
    const std::string picture = "testsrc2=s=" + std::to_string(width) + "x" +
                                std::to_string(height) + ":r=25:d=" + seconds +
                                ",noise=alls=" + std::to_string(noise) + ":allf=t,format=yuv420p";
    // At the rate that is asked for: filters for another take longer than the rest.
    const std::string tone = "sine=440:r=32000:d=" + seconds;
    ProgramRun ffmpeg(QOLM_FFMPEG,
                      {"-v", "error", "-nostdin", "-y", "-f", "lavfi", "-i", picture, "-f", "lavfi",
                       "-i", tone, "-c:v", picture_codec, "-c:a", sound_codec, path});
    ffmpeg.Wait();
    if (ffmpeg.exit_code() != 0) throw std::runtime_error("ffmpeg: " + ffmpeg.err());
  }
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_FAULTS_CLIP_H_
