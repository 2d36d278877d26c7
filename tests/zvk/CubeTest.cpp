// Colour tables from .cube files, and how the tool puts them into the table filter.
#include <filesystem>

#include "filters/FilterSupport.h"
#include "host/files/PictureFile.h"
#include "zvk/CubeFile.h"
#include "zvk/Tool.h"

namespace {

using namespace test;
using testing::HasSubstr;

// --- Looks, and the files that hold them ---------------------------------------------------------

using Color = std::array<double, 3>;  ///< red, green, blue on the scale 0..1
using Look = Color (*)(const Color&);

Color swapped(const Color& c) { return {c[1], c[2], c[0]}; }
Color negative(const Color& c) { return {1 - c[0], 1 - c[1], 1 - c[2]}; }

/// A warm film look: softer colours, more contrast with lifted blacks, highlights towards orange,
/// shadows towards teal.
Color warmFilm(const Color& c) {
  constexpr Color kShadows{0.02, 0.05, 0.07}, kHighlights{1.0, 0.95, 0.82};
  const double luminance = 0.2126 * c[0] + 0.7152 * c[1] + 0.0722 * c[2];
  Color result;
  for (size_t x = 0; x < 3; ++x) {
    const double soft = luminance + 0.85 * (c[x] - luminance);
    const double curve = 0.6 * soft * soft * (3 - 2 * soft) + 0.4 * std::pow(soft, 0.9);
    result[x] = std::clamp(kShadows[x] + curve * (kHighlights[x] - kShadows[x]), 0.0, 1.0);
  }
  return result;
}

/// A logistic contrast curve, 2.5 times as steep as the identity in the middle.
Color steepContrast(const Color& c) {
  const auto logistic = [](double v) { return 1 / (1 + std::exp(-10 * (v - 0.5))); };
  Color result;
  for (size_t x = 0; x < 3; ++x) {
    result[x] = (logistic(c[x]) - logistic(0)) / (logistic(1) - logistic(0));
  }
  return result;
}

/// The text of a file: `header`, LUT_3D_SIZE and the rows for inputs from `low` to `high`.
std::string cubeText(Look look, int size, const std::string& header = "", double low = 0,
                     double high = 1, const char* newline = "\n") {
  std::string text = header + "LUT_3D_SIZE " + std::to_string(size) + newline;
  const auto input = [&](int i) { return low + (high - low) * i / (size - 1); };
  for (int b = 0; b < size; ++b) {
    for (int g = 0; g < size; ++g) {
      for (int r = 0; r < size; ++r) {
        const Color output = look({input(r), input(g), input(b)});
        char row[64];
        snprintf(row, sizeof row, "%.6f %.6f %.6f%s", output[0], output[1], output[2], newline);
        text += row;
      }
    }
  }
  return text;
}

// --- Reading ------------------------------------------------------------------------------------

/// A folder that lasts as long as the test.
class CubeTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "cubeXXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern + "/";
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& name) const { return folder_ + name; }
  std::string write(const std::string& text) const {
    host::writeFile(file("look.cube"), text);
    return file("look.cube");
  }
  zvk::Cube cube(const std::string& text) const { return zvk::Cube::parse(text, "look.cube"); }

 private:
  std::string folder_;
};

/// Rows of zeros.
std::string rows(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += "0 0 0\n";
  return text;
}

void expectNear(const zvk::Triple& actual, const zvk::Triple& expected) {
  for (size_t x = 0; x < 3; ++x) EXPECT_NEAR(actual[x], expected[x], 0.001);
}

TEST_F(CubeTest, ReadsBothDialects) {
  for (const int size : {2, 3, 16, 33}) {
    const zvk::Cube swap = cube(cubeText(swapped, size));
    expectNear(swap.at({0, 0, 0}), {0, 0, 0});
    expectNear(swap.at({255, 0, 17}), {0, 17, 255});
    expectNear(swap.at({10, 20, 30}), {20, 30, 10});
    expectNear(swap.at({251, 254, 250}), {254, 250, 251});
  }
  const std::string decorated =
      "\xEF\xBB\xBF# made by hand\r\n\r\nTITLE \"a look: 1 2 3\"\r\n  DOMAIN_MAX\t1 +1 1e0\r\n"
      "DOMAIN_MIN 0 0 0.0\r\n";
  expectNear(cube(cubeText(swapped, 5, decorated, 0, 1, "\r\n")).at({10, 20, 30}), {20, 30, 10});
  const std::string withoutEnd = cubeText(swapped, 2);
  expectNear(cube(withoutEnd.substr(0, withoutEnd.size() - 1)).at({10, 20, 30}), {20, 30, 10});
}

