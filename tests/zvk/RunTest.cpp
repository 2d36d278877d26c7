// `zvk run` as a process of its own: what it makes, prints and refuses.
#include <sys/stat.h>

#include <filesystem>
#include <future>
#include <nlohmann/json.hpp>

#include "ToolTest.h"

namespace {

namespace fs = std::filesystem;

using namespace test;

constexpr int kWidth = 40, kHeight = 30;

class RunTest : public ToolTest {
 protected:
  RunTest() { save("in.png", kWidth, kHeight, source_); }

  /// The picture that a call makes of in.png.
  Pixels made(const std::string& call) {
    done("run in.png '" + call + "' -o made.png");
    return load("made.png");
  }

  const Pixels source_ = randomPixels(kWidth, kHeight, 1);
};

TEST_F(RunTest, TakesEveryKindOfArgument) {
  EXPECT_EQ(made("TintPictureZVK(_, &cFF0000, &cFFFFFF)"), mapped(source_, [](Rgb c) {
              return Rgb{c.red, c.red, c.red};
            }));

  const Pixels other = randomPixels(kWidth, kHeight, 2);
  save("other, one.png", kWidth, kHeight, other);
  Pixels replaced = source_;
  for (size_t i = 0; i < source_.size(); ++i) {
    replaced[i] = (source_[i] & 0xFF00FFFF) | (other[i] & 0xFF0000);
  }
  EXPECT_EQ(made("ReplaceRedChannelZVK(@\"other, one.png\")"), replaced);

  std::string inverse, hex;
  for (int v = 255; v >= 0; --v) {
    inverse += static_cast<char>(v);
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(v) & 0xFFU);
    hex += digits;
  }
  host::writeFile("inverse", inverse);
  EXPECT_EQ(made("TransformColorsZVK(@inverse, bytes:" + hex + ", @inverse)"),
            mapped(source_, [](Rgb c) {
              return Rgb{255 - c.red, 255 - c.green, 255 - c.blue};
            }));
}

TEST_F(RunTest, AppliesCallsOneAfterAnotherAndPrintsResults) {
  const std::string printed = done(
      "run in.png 'ReplaceColorZVK(&c000000, &c010101)' 'isBlackZVK(0, 0, 1, 1)' "
      "'ExtractColorZVK(&c000000, &cFFFFFF, &c123456)' 'CountColorZVK(&c123456)' "
      "'colorness(0)' --storage record");
  EXPECT_EQ(printed,
            "isBlackZVK: black false\nCountColorZVK: count 1200\nColornessZVK: colorness 1\n");
}

TEST_F(RunTest, WritesThroughLinksAndIntoPipes) {
  host::writeFile("target.png", "old");
  fs::create_symlink("target.png", "link.png");
  done("run in.png InvertZVK InvertZVK -o link.png");
  EXPECT_TRUE(fs::is_symlink("link.png"));
  EXPECT_EQ(load("target.png"), source_);

  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  auto received = std::async(std::launch::async, [] { return host::readFile("pipe"); });
  done("run in.png InvertZVK InvertZVK -o pipe");
  EXPECT_EQ(received.get(), host::readFile("target.png"));
  EXPECT_TRUE(fs::is_fifo("pipe"));
}

TEST_F(RunTest, ShowsHistograms) {
  const auto json = nlohmann::json::parse(done("run in.png CountColorsZVK --json"));
  EXPECT_EQ(json.at("count"), kWidth * kHeight);
  std::vector<uint32_t> red(256);
  for (const uint32_t pixel : source_) ++red[pixel >> 16 & 255];
  EXPECT_EQ(json.at("red"), red);

  // A column that towers above all others is cut and marked.
  save("plain.png", kWidth, kHeight, Pixels(kWidth * kHeight, 0xFF050607));
  EXPECT_THAT(done("run plain.png CountColorsZVK"),
              testing::HasSubstr("red: sum 1200, peak 1200 at 5\n  │ ▲" + std::string(62, ' ') +
                                 "│\n  │ █"));
}

