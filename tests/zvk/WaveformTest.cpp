// `zvk waveform`, on recordings written here.
#include "ToolTest.h"

namespace {

using namespace test;

class WaveformTest : public ToolTest {
 protected:
  /// A WAV file of 16-bit samples, given in 1/127 of full scale.
  static void saveRecording(const char* file, uint16_t channels, const std::vector<int>& samples) {
    const auto bytes = static_cast<uint32_t>(2 * samples.size());
    std::string wav;
    const auto put = [&wav](uint32_t value, int count) {
      for (int i = 0; i < count; ++i) wav += static_cast<char>(value >> 8 * i);
    };
    wav += "RIFF";
    put(36 + bytes, 4);
    wav += "WAVEfmt ";
    put(16, 4);
    put(1, 2);
    put(channels, 2);
    put(8000, 4);
    put(8000U * 2 * channels, 4);
    put(2U * channels, 2);
    put(16, 2);
    wav += "data";
    put(bytes, 4);
    for (const int sample : samples) put(static_cast<uint32_t>(sample * 32767 / 127), 2);
    host::writeFile(file, wav);
  }

  /// What the plug-in draws of these records with the colours that it declares.
  static Pixels drawn(const std::vector<int>& values, int count, int smooth, int outline) {
    const std::vector<uint8_t> bytes(values.begin(), values.end());
    PluginHost setup(host::PictureOptions{});
    const host::PictureRef picture = setup.plugin.callGlobal(
        "RenderSamplesZVK", setup.host.newBlock(bytes), count, smooth, kColumns, kRows, outline);
    return picture ? picture->pixels() : Pixels();
  }

  static constexpr int kColumns = 4, kRows = 60;
  const std::string size_ = " --width 4 --height 60 -o out.png";
};

TEST_F(WaveformTest, HandsOverEverySampleOfTwoChannels) {
  saveRecording("one.wav", 1, {1, 50, -60, 127, -127});
  saveRecording("two.wav", 2, {1, 2, 50, -50, -60, 60, 127, 100, -127, 0});
  saveRecording("three.wav", 3, {1, 2, 9, 50, -50, 9, -60, 60, 9, 127, 100, 9, -127, 0, 9});
  done("waveform one.wav --samples --smooth 2" + size_);
  EXPECT_EQ(load("out.png"), drawn({1, 1, 50, 50, -60, -60, 127, 127, -127, -127}, 5, 2, 0));
  for (const char* file : {"two.wav", "three.wav"}) {
    done(std::string("waveform --samples --outline 1 ") + file + size_);
    EXPECT_EQ(load("out.png"), drawn({1, 2, 50, -50, -60, 60, 127, 100, -127, 0}, 5, 1, 1));
  }
}

TEST_F(WaveformTest, ColumnsReachFromTheirLowestToTheirHighestSample) {
  saveRecording("long.wav", 1, {5, -9, 7, 80, -3, 2, 4, 4, -100, -20, 0, 33});
  done("waveform long.wav --outline 3" + size_);
  EXPECT_EQ(load("out.png"), drawn({0, 0, -9, 7, -3, 80, -100, 4, -20, 33}, 4, 1, 3));
  // Recordings of fewer samples than columns have no gaps.
  saveRecording("short.wav", 2, {40, -20, 60, 10});
  done("waveform short.wav" + size_);
  EXPECT_EQ(load("out.png"), drawn({0, 0, -20, 40, -20, 40, 10, 60, 10, 60}, 4, 1, 0));
}

TEST_F(WaveformTest, RefusesWhatCannotBeDrawn) {
  saveRecording("good.wav", 1, {1, 2, 3});
  saveRecording("empty.wav", 1, {});
  saveRecording("cut.wav", 1, std::vector<int>(100, 1));
  host::writeFile("cut.wav", host::readFile("cut.wav").substr(0, 150));
  host::writeFile("notes.txt", "no recording\n");
  host::writeFile("out.png", "kept");
  expectRefusals({{"waveform", 2, "IN"},
                  {"waveform good.wav", 2, "--output"},
                  {"waveform gone.wav -o out.png", 2, "gone.wav: No such file"},
                  {"waveform notes.txt -o out.png", 2, "WAV, FLAC, Ogg"},
                  {"waveform empty.wav -o out.png", 2, "empty.wav holds no sound"},
                  {"waveform good.wav -o out.png --width 32767 --height 32767", 2, "too many"},
                  {"waveform good.wav -o out.png --height 0", 2, "--height"},
                  {"waveform good.wav -o out.png --outline -1", 2, "--outline"},
                  {"waveform good.wav -o out.png --back reddish", 2, "&cRRGGBB"},
                  {"waveform good.wav -o out.png --smooth 0", 2, "--smooth"},
                  {"waveform cut.wav -o out.png", 2, "cut.wav: damaged"},
                  {"waveform good.wav -o gone/out.png", 2, "gone/out.png"}});
}

}  // namespace
