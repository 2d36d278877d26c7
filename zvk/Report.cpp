#include "Report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>

#include "host/plugin/Names.h"

namespace zvk {

using host::Method;
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

std::string inWords(const Value& value) {
  if (const host::BlockRef block = value.block()) return bytesInWords(block->bytes().size());
  const host::StringRef string = value.string();
  if (string && string->encoding() == kEncodingNone) return bytesInWords(string->bytes().size());
  return string ? value.text() : value.describe();
}

// --- Bar charts ---------------------------------------------------------------------------------

constexpr int kColumns = 64, kRows = 6, kSteps = 8;
constexpr const char* kBars[kSteps + 1] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

void printChart(FILE* to, const std::string& name, const Histogram& histogram) {
  constexpr int kPerColumn = kCounters / kColumns;
  std::array<uint64_t, kColumns> columns{};
  for (int i = 0; i < kCounters; ++i) columns[i / kPerColumn] += histogram[i];
  // Full height is four times the mean at most, so that one towering column leaves the others their
  // shape; what is higher is cut and marked.
  const auto sum = std::accumulate(columns.begin(), columns.end(), uint64_t{0});
  const uint64_t highest = std::max<uint64_t>(
      std::min(*std::max_element(columns.begin(), columns.end()), 4 * sum / kColumns), 1);
  const auto peak = std::max_element(histogram.begin(), histogram.end());
  fprintf(to, "%s: sum %llu, peak %u at %d\n", name.c_str(), static_cast<unsigned long long>(sum),
          *peak, static_cast<int>(peak - histogram.begin()));
  for (int row = kRows - 1; row >= 0; --row) {
    std::string line = "  │";
    for (const uint64_t count : columns) {
      // Rounded up, so that whatever occurs is seen.
      const auto height =
          static_cast<int>((std::min(count, highest) * kRows * kSteps + highest - 1) / highest);
      const bool cut = row == kRows - 1 && count > highest;
      line += cut ? "▲" : kBars[std::clamp(height - row * kSteps, 0, kSteps)];
    }
    fprintf(to, "%s│\n", line.c_str());
  }
  fprintf(to, "   0%*s\n", kColumns - 1, "255");
}

// --- JSON ---------------------------------------------------------------------------------------

nlohmann::json toJson(const Value& value) {
  if (value.isBoolean()) return value.boolean();
  if (value.isInteger()) return value.integer();
  if (value.isDouble()) return value.number();
  if (value.isNothing() || value.isNil()) return nullptr;
  if (const auto histogram = histogramOf(value)) return *histogram;
  if (const host::BlockRef block = value.block()) return {{"bytes", block->bytes().size()}};
  const host::StringRef string = value.string();
  if (string && string->encoding() == kEncodingNone) return {{"bytes", string->bytes().size()}};
  return inWords(value);
}

// --- Words --------------------------------------------------------------------------------------

/// What a method's result is called: "colorness", but some names say what is done.
std::string resultName(const Method& method) {
  constexpr struct {
    std::string_view method, result;
  } kNames[] = {{"FindPicture", "found"},
                {"CountColorZVK", "count"},
                {"HasMaskZVK", "mask"},
                {"isWhiteZVK", "white"},
                {"isBlackZVK", "black"}};
  for (const auto& known : kNames) {
    if (grammar::equalIgnoringCase(known.method, method.name())) return std::string(known.result);
  }
  std::string name(host::withoutSuffix(method.name()));
  name[0] = grammar::lowerCase(name[0]);
  return name;
}

using Named = std::pair<std::string, Value>;

std::vector<Named> namedValues(const host::CallResult& result) {
  std::vector<Named> values;
  if (!result.value.isNothing() && !result.value.picture()) {
    values.emplace_back(resultName(*result.method), result.value);
  }
  for (const auto& variable : result.byReference) {
    values.emplace_back(std::string(variable.name), variable.value);
  }
  return values;
}

}  // namespace

std::string bytesInWords(size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

void printResult(FILE* to, const host::CallResult& result, const std::string& label, bool several) {
  const std::string start = label.empty() ? "" : label + ": ";
  const std::string method(result.method->name());
  std::string line;
  for (const auto& [name, value] : namedValues(result)) {
    if (const auto histogram = histogramOf(value)) {
      printChart(to, start + name, *histogram);
    } else if (several || !label.empty()) {
      line += (line.empty() ? "" : ", ") + name + " " + inWords(value);
    } else {
      fprintf(to, "%s %s\n", name.c_str(), inWords(value).c_str());
    }
  }
  if (line.empty()) return;
  fprintf(to, "%s%s%s\n", start.c_str(), several ? (method + ": ").c_str() : "", line.c_str());
}

void printJson(FILE* to, const host::CallResult& result, const std::string& label) {
  using nlohmann::ordered_json;
  ordered_json object;
  if (!label.empty()) object["file"] = label;
  object["method"] = std::string(result.method->name());
  if (!result.value.isNothing()) {
    object["result"] = result.value.picture() ? "picture" : toJson(result.value);
  }
  for (const auto& variable : result.byReference) {
    object[std::string(variable.name)] = toJson(variable.value);
  }
  fprintf(to, "%s\n", object.dump(-1, ' ', false, ordered_json::error_handler_t::replace).c_str());
}

}  // namespace zvk