TEST_F(RunTest, KeepsAlphaWhereItCanAndSaysWhereItCannot) {
  const host::PictureOptions layout{.alpha = true};
  const auto picture = host_.newPicture(kWidth, kHeight, layout);
  picture->fill(host::premultiplied(0x80FF8000));
  host::savePicture(*picture, "clear.png");
  save("grey.png", kWidth, kHeight, Pixels(kWidth * kHeight, 0xFF808080));
  const auto pixelOf = [&](const char* file) {
    const auto loaded = host::loadPicture(host_, file, layout);
    return host::visiblePixels(*loaded).front();
  };
  // Half transparent again, a picture has its colours back; records keep seven bits of alpha.
  for (const char* storage : {"cairo", "record"}) {
    done(
        "run clear.png 'EmbeddedMask(no)=@in.png' 'EmbeddedMask(no)=@grey.png' -o kept.png "
        "--storage " +
        std::string(storage));
    EXPECT_EQ(pixelOf("kept.png") & 0xFEFFFFFF, 0x80FF8000) << storage;
  }
  Outcome outcome = run("run clear.png 'EmbeddedMask(no)=@grey.png' -o out.jpg");
  EXPECT_THAT(outcome.error, testing::HasSubstr("jpeg keeps no alpha"));
  done("run clear.png 'EmbeddedMask(no)=@grey.png' -o out.bmp --background blue");
  EXPECT_EQ(pixelOf("out.bmp"), 0xFF80407F);
  outcome = run("run clear.png Invert -o out.png --storage record");
  EXPECT_THAT(outcome.error, testing::HasSubstr("gives an opaque picture"));
  EXPECT_EQ(pixelOf("out.png"), 0xFF007FFF);
}

TEST_F(RunTest, WorksOnManyFilesAndGoesOnWhereItStopped) {
  for (const char* file : {"b.jpg", "c.jpg", "d.jpg"}) save(file, kWidth, kHeight, source_);
  host::writeFile("c.jpg", host::readFile("c.jpg").substr(0, 700));
  fs::create_directory("out");
  host::writeFile("out/d.png", "is there");
  const Outcome outcome =
      run("run '*.jpg' Invert 'CountColor(red)' -o 'out/{name}.png' --skip-existing");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "b.jpg: count 0\n");
  EXPECT_THAT(outcome.error, testing::HasSubstr("\nzvk: c.jpg: damaged: "));
  EXPECT_THAT(outcome.error, testing::HasSubstr("\nzvk: 1 of 2 done, 1 failed"));
  EXPECT_EQ(load("out/b.png").size(), source_.size());
  EXPECT_FALSE(fs::exists("out/c.png"));
  EXPECT_EQ(host::readFile("out/d.png"), "is there");
}

TEST_F(RunTest, LeavesNothingBehindWhenItIsEnded) {
  constexpr int kSide = 3000;
  save("large.bmp", kSide, kSide, randomPixels(kSide, kSide, 1));
  host::writeFile("out.png", "kept");
  // Ended as soon as it has begun to write.
  host::writeFile("end.sh", "set -m\n" ZVK_TOOL_RUNNER " '" ZVK_TOOL_FILE
                            "' run large.bmp Invert -o out.png --compression 9 &\n"
                            "until ls out.png.?*; do sleep 0.01; done\n"
                            "kill -$1 $!\n"
                            "wait $!\n");
  const auto before = files();
  for (const std::string signal : {"INT", "TERM", "HUP"}) {
    const int status =
        std::system(("timeout 60 bash end.sh " + signal + " >/dev/null 2>&1").c_str());
    EXPECT_GT(WEXITSTATUS(status), 128) << signal;
    EXPECT_TRUE(files() == before) << signal;
  }
}

