// Measures every operation of the plug-in beside memcpy and beside other libraries, and writes one
// benchmark per operation, picture and storage. The table is made from the JSON output.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "HostShare.h"
#include "Operations.h"
#include "peers/Peers.h"

namespace bench {

namespace {

constexpr Size kLarge{4000, 3000, "12 MP"}, kMiddle{1024, 1024, "1 MP"}, kSmall{256, 256, "256"},
    kTiny{64, 64, "64"}, kSingle{1, 1, "1"};

Effort effort;

/// One row of the results.
struct Row {
  const Operation* operation;
  Layout layout;
  bool recycling;
  Scene scene;
  Size size;

  bool withPeers() const {
    const bool worthwhile = size.width > 64 || operation->subject == Subject::kSamples;
    return layout == Layout::kCairo && recycling && worthwhile;
  }
  std::string name() const;
};

const char* sceneName(const Row& row) {
  if (row.operation->subject != Subject::kScenes) return "own";
  return row.scene == Scene::kPhoto ? "photo" : "gradient";
}

std::string Row::name() const {
  std::string text(operation->name);
  if (operation->subject != Subject::kSamples) {
    text += std::string("/") + size.name + "/" + sceneName(*this);
  } else {
    text += "/10 M pairs/own";
  }
  return text + "/" + kLayoutNames[static_cast<size_t>(layout)] + (recycling ? "" : "/as is");
}

/// The stage of a row; the last one is kept.
Stage& stageFor(const Row& row) {
  static std::unique_ptr<Stage> stage;
  if (!stage || stage->layout() != row.layout || stage->recycling() != row.recycling) {
    if (row.recycling) keepFreedMemory();
    stage.reset();
    stage = std::make_unique<Stage>(row.layout, row.recycling);
  }
  return *stage;
}

Image imageOf(const host::PictureRef& picture) {
  auto* words = reinterpret_cast<uint32_t*>(picture->storage().row(0));
  return {words, picture->width(), picture->height()};
}

// Where the others write to. A recycling host gets the picture back at once and takes it for the
// plug-in's next result, so that all write to the same memory: the caches keep what is used most.
// Where the pictures' memory is not made of words, they have their own.
Image makeTarget(Stage& stage, Job& job, Size size) {
  if (stage.layout() != Layout::kTriples) {
    const host::PictureRef picture =
        stage.host().newPicture(size.width, size.height, stage.host().settings.newPictures);
    if (!stage.recycling()) job.kept.push_back(std::make_shared<host::PictureRef>(picture));
    Image image = imageOf(picture);
    memset(image.words, 0, image.byteCount());
    return image;
  }
  auto words = std::make_shared<Pixels>(size_t(size.width) * size.height);
  job.kept.push_back(words);
  return {words->data(), size.width, size.height};
}

struct Prepared {
  Job job;
  host::PictureRef source;
  PluginCall call;
};

void prepare(Stage& stage, const Row& row, Prepared& p) {
  p.source = stage.picture(row.scene, row.size, 0);
  if (stage.layout() == Layout::kTriples) {
    p.job.first = makeTarget(stage, p.job, row.size);
  } else {
    p.job.first = imageOf(p.source);
  }
  if (row.withPeers()) {
    p.job.second = imageOf(stage.picture(Scene::kGradient, row.size, 1));
    p.job.third = imageOf(stage.picture(Scene::kGradient, row.size, 2));
  }
  // Behind all other pictures, so that none of them takes its place.
  p.job.target = makeTarget(stage, p.job, row.size);
  if (row.operation->describe) row.operation->describe(p.job);
  p.call = row.operation->make(stage, p.source, p.job);
}

/// One call of the plug-in; whether it did its work. The result is given back at once.
bool callOnce(const PluginCall& call) {
  if (call.done) return call.done();
  return bool(host::Host::adopt<host::Picture>(call.picture()));
}

host::PictureRef resultOf(const PluginCall& call) {
  if (call.picture) return host::Host::adopt<host::Picture>(call.picture());
  if (!call.result || !call.done()) return {};
  return call.result();
}

int largestDifference(const Pixels& ours, const uint32_t* theirs) {
  int largest = 0;
  for (size_t i = 0; i < ours.size(); ++i) {
    for (int shift = 0; shift < 24; shift += 8) {
      const int a = ours[i] >> shift & 0xFF, b = theirs[i] >> shift & 0xFF;
      largest = std::max(largest, std::abs(a - b));
    }
  }
  return largest;
}

/// Adds the peers of a list to the contestants. What is missing has the time 0 in the output.
void addPeers(benchmark::State& state, const std::vector<std::string_view>& names,
              const std::string& prefix, const Prepared& p, const Pixels& ours,
              std::vector<Contestant>& contestants) {
  for (const std::string_view name : names) {
    const std::string key = prefix + std::string(name);
    state.counters[key] = 0;
    const Peer* peer = findPeer(name);
    if (peer == nullptr) continue;
    PeerCall call = peer->make(p.job);
    if (call.result && !ours.empty()) {
      if (call.before) call.before();
      call.run();
      state.counters["difference: " + std::string(name)] = largestDifference(ours, call.result);
    }
    contestants.push_back({key, std::move(call.run), call.units});
  }
}

/// The services whose work at the end of a call is the host's own.
std::vector<std::string_view> withheldServices(const Row& row, const PluginCall& call) {
  std::vector<std::string_view> services;
  if (!row.recycling) return services;
  if (!call.withheldService.empty()) services.push_back(call.withheldService);
  if (row.layout == Layout::kTriples) services.push_back("REALBuildPictureFromBuffer");
  return services;
}

double goalOf(const Row& row) {
  const Goal& goal = row.operation->goal;
  return row.size == kLarge ? goal.large : row.size == kSmall ? goal.small : 0;
}

void runRow(benchmark::State& state, const Row& row) {
  Stage& stage = stageFor(row);
  Prepared p;
  prepare(stage, row, p);
  const bool samples = row.operation->subject == Subject::kSamples;
  const double units = samples ? p.job.pairs : double(p.job.first.count());
  state.counters["goal"] = goalOf(row);
  state.counters["goal ns"] = row.operation->goalTime;
  std::vector<Contestant> contestants;
  if (callOnce(p.call)) {
    contestants.push_back({"ns", [&p] { callOnce(p.call); }});
  } else {
    state.SetLabel("no result");
  }
  if (samples) {
    auto copy = std::make_shared<std::vector<int8_t>>(p.job.samples.size());
    contestants.push_back({"memcpy", [&p, copy] {
                             memcpy(copy->data(), p.job.samples.data(), copy->size());
                             keep(copy->data());
                           }});
  } else {
    contestants.push_back({"memcpy", [&p] {
                             memcpy(p.job.target.words, p.job.first.words, p.job.first.byteCount());
                             keep(p.job.target.words);
                           }});
  }
  if (row.withPeers()) {
    Pixels ours;
    // What works in place goes on from where the last call left off.
    if (!row.operation->inPlace) {
      if (const host::PictureRef result = resultOf(p.call)) ours = result->pixels();
    }
    addPeers(state, row.operation->peers, "peer: ", p, ours, contestants);
    addPeers(state, row.operation->asides, "aside: ", p, ours, contestants);
  }
  const auto withheld = withheldServices(row, p.call);
  for (const std::string_view service : withheld) stage.host().failFrom(service);
  const std::vector<Timing> timings = measure(contestants, units, effort);
  for (const std::string_view service : withheld) stage.host().restore(service);
  for (size_t i = 0; i < contestants.size(); ++i) {
    state.counters[contestants[i].name] = timings[i].min;
    state.counters["median " + contestants[i].name] = timings[i].median;
  }
}

void registerRow(const Row& row) {
  benchmark::RegisterBenchmark(row.name().c_str(),
                               [row](benchmark::State& state) {
                                 for (auto _ : state) {
                                   runRow(state, row);
                                   state.SetIterationTime(state.counters["ns"] * 1e-9);
                                 }
                               })
      ->Iterations(1)
      ->UseManualTime();
}

void registerOperation(const Operation& operation, Layout layout, bool recycling,
                       std::initializer_list<Size> sizes) {
  const auto add = [&](Scene scene, Size size) {
    registerRow({&operation, layout, recycling, scene, size});
  };
  if (operation.subject == Subject::kSamples) return add(Scene::kGradient, kSingle);
  for (const Size& size : sizes) {
    const bool scenes = operation.subject == Subject::kScenes;
    add(scenes ? Scene::kGradient : operation.scene, size);
    const bool main = layout == Layout::kCairo && recycling;
    if (scenes && main && size == kLarge) add(Scene::kPhoto, size);
  }
}

void registerHostShare() {
  const Row row{nullptr, Layout::kCairo, true, Scene::kGradient, kSingle};
  benchmark::RegisterBenchmark("host services of one call/1/own/cairo",
                               [=](auto& state) {
                                 for (auto _ : state) {
                                   const Timing timing = measureHostShare(stageFor(row), effort);
                                   state.counters["ns"] = timing.min;
                                   state.counters["median ns"] = timing.median;
                                   state.SetIterationTime(timing.min * 1e-9);
                                 }
                               })
      ->Iterations(1)
      ->UseManualTime();
}

// Rows as is come first: afterwards freed memory is kept.
void registerAll() {
  for (const Operation& o : operations()) {
    registerOperation(o, Layout::kCairo, false, {kLarge, kSmall});
  }
  for (const Operation& o : operations()) {
    registerOperation(o, Layout::kCairo, true, {kLarge, kMiddle, kSmall, kTiny, kSingle});
  }
  registerHostShare();
  for (const Layout layout : {Layout::kCairoAlpha, Layout::kRecord, Layout::kTriples}) {
    for (const Operation& o : operations()) {
      if (o.subject == Subject::kSamples) continue;
      if (o.inPlace && layout == Layout::kTriples) continue;
      registerOperation(o, layout, true, {kLarge, kSmall});
    }
  }
}

/// One line per row while they run.
class LineReporter final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const auto value = [&](const char* name) {
        const auto found = run.counters.find(name);
        return found == run.counters.end() ? 0.0 : found->second.value;
      };
      printf("%-60s %9.3f ns  %7.2f x memcpy  %s\n", run.run_name.function_name.c_str(),
             value("ns"), value("memcpy") > 0 ? value("ns") / value("memcpy") : 0,
             run.report_label.c_str());
      fflush(stdout);
    }
  }
};

/// Options of our own, which the library does not know: --quick, --photo=FILE.
int takeOptions(int argc, char** argv) {
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--quick") == 0) {
      effort = {.fewest = 5, .most = 31, .seconds = 0.05, .longest = 0.5};
    } else if (strncmp(argv[i], "--photo=", 8) == 0) {
      photoFile = argv[i] + 8;
    } else {
      argv[kept++] = argv[i];
    }
  }
  argv[kept] = nullptr;
  return kept;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
  argc = bench::takeOptions(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  bench::registerAll();
  bench::LineReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
