// The plug-in's own memory. The program stands in front of the C library's allocator, for calls
// that come from the plug-in: it counts, lets allocations fail, and puts marks around each block.
#pragma once

#include <cstdint>
#include <string>

namespace zvk::validation::heap {

/// Whether the program can stand there; a sanitizer has an allocator of its own.
bool available();

/// Libraries that are in the process now are not the plug-in's; to be called before it is loaded.
void beginWatching();
/// Every library that has come since then is the plug-in's.
void findPlugin();

/// The n-th allocation from now on fails, and with `andOn` all after it; 0 lets all succeed.
void fail(int n, bool andOn = false);
/// Byte that fills what malloc gives.
void fillWith(uint8_t byte);

int made();         ///< allocations since beginWatching()
int outstanding();  ///< made and not freed
/// What was written outside of blocks or freed twice, since the last time; empty when nothing was.
std::string damage();

}  // namespace zvk::validation::heap
