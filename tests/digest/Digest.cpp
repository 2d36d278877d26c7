// Prints one line for every declared method: a number that sums up what its calls give, and its
// declaration. Two processors, or two widths, agree exactly when their lines do.
// usage: zvk_digest PLUGIN
#include <cstdio>
#include <exception>

#include "EveryMethod.h"

namespace {

// Below, at and above the lengths of vectors, and past one block of byte triples.
constexpr int kWidths[] = {1, 3, 8, 17, 33, 70, 600};

const char* widestVectors() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) return "avx512f";
#endif
  return __builtin_cpu_supports("avx2") ? "avx2" : "default";
}

void run(const char* plugin) {
  host::Settings settings = host::Settings::forStorage(host::Storage::kRecord);
  settings.logging = false;
  host::Host host(settings);
  const host::Plugin loaded(plugin);
  std::vector<uint64_t> sums(loaded.methods().size());
  for (const bool alpha : {false, true}) {
    const host::PictureOptions options = {.storage = host::Storage::kRecord, .alpha = alpha};
    for (const int width : kWidths) {
      const auto calls = test::everyCall(loaded, options, width, 4, static_cast<uint32_t>(width));
      for (size_t i = 0; i < calls.size(); ++i) {
        sums[i] = sums[i] * 31 + test::digest(loaded, calls[i]);
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
  if (argc != 2) {
    fprintf(stderr, "usage: zvk_digest PLUGIN\n");
    return 2;
  }
  __builtin_cpu_init();
  fprintf(stderr, "%s\n", widestVectors());
  try {
    run(argv[1]);
  } catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
