// Prints one line for every declared method: a number that sums up what its calls give, and its
// declaration. Two processors, or two widths, agree exactly when their lines do.
// usage: zvk_digest PLUGIN [WIDTH HEIGHT]
// Without a size: every width from 1 to 70, and one past a block of byte triples.
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "EveryMethod.h"

namespace {

struct Size {
  int width, height;
};

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

void run(const char* plugin, const std::vector<Size>& sizes) {
  host::Settings settings = host::Settings::forStorage(host::Storage::kRecord);
  settings.logging = false;
  host::Host host(settings);
  const host::Plugin loaded(plugin);
  std::vector<uint64_t> sums(loaded.methods().size());
  // Rows without gaps are walked as one row, scattered ones one by one.
  for (const bool scattered : {false, true}) {
    const host::PictureOptions options = {
        .storage = host::Storage::kRecord, .alpha = scattered, .scatteredRows = scattered};
    host.settings.newPictures.scatteredRows = scattered;
    for (const auto& [width, height] : sizes) {
      for (size_t i = 0; i < sums.size(); ++i) {
        const auto call = test::callOf(loaded, loaded.methods()[i], options, width, height,
                                       static_cast<uint32_t>(width));
        sums[i] = sums[i] * 31 + test::digest(loaded, call);
      }
    }
  }
  for (size_t i = 0; i < sums.size(); ++i) {
    printf("%016llx %s\n", static_cast<unsigned long long>(sums[i]),
           std::string(loaded.methods()[i].text()).c_str());
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
