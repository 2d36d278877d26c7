// Reading and writing whole files. "-" stands for standard input and output.
#pragma once

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace host {

/// A file that cannot be read or written; the text names it and the cause.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr std::string_view kStandard = "-";

/// How messages call a file to read from or to write to.
std::string inputName(const std::string& path);
std::string outputName(const std::string& path);

/// Reads everything, from pipes and devices too. Throws FileError.
std::string readFile(const std::string& path);

/// Throws FileError when `path` is a directory or lies where no file can be made, so that this is
/// known before any work is done.
void requireWritable(const std::string& path);

/// Replaces a file by what `write` writes, but only when it wrote everything; `write` may throw.
/// Pipes and devices are written to; a link stays one. What is underway when the process is
/// interrupted or terminated is removed. Throws FileError.
void replaceFile(const std::string& path, const std::function<void(FILE*)>& write);
void writeFile(const std::string& path, std::string_view bytes);

}  // namespace host
