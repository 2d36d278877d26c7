// zvk validate: whether a plug-in is fit for somebody else's process.
#pragma once

#include <string>
#include <vector>

#include "Check.h"
#include "zvk/Tool.h"

namespace zvk {

struct ValidateOptions {
  std::string plugin;
  bool list = false;
  std::vector<std::string> only, skip;  ///< patterns of ids
  uint32_t seed = 1;
  double time = 10;        ///< seconds of random sequences
  double caseSeconds = 5;  ///< that a case may take
  int jobs = 0;            ///< cases at once; 0: as many as there are processors
  int number = 0;          ///< the one case that runs; 0: all
  bool all = false;        ///< each failing case is shown, not only the first of each check
  bool json = false;
};

/// Returns the exit status: 0 all passed, 1 something failed. Throws InputError for wrong use.
int validate(const CommonOptions& common, const ValidateOptions& options);

}  // namespace zvk
