#include "CubeFile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <tuple>

#include "Tool.h"

namespace zvk {

namespace {

constexpr double kWhite = 255;

constexpr std::string_view kBlanks = " \t\r";

/// Removes and returns the first word; empty when there is none.
std::string_view takeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(word.size());
  return word;
}

template <typename Number>
bool parse(std::string_view word, Number& number) {
  if (word.starts_with('+')) word.remove_prefix(1);
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size();
}

}  // namespace

/// Reads a file line by line.
class CubeReader {
 public:
  CubeReader(const std::string& text, const std::string& path) : text_(text), path_(path) {}

  Cube read() {
    std::string_view rest = text_;
    if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);  // a byte order mark
    while (!rest.empty()) {
      const size_t end = std::min(rest.find('\n'), rest.size());
      ++line_;
      readLine(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if (shaper().size == 0 && grid().size == 0) fail("LUT_3D_SIZE or LUT_1D_SIZE, and rows");
    requireComplete(shaper(), 1);
    requireComplete(grid(), 3);
    return std::move(cube_);
  }

 private:
  [[noreturn]] void fail(const std::string& expected) const { fail(line_, expected); }
  [[noreturn]] void fail(int line, const std::string& expected) const {
    throw InputError(path_ + ":" + std::to_string(line) + ": expected " + expected);
  }

  Cube::Table& shaper() { return cube_.shaper_; }
  Cube::Table& grid() { return cube_.grid_; }

  static size_t rows(const Cube::Table& table, int dimensions) {
    size_t rows = table.size > 0 ? 1 : 0;
    for (int i = 0; i < dimensions; ++i) rows *= static_cast<size_t>(table.size);
    return rows;
  }
  static bool complete(const Cube::Table& table, int dimensions) {
    return table.points.size() == rows(table, dimensions);
  }
  static std::string rowsWanted(const Cube::Table& table, int dimensions) {
    return std::to_string(rows(table, dimensions)) + " rows of three numbers for LUT_" +
           std::to_string(dimensions) + "D_SIZE " + std::to_string(table.size);
  }

  void requireComplete(const Cube::Table& table, int dimensions) const {
    if (complete(table, dimensions)) return;
    fail(rowsWanted(table, dimensions) + ", not " + std::to_string(table.points.size()));
  }

  void readLine(std::string_view line) {
    std::string_view words = line;
    const std::string_view first = takeWord(words);
    if (first.empty() || first.starts_with('#')) return;
    const bool keyword = std::isalpha(static_cast<unsigned char>(first[0])) != 0;
    if (!keyword) return readRow(line);
    if (rowsBegan_) fail("a row of three numbers, not " + std::string(first));
    readKeyword(first, words);
  }

  void readRow(std::string_view words) {
    if (!rowsBegan_) begin();
    const int dimensions = complete(shaper(), 1) ? 3 : 1;
    Cube::Table& table = dimensions == 1 ? shaper() : grid();
    if (complete(table, dimensions)) {
      const bool alone = grid().size == 0;
      fail("the end of the file after " +
           (alone ? rowsWanted(shaper(), 1) : rowsWanted(grid(), 3)));
    }
    table.points.push_back(readNumbers<3>(words, "a row of three numbers"));
  }

  void readKeyword(std::string_view keyword, std::string_view words) {
    if (keyword == "TITLE") return;
    if (keyword == "LUT_1D_SIZE") return readSize(shaper(), 65536, keyword, words);
    if (keyword == "LUT_3D_SIZE") return readSize(grid(), 129, keyword, words);
    domainLine_ = line_;
    if (keyword == "DOMAIN_MIN" || keyword == "DOMAIN_MAX") {
      const auto bound =
          readNumbers<3>(words, (keyword == "DOMAIN_MIN" ? "three numbers behind DOMAIN_MIN"
                                                         : "three numbers behind DOMAIN_MAX"));
      // Which table there is, only the size tells.
      for (Cube::Table* table : {&shaper(), &grid()}) {
        (keyword == "DOMAIN_MIN" ? table->low : table->high) = bound;
      }
      hasDomain_ = true;
    } else if (keyword == "LUT_1D_INPUT_RANGE" || keyword == "LUT_3D_INPUT_RANGE") {
      const auto range = readNumbers<2>(words, keyword == "LUT_1D_INPUT_RANGE"
                                                   ? "two numbers behind LUT_1D_INPUT_RANGE"
                                                   : "two numbers behind LUT_3D_INPUT_RANGE");
      Cube::Table& table = keyword == "LUT_1D_INPUT_RANGE" ? shaper() : grid();
      table.low.fill(range[0]);
      table.high.fill(range[1]);
    } else {
      fail(
          "TITLE, LUT_1D_SIZE, LUT_3D_SIZE, DOMAIN_MIN, DOMAIN_MAX, LUT_1D_INPUT_RANGE, "
          "LUT_3D_INPUT_RANGE or a row of three numbers, not " +
          std::string(keyword));
    }
  }

  // Only now: the keywords may come in any order.
  void begin() {
    rowsBegan_ = true;
    if (shaper().size == 0 && grid().size == 0) {
      fail("LUT_3D_SIZE or LUT_1D_SIZE before the first row");
    }
    if (shaper().size > 0 && grid().size > 0 && hasDomain_) {
      fail(domainLine_, "LUT_1D_INPUT_RANGE and LUT_3D_INPUT_RANGE, where there are two tables");
    }
    constexpr double kFar = 1e300;  // beyond it, positions in the grid overflow
    for (const Cube::Table* table : {&shaper(), &grid()}) {
      for (size_t x = 0; x < 3; ++x) {
        if (!(table->low[x] < table->high[x])) fail(domainLine_, "a maximum above the minimum");
        if (table->low[x] < -kFar || table->high[x] > kFar) {
          fail(domainLine_, "bounds from -1e300 to 1e300");
        }
      }
    }
  }

  void readSize(Cube::Table& table, int largest, std::string_view keyword, std::string_view words) {
    constexpr int kSmallest = 2;
    if (table.size != 0) fail(std::string(keyword) + " only once");
    const std::string_view word = takeWord(words);
    int size = 0;
    if (!parse(word, size) || size < kSmallest || size > largest || !takeWord(words).empty()) {
      fail("a whole number from 2 to " + std::to_string(largest) + " behind " +
           std::string(keyword));
    }
    table.size = size;
  }

  template <size_t count>
  std::array<double, count> readNumbers(std::string_view words, const char* expected) const {
    std::array<double, count> numbers;
    for (double& number : numbers) {
      if (!parse(takeWord(words), number) || !std::isfinite(number)) fail(expected);
    }
    if (!takeWord(words).empty()) fail(expected);
    return numbers;
  }

  const std::string& text_;
  const std::string& path_;
  int line_ = 0;
  int domainLine_ = 0;  ///< where a bound was given last
  bool hasDomain_ = false, rowsBegan_ = false;
  Cube cube_;
};

Cube Cube::parse(const std::string& text, const std::string& name) {
  return CubeReader(text, name).read();
}

std::pair<int, double> Cube::Table::position(double value, size_t channel) const {
  // In channel units the grid points of most files are hit exactly.
  const double range = kWhite * (high[channel] - low[channel]);
  const double position = (value - kWhite * low[channel]) * (size - 1) / range;
  const double inside = std::clamp(position, 0.0, static_cast<double>(size - 1));
  const int index = static_cast<int>(inside);
  return {index, inside - index};
}

const Triple& Cube::point(const std::array<int, 3>& index) const {
  const int position = (index[2] * grid_.size + index[1]) * grid_.size + index[0];
  return grid_.points[static_cast<size_t>(position)];
}

Cube Cube::sampledFrom(int size, const std::function<Triple(const std::array<int, 3>&)>& color) {
  Cube cube;
  cube.grid_.size = size;
  for (int b = 0; b < size; ++b) {
    for (int g = 0; g < size; ++g) {
      for (int r = 0; r < size; ++r) {
        Triple point = color({r, g, b});
        for (double& value : point) value /= kWhite;
        cube.grid_.points.push_back(point);
      }
    }
  }
  return cube;
}

Triple Cube::shaped(const Triple& color) const {
  if (shaper_.size == 0) return color;
  Triple result;
  for (size_t x = 0; x < 3; ++x) {
    const auto [index, fraction] = shaper_.position(color[x], x);
    const auto below = static_cast<size_t>(index);
    const size_t above = std::min(below + 1, shaper_.points.size() - 1);
    const double from = shaper_.points[below][x], to = shaper_.points[above][x];
    result[x] = kWhite * (from + (to - from) * fraction);
  }
  return result;
}

Triple Cube::at(const Triple& color) const {
  const Triple input = shaped(color);
  if (grid_.size == 0) return input;
  std::array<int, 3> index;
  Triple fraction;
  for (size_t x = 0; x < 3; ++x) std::tie(index[x], fraction[x]) = grid_.position(input[x], x);
  // From the cube's low corner along the axes, the one with the largest fraction first.
  std::array<size_t, 3> order{0, 1, 2};
  std::sort(order.begin(), order.end(),
            [&](size_t a, size_t b) { return fraction[a] > fraction[b]; });
  Triple sum{};
  double before = 1;
  const auto add = [&](double weight) {
    if (weight == 0) return;
    for (size_t x = 0; x < 3; ++x) sum[x] += weight * kWhite * point(index)[x];
  };
  for (const size_t axis : order) {
    add(before - fraction[axis]);
    before = fraction[axis];
    // The last point has no neighbour, and its fraction is 0.
    index[axis] = std::min(index[axis] + 1, grid_.size - 1);
  }
  add(before);
  return sum;
}

namespace {

/// Files hold rounded decimals: 33.99999 stands for 34. The filter truncates, so that it would make
/// 33 of it.
double withoutFileRounding(double value) {
  constexpr double kRounding = 0.002;  // in channel units, of rows with five digits
  const double whole = std::round(value);
  return std::abs(value - whole) < kRounding ? whole : value;
}

}  // namespace

namespace {

constexpr int kAxis = 16, kSpacing = 17;

/// The cube as a file of the filter's grid would hold it.
Triple sampled(const Cube& cube, int r, int g, int b) {
  Triple output = cube.at({1.0 * r * kSpacing, 1.0 * g * kSpacing, 1.0 * b * kSpacing});
  for (double& value : output) value = withoutFileRounding(value);
  return output;
}

}  // namespace

CubeError resamplingError(const Cube& cube) {
  const Cube coarse = Cube::sampledFrom(kAxis, [&](const std::array<int, 3>& index) {
    return sampled(cube, index[0], index[1], index[2]);
  });
  // Steps that fall between both grids' points.
  constexpr int kSteps = 40;
  CubeError error;
  double sum = 0;
  const auto level = [](int step) { return step * kWhite / (kSteps - 1); };
  for (int i = 0; i < kSteps * kSteps * kSteps; ++i) {
    const Triple color{level(i % kSteps), level(i / kSteps % kSteps), level(i / (kSteps * kSteps))};
    const Triple exact = cube.at(color), near = coarse.at(color);
    for (size_t x = 0; x < 3; ++x) {
      const double difference =
          std::abs(std::clamp(exact[x], 0.0, kWhite) - std::clamp(near[x], 0.0, kWhite));
      error.largest = std::max(error.largest, difference);
      sum += difference;
    }
  }
  error.mean = sum / (3.0 * kSteps * kSteps * kSteps);
  return error;
}

void assignCube(const host::Plugin& plugin, const host::InstanceRef& instance,
                const host::Method& table, const Cube& cube) {
  for (int r = 0; r < kAxis; ++r) {
    for (int g = 0; g < kAxis; ++g) {
      for (int b = 0; b < kAxis; ++b) {
        const Triple output = sampled(cube, r, g, b);
        for (int x = 0; x < 3; ++x) {
          plugin.assign(table, instance, {r, g, b, x}, output[static_cast<size_t>(x)]);
        }
      }
    }
  }
}

}  // namespace zvk
