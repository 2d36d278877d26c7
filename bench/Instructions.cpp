// Calls every operation on a small and on a larger picture while an emulator lists the plug-in's
// instructions. Calls of a routine that no operation uses mark in that list what belongs to what.
//
// usage: zvk_instructions            prints where the plug-in's code lies: ADDRESS+SIZE, ADDRESS
//                                    of the marking routine
//        zvk_instructions run        calls the operations; prints a line per mark: what follows it
#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "Operations.h"
#include "picture/PictureEditor.h"

namespace bench {

namespace {

constexpr Size kSmallSize{512, 16, "small"}, kLargeSize{512, 32, "large"};
constexpr int kSmallPairs = 20'000, kLargePairs = 60'000;

using Marker = int32_t(PictureEditor&);

Marker* marker(const Stage& stage) {
  return stage.plugin().routine<Marker>("_Z12GetRedOffsetR13PictureEditor");
}

void mark(const Stage& stage, std::string_view operation, const char* what, double units) {
  printf("%.*s\t%s\t%.0f\n", static_cast<int>(operation.size()), operation.data(), what, units);
  PictureEditor editor{};
  marker(stage)(editor);
}

void callCounted(Stage& stage, const Operation& operation, Size size, int pairs) {
  Job job;
  job.pairs = pairs;
  const Scene scene = operation.subject == Subject::kOwnScene ? operation.scene : Scene::kGradient;
  const host::PictureRef source = stage.picture(scene, size, 0);
  auto* words = reinterpret_cast<uint32_t*>(source->storage().row(0));
  job.first = {words, size.width, size.height};
  if (operation.describe) operation.describe(job);
  const PluginCall call = operation.make(stage, source, job);
  // The first call looks up host services.
  for (const bool counted : {false, true}) {
    const double units = operation.subject == Subject::kSamples ? pairs : double(job.first.count());
    if (counted) mark(stage, operation.name, size.name, units);
    const bool done =
        call.done ? call.done() : bool(host::Host::adopt<host::Picture>(call.picture()));
    mark(stage, operation.name, done ? "other" : "no result", 0);
  }
}

// The executable part of the library that holds `address`.
struct CodeRange {
  uintptr_t address, begin = 0, end = 0;
};

int findCode(dl_phdr_info* info, size_t, void* argument) {
  auto* range = static_cast<CodeRange*>(argument);
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& header = info->dlpi_phdr[i];
    const uintptr_t begin = info->dlpi_addr + header.p_vaddr, end = begin + header.p_memsz;
    if (header.p_type != PT_LOAD || (header.p_flags & PF_X) == 0) continue;
    if (range->address < begin || range->address >= end) continue;
    range->begin = begin;
    range->end = end;
  }
  return range->end != 0;
}

void printCode(const Stage& stage) {
  CodeRange range{reinterpret_cast<uintptr_t>(marker(stage))};
  dl_iterate_phdr(findCode, &range);
  printf("0x%zx+0x%zx %08zx\n", range.begin, range.end - range.begin, range.address);
}

}  // namespace

}  // namespace bench

int main(int argc, char**) {
  using namespace bench;
  Stage stage(Layout::kCairo, true);
  if (argc < 2) {
    printCode(stage);
    return 0;
  }
  for (const Operation& operation : operations()) {
    callCounted(stage, operation, kSmallSize, kSmallPairs);
    callCounted(stage, operation, kLargeSize, kLargePairs);
  }
  return 0;
}