TEST_F(CubeTest, AppliesTheDomain) {
  const std::string minus = "DOMAIN_MIN -0.5 -0.5 -0.5\nDOMAIN_MAX 1.5 1.5 1.5\n";
  expectNear(cube(cubeText(swapped, 9, minus, -0.5, 1.5)).at({10, 20, 250}), {20, 250, 10});
  const std::string range = "LUT_3D_INPUT_RANGE 0.2 0.8\n";
  const zvk::Cube inner = cube(cubeText(swapped, 9, range, 0.2, 0.8));
  expectNear(inner.at({100, 150, 200}), {150, 200, 100});
  // Beyond the grid its edge counts.
  expectNear(inner.at({0, 150, 255}), {150, 204, 51});
  const std::string perChannel = "DOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 0.5 1\n";
  expectNear(cube(perChannel + cubeText(swapped, 2)).at({51, 51, 102}), {102, 102, 51});
}

// A shaper squares its input, for a cube that swaps channels.
TEST_F(CubeTest, AppliesOneDimensionalTablesAloneAndInFrontOfOthers) {
  std::string curve;
  for (int i = 0; i < 256; ++i) {
    const std::string value = std::to_string(i / 255.0 * i / 255.0) + " ";
    curve += value + value + value + "\n";
  }
  expectNear(cube("LUT_1D_SIZE 256\n" + curve).at({51, 102, 255}), {10.2, 40.8, 255});
  expectNear(cube("LUT_1D_SIZE 256\nDOMAIN_MAX 2 2 2\n" + curve).at({102, 204, 255}),
             {10.2, 40.8, 63.7505});
  // The cube covers the inputs from 0 to 0.5 only.
  std::string both = cubeText(swapped, 5, "", 0, 0.5);
  const size_t rowsAt = both.find('\n') + 1;
  both.insert(rowsAt, curve);
  const std::string header = "LUT_1D_SIZE 256\nLUT_1D_INPUT_RANGE 0 1\nLUT_3D_INPUT_RANGE 0 0.5\n";
  expectNear(cube(header + both).at({51, 102, 255}), {40.8, 127.5, 10.2});
}

// A grid that bends along one diagonal only shows which tetrahedra are used.
TEST_F(CubeTest, InterpolatesAlongTheGreyDiagonal) {
  std::string text = "LUT_3D_SIZE 2\n" + rows(7) + "1 0.5 0\n";
  const zvk::Cube corner = cube(text);
  expectNear(corner.at({153, 153, 153}), {153, 76.5, 0});
  expectNear(corner.at({255, 51, 153}), {51, 25.5, 0});
  expectNear(corner.at({0, 255, 255}), {0, 0, 0});
}

struct Malformed {
  const char* what;
  std::string text;
  int line;
  const char* expected;
};

TEST_F(CubeTest, NamesLineAndExpectationOfMalformedFiles) {
  const Malformed cases[] = {
      {"empty", "", 0, "LUT_3D_SIZE"},
      {"no size", "# nothing\nTITLE \"x\"\n", 2, "LUT_3D_SIZE"},
      {"row first", "\n0 0 0\n", 2, "before the first row"},
      {"size too small", "LUT_3D_SIZE 1\n", 1, "from 2 to 129"},
      {"size too large", "LUT_3D_SIZE 130\n", 1, "from 2 to 129"},
      {"largest size without rows", "LUT_3D_SIZE 129\n", 1, "2146689 rows of three numbers"},
      {"size no number", "LUT_3D_SIZE 2x\n", 1, "from 2 to 129"},
      {"two sizes in a line", "LUT_3D_SIZE 2 2\n", 1, "from 2 to 129"},
      {"two sizes", "LUT_3D_SIZE 2\nLUT_3D_SIZE 2\n", 2, "only once"},
      {"one-dimensional without rows", "LUT_1D_SIZE 2\n", 1, "2 rows of three numbers"},
      {"two tables, one domain", "LUT_1D_SIZE 2\nLUT_3D_SIZE 2\nDOMAIN_MAX 2 2 2\n" + rows(10), 3,
       "LUT_3D_INPUT_RANGE"},
      {"two tables, rows of one", "LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n" + rows(9), 11, "not 7"},
      {"unknown keyword", "LUT_3D_SIZE 2\nGAMMA 2\n", 2, "DOMAIN_MIN"},
      {"short row", "LUT_3D_SIZE 2\n0 0 0\n0 0\n", 3, "a row of three numbers"},
      {"long row", "LUT_3D_SIZE 2\n0 0 0 0\n", 2, "a row of three numbers"},
      {"no number", "LUT_3D_SIZE 2\n0 0,5 0\n", 2, "a row of three numbers"},
      {"infinite", "LUT_3D_SIZE 2\n0 0 1e999\n", 2, "a row of three numbers"},
      {"too few rows", "LUT_3D_SIZE 2\n" + rows(7), 8, "8 rows of three numbers"},
      {"too many rows", "LUT_3D_SIZE 2\n" + rows(9), 10, "the end of the file"},
      {"late keyword", "LUT_3D_SIZE 2\n0 0 0\nDOMAIN_MAX 1 1 1\n", 3, "a row of three numbers"},
      {"short domain", "DOMAIN_MIN 0 0\n", 1, "three numbers behind DOMAIN_MIN"},
      {"long range", "LUT_3D_INPUT_RANGE 0 1 2\n", 1, "two numbers behind LUT_3D_INPUT_RANGE"},
      {"empty domain", "DOMAIN_MIN 0 1 0\nLUT_3D_SIZE 2\n" + rows(8), 1, "above the minimum"},
  };
  for (const Malformed& c : cases) {
    SCOPED_TRACE(c.what);
    try {
      cube(c.text);
      ADD_FAILURE() << "was accepted";
    } catch (const zvk::InputError& error) {
      EXPECT_THAT(error.what(), HasSubstr("look.cube:" + std::to_string(c.line) + ": expected "));
      EXPECT_THAT(error.what(), HasSubstr(c.expected));
      EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
    }
  }
}

