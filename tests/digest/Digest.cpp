// Prints one line for every declared method: a number that sums up what its calls give, and its
// declaration. Two processors, or two widths, agree exactly when their lines do.
// usage: zvk_digest PLUGIN [WIDTH HEIGHT]
// Without a size: every width from 1 to 70, and one past a block of byte triples.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <random>

#include "filters/Filters.h"
#include "zvk/validate/Scene.h"

namespace {

using zvk::validation::Size;

// Of odd heights, so that as one row, too, pictures end everywhere in a vector.
std::vector<Size> smallSizes() {
  std::vector<Size> sizes;
  for (int width = 1; width <= 70; ++width) sizes.push_back({width, 3});
  sizes.push_back({601, 3});
  return sizes;
}

const char* widestVectors() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) return "avx512f";
#endif
  return __builtin_cpu_supports("avx2") ? "avx2" : "default";
}

/// Levels between the grid points, and beyond their range.
void fillTable(const host::Instance& instance, uint32_t seed) {
  auto* table = reinterpret_cast<Lut3DData*>(instance.data())->table;
  std::minstd_rand random(seed);
  for (int i = 0; i < Lut3DData::kEntries; ++i) table[i] = static_cast<int>(random() % 2700) / 9.0;
}

uint64_t digest(const host::Plugin& plugin, const host::Method& method,
                const host::PictureOptions& options, Size size) {
  // A seed for each method, so that one more of them leaves the others' arguments as they were.
  auto seed = static_cast<uint32_t>(size.width);
  for (const char c : method.text()) seed = seed * 31 + static_cast<uint8_t>(c);
  const auto call = zvk::validation::Arguments(plugin, options, size, seed).call(method);
  if (method.className == "PictureLut3DZVK") fillTable(*call.self.instance(), seed);
  zvk::validation::Answer answer{{&method, {}, {}}, {}};
  try {
    answer.result = plugin.invoke(*call.method, call.self, call.arguments);
  } catch (const host::ExceptionRaised& raised) {
    answer.exception = raised.exception();
  }
  uint64_t sum = 0xCBF29CE484222325ULL;
  for (const char c : zvk::validation::contents(call, answer, true)) {
    sum = (sum ^ static_cast<uint8_t>(c)) * 0x100000001B3ULL;
  }
  return sum;
}

/// Adds what every method gives on pictures of one layout.
void addDigests(const char* plugin, const host::PictureOptions& options,
                const std::vector<Size>& sizes, std::map<std::string, uint64_t>& sums) {
  host::Settings settings = host::Settings::forStorage(options.storage);
  settings.newPictures.scatteredRows = options.scatteredRows;
  settings.logging = false;
  host::Host host(settings);
  const host::Plugin loaded(plugin);
  for (const Size& size : sizes) {
    for (const host::Method& method : loaded.methods()) {
      uint64_t& sum = sums[std::string(method.text()) + " of " + method.className];
      sum = sum * 31 + digest(loaded, method, options, size);
    }
  }
}

void run(const char* plugin, const std::vector<Size>& sizes) {
  std::map<std::string, uint64_t> sums;
  // Rows without gaps are walked as one row, scattered ones one by one; the fourth byte of cairo's
  // words is written, that of records is not.
  using host::Storage;
  addDigests(plugin, {.storage = Storage::kRecord}, sizes, sums);
  addDigests(plugin, {.storage = Storage::kRecord, .alpha = true, .scatteredRows = true}, sizes,
             sums);
  addDigests(plugin, {.alpha = true}, sizes, sums);
  for (const auto& [method, sum] : sums) {
    printf("%016llx %s\n", static_cast<unsigned long long>(sum), method.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 4) {
    fprintf(stderr, "usage: zvk_digest PLUGIN [WIDTH HEIGHT]\n");
    return 2;
  }
  __builtin_cpu_init();
  fprintf(stderr, "%s\n", widestVectors());
  try {
    run(argv[1], argc == 4 ? std::vector{Size{atoi(argv[2]), atoi(argv[3])}} : smallSizes());
  } catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
