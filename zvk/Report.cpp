#include "Report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>

namespace zvk {

using host::Value;

namespace {

constexpr int kCounters = 256;
using Histogram = std::array<uint32_t, kCounters>;

std::optional<Histogram> histogramOf(const Value& value) {
  const host::BlockRef block = value.block();
  Histogram histogram;
  if (!block || block->bytes().size() != sizeof histogram) return std::nullopt;
  memcpy(histogram.data(), block->data(), sizeof histogram);
  return histogram;
}

std::string bytesInWords(size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string inWords(const Value& value) {
  if (const host::BlockRef block = value.block()) return bytesInWords(block->bytes().size());
  const host::StringRef string = value.string();
  if (string && string->encoding() == kEncodingNone) return bytesInWords(string->bytes().size());
  return string ? value.text() : value.describe();
}

// --- Bar charts ---------------------------------------------------------------------------------

constexpr int kColumns = 64, kRows = 6, kSteps = 8;
constexpr const char* kBars[kSteps + 1] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

void printChart(std::string_view name, const Histogram& histogram) {
  constexpr int kPerColumn = kCounters / kColumns;
  std::array<uint64_t, kColumns> columns{};
  for (int i = 0; i < kCounters; ++i) columns[i / kPerColumn] += histogram[i];
  // Full height is four times the mean at most, so that one towering column leaves the others their
  // shape; what is higher is cut and marked.
  const auto sum = std::accumulate(columns.begin(), columns.end(), uint64_t{0});
  const uint64_t highest = std::max<uint64_t>(
      std::min(*std::max_element(columns.begin(), columns.end()), 4 * sum / kColumns), 1);
  const auto peak = std::max_element(histogram.begin(), histogram.end());
  printf("%.*s: sum %llu, peak %u at %d\n", static_cast<int>(name.size()), name.data(),
         static_cast<unsigned long long>(sum), *peak, static_cast<int>(peak - histogram.begin()));
  for (int row = kRows - 1; row >= 0; --row) {
    std::string line = "  │";
    for (const uint64_t count : columns) {
      // Rounded up, so that whatever occurs is seen.
      const auto height =
          static_cast<int>((std::min(count, highest) * kRows * kSteps + highest - 1) / highest);
      const bool cut = row == kRows - 1 && count > highest;
      line += cut ? "▲" : kBars[std::clamp(height - row * kSteps, 0, kSteps)];
    }
    printf("%s│\n", line.c_str());
  }
  printf("   0%*s\n", kColumns - 1, "255");
}

void printNamed(const host::ByReferenceResult& result) {
  if (const auto histogram = histogramOf(result.value)) {
    printChart(result.name, *histogram);
  } else {
    printf("%.*s: %s\n", static_cast<int>(result.name.size()), result.name.data(),
           inWords(result.value).c_str());
  }
}

// --- JSON ---------------------------------------------------------------------------------------

nlohmann::json toJson(const Value& value) {
  if (value.isBoolean()) return value.boolean();
  if (value.isInteger()) return value.integer();
  if (value.isDouble()) return value.number();
  if (value.isNothing() || value.isNil()) return nullptr;
  if (const auto histogram = histogramOf(value)) return *histogram;
  return inWords(value);
}

bool isScalar(const Value& value) { return !value.isObject() && !value.isString(); }

}  // namespace

void printResult(const host::CallResult& result) {
  const bool onOneLine = !result.value.isNothing() &&
                         std::all_of(result.byReference.begin(), result.byReference.end(),
                                     [](const auto& variable) { return isScalar(variable.value); });
  const bool printsValue = !result.value.isNothing() && !result.value.picture();
  std::string line = printsValue ? inWords(result.value) : "";
  if (onOneLine) {
    for (const auto& variable : result.byReference) {
      if (!line.empty()) line += ' ';
      line += inWords(variable.value);
    }
  }
  if (!line.empty()) printf("%s\n", line.c_str());
  if (onOneLine) return;
  for (const auto& variable : result.byReference) printNamed(variable);
}

void printJson(const host::CallResult& result) {
  nlohmann::ordered_json object;
  object["method"] = std::string(result.method->name());
  if (!result.value.isNothing()) {
    object["result"] = result.value.picture() ? "picture" : toJson(result.value);
  }
  for (const auto& variable : result.byReference) {
    object[std::string(variable.name)] = toJson(variable.value);
  }
  using nlohmann::ordered_json;
  printf("%s\n", object.dump(-1, ' ', false, ordered_json::error_handler_t::replace).c_str());
}

}  // namespace zvk
