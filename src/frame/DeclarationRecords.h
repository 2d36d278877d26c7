// How rows of declaration tables are written. The compiler holds the type of each routine against
// its declaration, so that the two cannot drift apart.
#pragma once

#include <cstddef>

#include "Abi.h"
#include "DeclarationGrammar.h"
#include "FixedString.h"

namespace declare {

/// Flags of a method or property that is not marked as safe in console applications.
inline constexpr int32_t kNotMarked = 0;

template <auto routine>
void* addressOf() noexcept {
  return reinterpret_cast<void*>(routine);
}

template <FixedString text>
consteval grammar::Declaration parsed() {
  constexpr auto declaration = grammar::parse(text.text);
  static_assert(declaration.has_value(), "the declaration is malformed");
  return *declaration;
}

/// What a method receives before its declared parameters.
template <typename Self>
struct MethodOf {
  template <FixedString text, auto routine>
  static REALmethodDefinition method(int32_t flags = kMarkConsoleSafe) noexcept {
    static_assert(grammar::Signature<decltype(routine), Self>::matches(parsed<text>()),
                  "the routine is not what its declaration says");
    return {addressOf<routine>(), nullptr, text.text, flags};
  }

  /// An assignable method: the setter receives the value behind the declared parameters.
  template <FixedString text, auto getter, auto setter>
  static REALmethodDefinition assignable(int32_t flags = kMarkConsoleSafe) noexcept {
    static_assert(
        grammar::Signature<decltype(setter), Self>::matches(grammar::asAssignment(parsed<text>())),
        "the setter is not what its declaration says");
    REALmethodDefinition record = method<text, getter>(flags);
    record.setter = addressOf<setter>();
    return record;
  }
};

using PictureMethod = MethodOf<REALpictureStruct*>;
using InstanceMethod = MethodOf<REALobjectStruct*>;

template <FixedString text, auto routine>
REALmethodDefinition globalMethod() noexcept {
  static_assert(grammar::Signature<decltype(routine)>::matches(parsed<text>()),
                "the routine is not what its declaration says");
  return {addressOf<routine>(), nullptr, text.text, kMarkConsoleSafe};
}

/// A property that the host stores in the instance data by itself.
inline REALpropertyDefinition storedProperty(const char* name, const char* type, size_t position,
                                             int32_t flags) noexcept {
  return {
      nullptr, name, type, flags, hostAccessor(), hostAccessor(), static_cast<int32_t>(position),
      {}};
}

/// A Double property that goes through routines of ours.
template <auto getter, auto setter>
REALpropertyDefinition computedProperty(const char* name) noexcept {
  static_assert(
      std::is_same_v<decltype(getter), double (*)(REALobjectStruct*, HostLong) noexcept> &&
      std::is_same_v<decltype(setter), void (*)(REALobjectStruct*, HostLong, double) noexcept>);
  return {nullptr, name, "Double", 0, addressOf<getter>(), addressOf<setter>(), 0, {}};
}

template <typename Record, size_t count>
constexpr int32_t countOf(const Record (&)[count]) noexcept {
  return static_cast<int32_t>(count);
}

}  // namespace declare
