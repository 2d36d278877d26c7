// Calls with a stack that is aligned as badly as a 32-bit host may align it.
#pragma once

#include "Scene.h"

namespace zvk::validation {

/// Whether this program can: 64-bit ones cannot, and need not.
bool canMoveStack();

/// Makes the call with the stack pointer `offset` bytes above a multiple of 16.
host::CallResult callWithStackAt(int offset, host::Host& host, const DeclaredCall& call);

}  // namespace zvk::validation
