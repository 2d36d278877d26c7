#include "CubeFile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

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
    if (cube_.size_ == 0) fail("LUT_3D_SIZE and rows of three numbers");
    if (cube_.points_.size() < rows()) fail(rowsWanted());
    return std::move(cube_);
  }

 private:
  [[noreturn]] void fail(const std::string& expected) const { fail(line_, expected); }
  [[noreturn]] void fail(int line, const std::string& expected) const {
    throw InputError(path_ + ":" + std::to_string(line) + ": expected " + expected);
  }

  [[nodiscard]] size_t rows() const {
    const auto size = static_cast<size_t>(cube_.size_);
    return size * size * size;
  }
  [[nodiscard]] std::string rowsWanted() const {
    return std::to_string(rows()) + " rows of three numbers for LUT_3D_SIZE " +
           std::to_string(cube_.size_) + ", not " + std::to_string(cube_.points_.size());
  }

  void readLine(std::string_view line) {
    std::string_view words = line;
    const std::string_view first = takeWord(words);
    if (first.empty() || first.starts_with('#')) return;
    const bool keyword = std::isalpha(static_cast<unsigned char>(first[0])) != 0;
    if (!keyword) return readRow(line);
    if (!cube_.points_.empty()) fail("a row of three numbers, not " + std::string(first));
    readKeyword(first, words);
  }

  void readRow(std::string_view words) {
    if (cube_.size_ == 0) fail("LUT_3D_SIZE before the first row");
    if (cube_.points_.empty()) checkDomain();
    if (cube_.points_.size() == rows()) fail("the end of the file after " + rowsWanted());
    cube_.points_.push_back(readNumbers<3>(words, "a row of three numbers"));
  }

  void readKeyword(std::string_view keyword, std::string_view words) {
    if (keyword == "TITLE") return;
    if (keyword == "LUT_3D_SIZE") return readSize(words);
    domainLine_ = line_;
    if (keyword == "DOMAIN_MIN") {
      cube_.low_ = readNumbers<3>(words, "three numbers behind DOMAIN_MIN");
    } else if (keyword == "DOMAIN_MAX") {
      cube_.high_ = readNumbers<3>(words, "three numbers behind DOMAIN_MAX");
    } else if (keyword == "LUT_3D_INPUT_RANGE") {
      const auto range = readNumbers<2>(words, "two numbers behind LUT_3D_INPUT_RANGE");
      cube_.low_.fill(range[0]);
      cube_.high_.fill(range[1]);
    } else if (keyword.starts_with("LUT_1D_")) {
      fail("a 3D table (LUT_3D_SIZE), not " + std::string(keyword));
    } else {
      fail(
          "TITLE, LUT_3D_SIZE, DOMAIN_MIN, DOMAIN_MAX, LUT_3D_INPUT_RANGE or a row of three "
          "numbers, not " +
          std::string(keyword));
    }
  }

  // Only now: the bounds may come in any order.
  void checkDomain() const {
    constexpr double kFar = 1e300;  // beyond it, positions in the grid overflow
    for (size_t x = 0; x < 3; ++x) {
      if (!(cube_.low_[x] < cube_.high_[x])) fail(domainLine_, "a maximum above the minimum");
      if (cube_.low_[x] < -kFar || cube_.high_[x] > kFar) {
        fail(domainLine_, "bounds from -1e300 to 1e300");
      }
    }
  }

  void readSize(std::string_view words) {
    if (cube_.size_ != 0) fail("LUT_3D_SIZE only once");
    const std::string_view word = takeWord(words);
    int size = 0;
    if (!parse(word, size) || size < Cube::kSmallest || size > Cube::kLargest ||
        !takeWord(words).empty()) {
      fail("a whole number from " + std::to_string(Cube::kSmallest) + " to " +
           std::to_string(Cube::kLargest) + " behind LUT_3D_SIZE");
    }
    cube_.size_ = size;
    cube_.points_.reserve(rows());
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
  Cube cube_;
};

Cube Cube::parse(const std::string& text, const std::string& name) {
  return CubeReader(text, name).read();
}

const Triple& Cube::point(const std::array<int, 3>& index) const {
  const int position = (index[2] * size_ + index[1]) * size_ + index[0];
  return points_[static_cast<size_t>(position)];
}

Triple Cube::at(const Triple& color) const {
  std::array<int, 3> index;
  Triple fraction;
  for (size_t x = 0; x < 3; ++x) {
    // In channel units the grid points of most files are hit exactly.
    const double range = kWhite * (high_[x] - low_[x]);
    const double position = (color[x] - kWhite * low_[x]) * (size_ - 1) / range;
    const double inside = std::clamp(position, 0.0, static_cast<double>(size_ - 1));
    index[x] = static_cast<int>(inside);
    fraction[x] = inside - index[x];
  }
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
    index[axis] = std::min(index[axis] + 1, size_ - 1);
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

void assignCube(const host::Plugin& plugin, const host::InstanceRef& instance,
                const host::Method& table, const Cube& cube) {
  constexpr int kAxis = 16, kSpacing = 17;
  for (int r = 0; r < kAxis; ++r) {
    for (int g = 0; g < kAxis; ++g) {
      for (int b = 0; b < kAxis; ++b) {
        const Triple output = cube.at({1.0 * r * kSpacing, 1.0 * g * kSpacing, 1.0 * b * kSpacing});
        for (int x = 0; x < 3; ++x) {
          const double value = withoutFileRounding(output[static_cast<size_t>(x)]);
          plugin.assign(table, instance, {r, g, b, x}, value);
        }
      }
    }
  }
}

}  // namespace zvk
