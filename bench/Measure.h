// Timing of several contestants beside each other, so that a change of the machine's speed meets
// all of them. What is timed is this thread's processor time, so that other programs' turns on the
// core do not count.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One way to do a job.
struct Contestant {
  std::string name;
  std::function<void()> run;
  double units = 0;  ///< pixels, or what else a time is divided by; 0: those of the job
};

/// Nanoseconds per unit.
struct Timing {
  double min = 0;
  double median = 0;
};

/// How long to measure.
struct Effort {
  int fewest = 11;           ///< samples per contestant, at least
  int most = 201;            ///< and at most
  double seconds = 0.3;      ///< measuring goes on until each contestant ran so long
  double longest = 3;        ///< a contestant that took so long stops at a quarter of `fewest`
  double sampleTime = 1e-3;  ///< one sample repeats the job until it takes so long
};

/// Times all contestants in turn, one sample each, again and again.
std::vector<Timing> measure(const std::vector<Contestant>& contestants, double units,
                            const Effort& effort);

/// From now on freed memory stays in the process and is used again, so that nobody's result buffers
/// cost page faults.
void keepFreedMemory();

}  // namespace bench
