// SPDX-License-Identifier: MIT
//
// qolm2_export while one allocation after the other fails.
#include <gtest/gtest.h>

#include <filesystem>

#include "faults/called_main.h"
#include "faults/clip.h"
#include "faults/memory_sweep.h"
#include "support/text_file.h"

namespace qolm::test {
namespace {

namespace fs = std::filesystem;

class ExportMemory : public testing::Test {
 protected:
  ExportMemory() {
    const std::string source = (folder_ / "source.mkv").string();
    Clip{.width = 256, .height = 144, .frames = 5}.Write(source);
    ProgramRun converter(QOLM_CONVERTER, {"encode", source, input_, "--bidirectional"});
    converter.Wait();
    EXPECT_EQ(converter.exit_code(), 0) << converter.err();
  }

  // The output is whole or it is the old one, and the exit code tells which. Sound
  // for which there is no memory is left out and told as damaged.
  void Sweep(const std::string& name, const std::vector<std::string>& options = {},
             const AllocationFault& fault = {}, uint64_t stride = 1) {
    const std::string output = (folder_ / name).string();
    std::vector<std::string> words = {input_, output};
    words.insert(words.end(), options.begin(), options.end());
    const MainCall undisturbed = main_.Call(words);
    ASSERT_EQ(undisturbed.exit_code, 0) << undisturbed.err;
    const std::string whole = ReadFile(output);
    const std::string old = whole + "the old file";  // one of the program's own, which is replaced
    const std::string sound_lost = "[-] Error: " + input_ + ": the sound cannot be decoded";
    SweepAllocations(
        main_, words, fault, stride, [&] { WriteFile(output, old); },
        [&](const MainCall& call) {
          const std::string content = ReadFile(output);
          EXPECT_FALSE(fs::exists(output + ".part"));
          if (call.exit_code == 0) {
            EXPECT_EQ(call.err, undisturbed.err);
            EXPECT_TRUE(content == whole);
          } else if (call.err.starts_with(sound_lost)) {
            const std::string saved = call.err.substr(sound_lost.size());
            EXPECT_TRUE(saved == "\n" ? content == old : saved.ends_with(", no sound\n")) << saved;
          } else {
            EXPECT_EQ(call.err, "[-] Error: out of memory\n");
            EXPECT_TRUE(content == old || content == whole);
          }
        });
  }

  const TemporaryFolder folder_;
  const std::string input_ = (folder_ / "clip.qolm").string();
  CalledMain main_{ExportMain};
};

TEST_F(ExportMemory, OneRefusalInY4m) { Sweep("clip.y4m"); }
TEST_F(ExportMemory, OneRefusalInWav) { Sweep("clip.wav"); }
TEST_F(ExportMemory, OneRefusalInAPicture) { Sweep("clip.png", {"--frame", "3"}); }
TEST_F(ExportMemory, OneRefusalInASheet) { Sweep("sheet.png", {"--sheet", "2x2"}); }
TEST_F(ExportMemory, OneRefusalInAMediaFile) { Sweep("clip.mkv"); }
TEST_F(ExportMemory, NothingButRefusalsFromOneOn) {
  Sweep("clip.y4m", {}, {.from_then = true});
  Sweep("clip.mkv", {}, {.from_then = true});
}

}  // namespace
}  // namespace qolm::test