class CubeRunTest : public CubeTest {
 protected:
  /// What `zvk run` makes of the source by a call, with @LOOK standing for the cube file.
  Pixels tool(std::string call) {
    call.replace(call.find("LOOK"), 4, file("look.cube"));
    const zvk::CommonOptions common{.plugin = ZVK_PLUGIN_FILE};
    EXPECT_EQ(
        zvk::run(common,
                 {.input = file("source.png"), .calls = {call}, .output = file("result.png")}),
        zvk::kDone);
    return host::loadPicture(setup_.host, file("result.png"), {})->pixels();
  }

  Pixels source() {
    Pixels pixels = randomPixels(kWidth, kHeight, 1);
    host::savePicture(*setup_.picture(kWidth, kHeight, pixels), file("source.png"));
    return pixels;
  }

  static constexpr int kWidth = 300, kHeight = 100;

 private:
  PluginHost setup_{host::Settings::forStorage(host::Storage::kCairo)};
};

// These looks are linear, so that 16 grid points hold them without error, whatever the file's grid;
// only the file's six digits stand between the file and whole channel values.
TEST_F(CubeRunTest, MapsLinearLooksExactly) {
  const Pixels pixels = source();
  for (const int size : {2, 16, 33}) {
    write(cubeText(swapped, size));
    EXPECT_EQ(tool("PictureLut3DZVK(Table=@LOOK)"), mapped(pixels, [](Rgb c) {
                return Rgb{c.green, c.blue, c.red};
              }));
    write(cubeText(negative, size));
    EXPECT_EQ(tool("PictureLut3DZVK(table=@LOOK)"), mapped(pixels, [](Rgb c) {
                return Rgb{255 - c.red, 255 - c.green, 255 - c.blue};
              }));
  }
}

// The bounds are those of the documentation.
TEST_F(CubeRunTest, StaysNearAFinerTable) {
  const Pixels pixels = source();
  struct Case {
    Look look;
    int size;
    double bound;  ///< in levels
  };
  for (const Case& c : {Case{warmFilm, 16, 1}, Case{warmFilm, 33, 1}, Case{steepContrast, 33, 2}}) {
    write(cubeText(c.look, c.size));
    const zvk::Cube fine = cube(cubeText(c.look, c.size));
    const Pixels result = tool("PictureLut3DZVK(Table=@LOOK)");
    ASSERT_EQ(result.size(), pixels.size());
    for (size_t i = 0; i < pixels.size(); ++i) {
      const Rgb from = rgbOf(pixels[i]), to = rgbOf(result[i]);
      const zvk::Triple exact = fine.at({1.0 * from.red, 1.0 * from.green, 1.0 * from.blue});
      ASSERT_NEAR(to.red, std::floor(exact[0]), c.bound);
      ASSERT_NEAR(to.green, std::floor(exact[1]), c.bound);
      ASSERT_NEAR(to.blue, std::floor(exact[2]), c.bound);
    }
  }
}

TEST_F(CubeRunTest, TakesPropertiesBesideTheTable) {
  const Pixels pixels = source();
  write(cubeText(negative, 2));
  const Pixels result = tool("PictureLut3DZVK(MinX=10, Table=@LOOK, MaxX=200, MinY=3)");
  ASSERT_EQ(result.size(), pixels.size());
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const auto i = static_cast<size_t>(y * kWidth + x);
      const bool inside = x >= 10 && x < 200 && y >= 3;
      ASSERT_EQ(result[i], inside ? pixels[i] ^ 0xFFFFFF : 0xFF000000) << x << ", " << y;
    }
  }
}

TEST_F(CubeRunTest, RefusesWhatIsNoColourTable) {
  source();
  write("LUT_3D_SIZE 2\n0 0\n");
  EXPECT_THROW(tool("PictureLut3DZVK(Table=@LOOK)"), zvk::InputError);
  EXPECT_THROW(tool("PictureLut3DZVK(Table=LOOK)"), zvk::InputError);
  EXPECT_THROW(tool("PictureSepiaZVK(Table=@LOOK)"), zvk::InputError);
  EXPECT_FALSE(std::filesystem::exists(file("result.png")));
}

}  // namespace
