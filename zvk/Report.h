// Results on standard output.
#pragma once

#include "host/plugin/Plugin.h"

namespace zvk {

/// Prints what a call gave besides a picture or bytes to save: the result and the byref values on
/// one line where the method has a result, else one line per byref value; blocks of 256 counters as
/// bar charts. Prints nothing when there is nothing.
void printResult(const host::CallResult& result);

/// The same as one JSON object with the method, its "result" and the byref values by name.
void printJson(const host::CallResult& result);

}  // namespace zvk
