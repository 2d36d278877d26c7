// The grammar of method declarations in the host's language, for example
//   "TintPictureZVK(source as picture, GreyBase as color = &c4C961D) as picture"
// as a parser that runs at compile time (to hold each routine's type against its declaration) and
// at run time (to call a declared method by name).
//
//   declaration = name [ "(" [ parameter { "," parameter } ] ")" ] [ "as" type ]
//   parameter   = [ "byref" ] name "as" type [ "=" number ]
//   number      = [ "-" ] digits | "&c" hex digits
//
// Keywords and type names are matched without regard to case.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>

#include "Abi.h"

namespace grammar {

enum class Type : uint8_t {
  kNothing,
  kPicture,
  kMemoryBlock,
  kString,
  kInteger,
  kColor,
  kBoolean,
  kDouble,
};

struct TypeName {
  std::string_view name;
  Type type;
};

inline constexpr TypeName kTypeNames[] = {
    {"picture", Type::kPicture}, {"memoryblock", Type::kMemoryBlock},
    {"string", Type::kString},   {"integer", Type::kInteger},
    {"color", Type::kColor},     {"boolean", Type::kBoolean},
    {"double", Type::kDouble},
};

struct Parameter {
  std::string_view name;
  Type type = Type::kNothing;
  bool byReference = false;
  std::optional<int32_t> defaultValue;
};

inline constexpr int kMaxParameters = 12;

struct Declaration {
  std::string_view name;
  Parameter parameters[kMaxParameters];
  int parameterCount = 0;
  Type result = Type::kNothing;
};

constexpr char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (lowerCase(a[i]) != lowerCase(b[i])) return false;
  }
  return true;
}

/// Reads a declaration from left to right; any step that does not find what it needs marks the
/// whole text as malformed.
class Parser {
 public:
  constexpr explicit Parser(std::string_view text) : text_(text) {}

  /// The declaration, or nothing when the text is not one.
  constexpr std::optional<Declaration> run() {
    Declaration declaration;
    declaration.name = word();
    if (accept('(') && !accept(')')) {
      do {
        if (declaration.parameterCount == kMaxParameters) return std::nullopt;
        declaration.parameters[declaration.parameterCount++] = parameter();
      } while (accept(','));
      require(accept(')'));
    }
    skipBlanks();
    if (position_ < text_.size()) declaration.result = asType();
    skipBlanks();
    require(position_ == text_.size());
    if (malformed_) return std::nullopt;
    return declaration;
  }

 private:
  constexpr void require(bool condition) { malformed_ |= !condition; }

  constexpr void skipBlanks() {
    while (position_ < text_.size() && text_[position_] == ' ') ++position_;
  }

  constexpr bool accept(char c) {
    skipBlanks();
    if (position_ == text_.size() || text_[position_] != c) return false;
    ++position_;
    return true;
  }

  static constexpr bool isWordCharacter(char c) {
    const char lower = lowerCase(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '_';
  }

  constexpr std::string_view word() {
    skipBlanks();
    const size_t start = position_;
    while (position_ < text_.size() && isWordCharacter(text_[position_])) ++position_;
    require(position_ > start);
    return {text_.data() + start, position_ - start};
  }

  constexpr Type asType() {
    require(equalIgnoringCase(word(), "as"));
    const std::string_view name = word();
    for (const TypeName& known : kTypeNames) {
      if (equalIgnoringCase(name, known.name)) return known.type;
    }
    require(false);
    return Type::kNothing;
  }

  constexpr Parameter parameter() {
    Parameter result;
    result.name = word();
    if (equalIgnoringCase(result.name, "byref")) {
      result.byReference = true;
      result.name = word();
    }
    result.type = asType();
    if (accept('=')) result.defaultValue = number();
    return result;
  }

  constexpr int32_t number() {
    if (accept('&')) {
      require(accept('c') || accept('C'));
      return static_cast<int32_t>(digits(16));
    }
    const bool negative = accept('-');
    const uint32_t magnitude = digits(10);
    return static_cast<int32_t>(negative ? 0 - magnitude : magnitude);
  }

  constexpr uint32_t digits(uint32_t base) {
    skipBlanks();
    uint32_t value = 0;
    const size_t start = position_;
    while (position_ < text_.size()) {
      const char c = lowerCase(text_[position_]);
      uint32_t digit = base;
      if (c >= '0' && c <= '9') digit = static_cast<uint32_t>(c - '0');
      if (c >= 'a' && c <= 'f') digit = static_cast<uint32_t>(c - 'a') + 10;
      if (digit >= base) break;
      value = value * base + digit;
      ++position_;
    }
    require(position_ > start);
    return value;
  }

  std::string_view text_;
  size_t position_ = 0;
  bool malformed_ = false;
};

/// Parses one declaration; nothing when the text does not follow the grammar. The views in the
/// result point into `text`.
constexpr std::optional<Declaration> parse(std::string_view text) { return Parser(text).run(); }

/// What the setter of an assignable method is declared as: the same parameters, then the value, and
/// no result.
constexpr Declaration asAssignment(Declaration declaration) {
  declaration.parameters[declaration.parameterCount++] = {"value", declaration.result, false, {}};
  declaration.result = Type::kNothing;
  return declaration;
}

// --- C++ types of declared values ---------------------------------------------------------------

template <typename T>
constexpr bool holds(Type) {
  return false;
}
template <>
constexpr bool holds<void>(Type type) {
  return type == Type::kNothing;
}
template <>
constexpr bool holds<REALpictureStruct*>(Type type) {
  return type == Type::kPicture;
}
template <>
constexpr bool holds<REALmemoryBlockStruct*>(Type type) {
  return type == Type::kMemoryBlock;
}
template <>
constexpr bool holds<REALstringStruct*>(Type type) {
  return type == Type::kString;
}
template <>
constexpr bool holds<HostLong>(Type type) {
  return type == Type::kInteger || type == Type::kColor;
}
template <>
constexpr bool holds<HostBoolean>(Type type) {
  return type == Type::kBoolean;
}
template <>
constexpr bool holds<double>(Type type) {
  return type == Type::kDouble;
}

/// Whether a C++ parameter of type T takes the declared parameter.
template <typename T>
constexpr bool takes(const Parameter& parameter) {
  if (!parameter.byReference) return holds<T>(parameter.type);
  if constexpr (requires { *T{}; }) {
    return holds<std::remove_reference_t<decltype(*T{})>>(parameter.type);
  }
  return false;
}

/// Whether the routine type R(Self..., A...) is the one that a declaration asks for. `Self` is the
/// picture or instance that a method receives first, or absent for a global method.
template <typename Routine, typename... Self>
struct Signature;

template <typename R, typename... A>
struct Signature<R (*)(A...) noexcept> {
  static constexpr bool matches(const Declaration& declaration) {
    if (!holds<R>(declaration.result) || declaration.parameterCount != int{sizeof...(A)}) {
      return false;
    }
    [[maybe_unused]] int index = 0;
    return (takes<A>(declaration.parameters[index++]) && ...);
  }
};

template <typename R, typename Self, typename... A>
struct Signature<R (*)(Self, A...) noexcept, Self> : Signature<R (*)(A...) noexcept> {};

}  // namespace grammar
