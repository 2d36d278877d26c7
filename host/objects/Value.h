// Values of the host language, as they go into calls and properties and come out of them.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "host/objects/MemoryBlock.h"
#include "host/objects/Text.h"
#include "host/pictures/Picture.h"

namespace host {

/// 0xRRGGBB.
struct Color {
  uint32_t rgb;
  friend bool operator==(const Color&, const Color&) = default;
};

class Instance;

/// Nothing, a number, a boolean, a colour, a string or an object; nil is an object or string that
/// is not there. The accessors convert between numbers, and give 0, false or nil when the value is
/// of another type.
class Value {
 public:
  Value() = default;
  Value(std::nullptr_t) : value_(Ref<Object>()) {}
  Value(int value) : value_(int64_t{value}) {}
  Value(long value) : value_(int64_t{value}) {}
  Value(long long value) : value_(int64_t{value}) {}
  Value(unsigned value) : value_(int64_t{value}) {}
  Value(double value) : value_(value) {}
  Value(bool value) : value_(value) {}
  Value(Color value) : value_(value) {}
  Value(StringRef value) : value_(std::move(value)) {}
  template <typename T>
  requires std::is_base_of_v<Object, T> Value(const Ref<T>& object) : value_(Ref<Object>(object)) {}

  bool isNothing() const { return std::holds_alternative<std::monostate>(value_); }
  /// True for an object or string that is not there.
  bool isNil() const;
  bool isInteger() const { return std::holds_alternative<int64_t>(value_); }
  bool isDouble() const { return std::holds_alternative<double>(value_); }
  bool isBoolean() const { return std::holds_alternative<bool>(value_); }
  bool isColor() const { return std::holds_alternative<Color>(value_); }
  bool isString() const { return std::holds_alternative<StringRef>(value_); }
  bool isObject() const { return std::holds_alternative<Ref<Object>>(value_); }
  bool isNumber() const { return isInteger() || isDouble(); }

  int64_t integer() const;
  double number() const;
  bool boolean() const;
  Color color() const;
  StringRef string() const;
  Ref<Object> object() const;
  PictureRef picture() const;
  BlockRef block() const;
  Ref<Instance> instance() const;
  /// Text of a string value; empty when nil or of another type.
  std::string text() const;

  /// The type in words ("integer", "picture", "nil", ...), and the value for messages.
  std::string typeName() const;
  std::string describe() const;

  /// `PictureRef result = plugin.call(...)`
  operator PictureRef() const { return picture(); }

 private:
  std::variant<std::monostate, int64_t, double, bool, Color, StringRef, Ref<Object>> value_;
};

}  // namespace host
