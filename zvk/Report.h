// Results in words and as JSON.
#pragma once

#include <cstdio>
#include <string>

#include "host/plugin/Plugin.h"

namespace zvk {

/// "1 byte", "256 bytes"
std::string bytesInWords(size_t count);

/// Prints what a call gave besides a picture or bytes to save, each value behind its name: the
/// result's is the method's; blocks of 256 counters as bar charts. Nothing when there is nothing.
/// With `several`, on a line that begins with the method; with a label, each line begins with it.
void printResult(FILE* to, const host::CallResult& result, const std::string& label, bool several);

/// The same as one JSON object in a line: the label as "file", the method, its "result" and the
/// byref values by name.
void printJson(FILE* to, const host::CallResult& result, const std::string& label);

}  // namespace zvk
