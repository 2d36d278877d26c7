#include "Measure.h"

#include <malloc.h>
#include <time.h>

#include <algorithm>

namespace bench {

namespace {

double threadSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double secondsOf(const std::function<void()>& run, int repetitions) {
  const double start = threadSeconds();
  for (int i = 0; i < repetitions; ++i) run();
  return threadSeconds() - start;
}

struct Series {
  int repetitions = 1;
  double total = 0;
  std::vector<double> samples;

  bool finished(const Effort& effort) const {
    const int count = static_cast<int>(samples.size());
    if (count >= effort.most) return true;
    if (total > effort.longest) return count >= effort.fewest / 4 + 1;
    return count >= effort.fewest && total >= effort.seconds;
  }
};

Series prepare(const Contestant& contestant, const Effort& effort) {
  double once = secondsOf(contestant.run, 1);
  if (once < 0.1) once = secondsOf(contestant.run, 1);
  Series series;
  series.repetitions = std::max(1, static_cast<int>(effort.sampleTime / std::max(once, 20e-9)));
  return series;
}

void sample(const Contestant& contestant, Series& series) {
  // What ran in between took the caches. Where a sample is many calls, as many before it bring the
  // contestant's own data back.
  if (series.repetitions > 1) secondsOf(contestant.run, series.repetitions);
  const double seconds = secondsOf(contestant.run, series.repetitions);
  series.samples.push_back(seconds / series.repetitions);
  series.total += seconds;
}

Timing timingOf(std::vector<double> samples, double units) {
  std::sort(samples.begin(), samples.end());
  const double scale = 1e9 / units;
  return {samples.front() * scale, samples[samples.size() / 2] * scale};
}

}  // namespace

std::vector<Timing> measure(const std::vector<Contestant>& contestants, double units,
                            const Effort& effort) {
  std::vector<Series> all;
  for (const Contestant& contestant : contestants) all.push_back(prepare(contestant, effort));
  for (bool more = true; more;) {
    more = false;
    for (size_t i = 0; i < all.size(); ++i) {
      if (all[i].finished(effort)) continue;
      sample(contestants[i], all[i]);
      more = true;
    }
  }
  std::vector<Timing> timings;
  for (size_t i = 0; i < all.size(); ++i) {
    const double own = contestants[i].units;
    timings.push_back(timingOf(std::move(all[i].samples), own > 0 ? own : units));
  }
  return timings;
}

void keepFreedMemory() {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, -1);
  mallopt(M_TOP_PAD, 256 << 20);
}

}  // namespace bench
