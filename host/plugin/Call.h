// One call of a declared routine through libffi.
#pragma once

#include <ffi.h>

#include <deque>
#include <vector>

#include "host/plugin/Plugin.h"

namespace host {

class Call {
 public:
  /// Checks the arguments against the declaration and completes them with the defaults.
  Call(const Method& method, const Value& self, std::vector<Value> arguments);

  /// Calls `routine`. For a setter, `assigned` is passed as the last argument and nothing comes
  /// back.
  CallResult run(Host& host, void* routine, const Value* assigned);

 private:
  // Room for any argument or variable.
  union Cell {
    int32_t integer;
    uint8_t boolean;
    double number;
    void* handle;
    ffi_arg widened;
  };

  void pass(grammar::Type type, const Value& value, std::string_view what);
  void passVariable(grammar::Type type, const Value& value, std::string_view what);
  Cell toCell(grammar::Type type, const Value& value, std::string_view what) const;
  static Value fromCell(grammar::Type type, const Cell& cell, bool takeOver);
  std::vector<ByReferenceResult> collectVariables() const;

  const Method& method_;
  Value self_;
  std::vector<Value> arguments_;
  std::deque<Cell> cells_;      ///< addresses must stay
  std::deque<Cell> variables_;  ///< what `byref` parameters point to
  std::vector<ffi_type*> types_;
  std::vector<void*> values_;
};

}  // namespace host
