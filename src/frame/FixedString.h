// String literals as template arguments: names of services, texts of declarations.
#pragma once

#include <algorithm>
#include <cstddef>

/// A string literal as a template argument.
template <size_t size>
struct FixedString {
  char text[size];
  constexpr FixedString(const char (&literal)[size]) { std::copy_n(literal, size, text); }
};
