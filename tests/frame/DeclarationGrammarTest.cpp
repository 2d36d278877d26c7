#include "frame/DeclarationGrammar.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using grammar::Type;

// The declaration as it was understood, in one spelling.
std::string understood(std::string_view text) {
  const auto declaration = grammar::parse(text);
  if (!declaration) return "malformed";
  std::string result(declaration->name);
  for (int i = 0; i < declaration->parameterCount; ++i) {
    const grammar::Parameter& parameter = declaration->parameters[i];
    result += parameter.byReference ? " &" : " ";
    result += std::string(parameter.name) + ":" + std::to_string(int(parameter.type));
    if (parameter.defaultValue) result += "=" + std::to_string(*parameter.defaultValue);
  }
  if (declaration->result != Type::kNothing) {
    result += " -> " + std::to_string(int(declaration->result));
  }
  return result;
}

TEST(DeclarationGrammar, ReadsWhatTheHostReads) {
  const struct {
    const char* text;
    const char* meaning;
  } cases[] = {
      {"Close", "Close"},
      {"Close()", "Close"},
      {"Run as boolean", "Run -> 6"},
      {" Run ( ) AS Boolean ", "Run -> 6"},
      {"f(a as integer,b as color) as picture", "f a:4 b:5 -> 1"},
      {"f(byref a as memoryblock, ByRef b As String)", "f &a:2 &b:3"},
      {"f(a as integer = 10, b as integer=-3) as double", "f a:4=10 b:4=-3 -> 7"},
      {"f(a as integer=-2147483648)", "f a:4=-2147483648"},
      {"f(c as color=&c88B5C4, d as color = &CffFFff)", "f c:5=8959428 d:5=16777215"},
  };
  for (const auto& c : cases) EXPECT_EQ(understood(c.text), c.meaning) << c.text;
}

TEST(DeclarationGrammar, RefusesWhatIsNoDeclaration) {
  std::string many = "f(a as double";
  for (int i = 0; i < grammar::kMaxParameters; ++i) many += ",a as double";
  many += ")";
  for (const char* text : {"",
                           "()",
                           "f(",
                           "f(a",
                           "f(a as",
                           "f(a as )",
                           "f(a integer)",
                           "f(a as int)",
                           "f(a as integer",
                           "f(a as integer,)",
                           "f(,)",
                           "f) as double",
                           "f as",
                           "f double",
                           "f as double x",
                           "f(a as integer = )",
                           "f(a as color = &c)",
                           "f(a as color = &x12)",
                           "f(a as integer = x)",
                           "f(byref as integer)",
                           many.c_str()}) {
    EXPECT_EQ(understood(text), "malformed") << text;
  }
}

// --- Holding routines against declarations ------------------------------------------------------

template <typename Routine, typename... Self>
bool fits(std::string_view text) {
  return grammar::Signature<Routine, Self...>::matches(*grammar::parse(text));
}

using Picture = REALpictureStruct*;

TEST(DeclarationGrammar, HoldsRoutinesAgainstTheirDeclarations) {
  EXPECT_TRUE((fits<Picture (*)(Picture, HostLong, double) noexcept, Picture>(
      "f(a as integer, b as double) as picture")));
  EXPECT_TRUE((fits<void (*)(HostLong*, REALmemoryBlockStruct**) noexcept>(
      "f(byref a as color, byref b as memoryblock)")));

  constexpr const char* kText = "f(a as integer, b as double) as picture";
  EXPECT_FALSE((fits<Picture (*)(Picture, double, HostLong) noexcept, Picture>(kText)));
  EXPECT_FALSE((fits<Picture (*)(Picture, HostLong) noexcept, Picture>(kText)));
  EXPECT_FALSE((fits<Picture (*)(Picture, HostLong, double, double) noexcept, Picture>(kText)));
  EXPECT_FALSE((fits<Picture (*)(Picture, HostLong, float) noexcept, Picture>(kText)));
  EXPECT_FALSE((fits<Picture (*)(Picture, HostLong, double*) noexcept, Picture>(kText)));
  EXPECT_FALSE((fits<double (*)(Picture, HostLong, double) noexcept, Picture>(kText)));
  EXPECT_FALSE((fits<void (*)(HostLong) noexcept>("f(byref a as integer)")));
  EXPECT_FALSE((fits<HostLong (*)() noexcept>("f as boolean")));
}

}  // namespace