TEST_F(RunTest, SaysWhatMayNotBeExpected) {
  save("small.png", 7, 5, randomPixels(7, 5, 2));
  save("wide.png", kWidth + 1, kHeight, randomPixels(kWidth + 1, kHeight, 2));
  host::writeFile("deep.pnm", "P2 # as from a scanner\n1 1 4095 7\n");
  const std::pair<const char*, const char*> notes[] = {
      {"'Invert(40, 0, 9, 9)' -o out.png", "no pixel of the picture, 40 x 30,"},
      {"'isWhite(0, 0, 9, 0)'", "no pixel"},
      {"'PictureSepia(MinY=30)' -o out.png", "no pixel"},
      {"'EmbeddedMask(no)=@small.png' --alpha -o out.png", "the mask is 7 x 5"},
      {"'RenderSamples(bytes:00000000, 3, 1, 9, 9, 0)' -o out.png", "the block has 2"},
      {"'FindPicture(@deep.pnm)'", "16 bits"},
      {"'ReplaceRedChannel(@wide.png)' -o out.png", "its top left part is taken"},
      {"Invert -o out.png --format jpg", "though its name says png"},
      {"Invert -o out.png --quality 90", "--quality is for jpeg"},
  };
  for (const auto& [arguments, says] : notes) {
    const Outcome outcome = run(std::string("run in.png ") + arguments);
    EXPECT_EQ(outcome.status, 0) << arguments;
    EXPECT_THAT(outcome.error, testing::StartsWith("zvk: note: ")) << arguments;
    EXPECT_THAT(outcome.error, testing::HasSubstr(says));
  }
}

// One line says what was wrong, nothing is printed besides, and no file is made or changed.
TEST_F(RunTest, RefusesWhatCannotBeDone) {
  const std::string picture = host::readFile("in.png");
  host::writeFile("out.png", "kept");
  host::writeFile("notes.txt", "no picture\n");
  host::writeFile("empty", "");
  // The end comes after one of two pixels.
  host::writeFile("half.gif",
                  std::string("GIF89a\2\0\1\0\200\0\0colors,\0\0\0\0\2\0\1\0\0\2\2D\1\0;", 35));
  // Its frame has no column, at which a loader stumbles.
  host::writeFile("flat.gif", std::string("GIF89a\1\0\1\0\0\0\0,\0\0\0\0\0\0\1\0\0\2\2D\1\0;", 28));
  host::writeFile("half.png", picture.substr(0, picture.size() / 2));
  for (const char* whole : {"whole.jpg", "whole.bmp"}) {
    save(whole, kWidth, kHeight, source_);
    const std::string bytes = host::readFile(whole);
    host::writeFile(std::string("half") + (whole + 5), bytes.substr(0, bytes.size() - 300));
  }
  done("run in.png 'PicturetoBinaryStringZVK(_)' -o whole.ppic");
  host::writeFile("half.ppic", host::readFile("whole.ppic").substr(0, 1000));
  save("small.png", kWidth, kHeight - 1, randomPixels(kWidth, kHeight - 1, 2));
  expectRefusals({
      {"rum", 2, "the nearest are run"},
      {"run", 2, "IN"},
      {"run in.png", 2, "CALL"},
      {"run in.png InvertZVK -o out.png --qualty 90", 2, "--quality"},
      {"run in.png InvertZVK -o out.png --storage paper", 2, "drawable"},
      {"run in.png InvertZVK -o out.png --plugin gone.so", 2, "gone.so"},
      {"run gone.png InvertZVK -o out.png --format png", 2, "gone.png"},
      {"run in.png InvertZVK -o /dev/full --format bmp", 2, "cannot be written: No space"},
      {"run in.png InvertZVK -o out.png --jobs 0", 2, "--jobs: must be 1 or more, not 0"},
      {"run in.png InvertZVK -o '{nam}.png'", 2, "there is no {nam}"},
      {"run '*.png' InvertZVK -o ./", 2, "an input would be replaced"},
      {"run . InvertZVK -o out.png", 2, "directory"},
      {"run in.png gone.png Invert -o ./", 2, "gone.png: no file is called so"},
      {"run in.png Invert -o in.png/out.png", 2, "in.png is a file, not a folder"},
      {"run in.png isWhite --quality 9", 2, "nothing is saved"},
      {"run flat.gif Invert -o out.png", 2, "flat.gif: not a whole GIF file"},
      {"run half.gif Invert -o out.png", 2, "half.gif: damaged: the picture is not whole"},
      {"run notes.txt InvertZVK -o out.png", 2, "possible are JPEG, PNG"},
      {"run half.png InvertZVK -o out.png", 2, "half.png: damaged: the file ends too early"},
      {"run half.jpg InvertZVK -o out.png", 2, "half.jpg: damaged: Premature end"},
      {"run half.bmp InvertZVK -o out.png", 2, "half.bmp: damaged: the file ends too early"},
      {"run in.png 'PictureSepiaZVK(SepiaRed=x)' -o out.png", 2, "; SepiaRed: −255 no red"},
      {"help InvertZVK Blurr", 2, "nothing has a name like it"},
      {"help run Invert", 2, "Invert is too much"},
      {"list Blurr", 2, "Blurr"},
      {"run in.png Contrast -o out.png", 2, "nearest are ChangeContrastZVK"},
      {"run in.png 'InvertZVK(' -o out.png", 2, "InvertZVK("},
      {"run in.png InvertZVK", 2, "-o"},
      {"run in.png IsWhite >/dev/full", 2, "standard output: cannot be written: No space"},
      {"run in.png InvertZVK -o gone/out.png", 2, "mkdir -p"},
      {"run in.png isWhite -o out.xyz", 2, ".png"},
      {"run in.png 'PicturetoBinaryString(_)' -o out.png", 2, "bytes, not a picture"},
      {"run in.png PictureLut3D -o out.png", 2, "Table=@FILE"},
      {"run in.png 'PictureSepia(MinY=9, MaxY=3)' -o out.png", 2, "MaxY 3 must be above MinY 9"},
      {"run in.png ChangeSaturationZVK -o out.png", 2, "(Amount as integer)"},
      {"run in.png 'ChangeSaturationZVK(1.5)' -o out.png", 2, "; Amount: −255 grey … 0 unchanged"},
      {"run in.png 'ReplaceRedChannelZVK(@notes.txt)' -o out.png", 2, "notes.txt"},
      {"run in.png 'ReplaceRedChannelZVK(@small.png)' -o out.png", 1, "must be at least 40 x 30"},
      {"run in.png 'MergePicture(_, @small.png)' -o out.png", 1, "source2 40 x 29"},
      {"run in.png 'TransformColors(bytes:00, bytes:00, bytes:00)' -o out.png", 1, "must have 256"},
      {"run in.png 'EmbeddedMask(no)=@small.png' -o out.png", 1, "--alpha"},
      {"run in.png 'RenderSamples(bytes:0000, 1, 0, 9, 9, 0)' -o out.png", 2, "Smooth 0"},
      {"run in.png 'RenderSamples(_, 1, 1, 32767, 32767, 0)' -o out.png", 2, "are too many"},
      {"run in.png 'ReplaceRedChannelZVK(nil)' -o out.png", 1, "The channel picture is nil."},
      {"run in.png 'TransformColorsZVK(bytes:00, bytes:, nil)' -o out.png", 1, "green memoryblock"},
      {"run in.png 'CountColorsZVK(bytes:00, nil, nil, 0)'", 1, "must have 1024"},
      {"run half.ppic 'BinaryStringtoPictureZVK(_)' -o out.png", 1,
       "1000 bytes; its header says 3640"},
      {"run empty 'BinaryStringtoPictureZVK(_)' -o out.png", 1, "PPIC"},
      {"run in.png 'BinaryStringtoPictureZVK(_)' -o out.png", 2, "in.png: a picture"},
      {"run whole.ppic CountColorsZVK", 2, "whole.ppic: not a picture"},
  });
}

}  // namespace
