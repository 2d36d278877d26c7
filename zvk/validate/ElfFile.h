// A shared library's file, as the loader sees it; of either width.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zvk::validation {

class ElfFile {
 public:
  struct Symbol {
    std::string name;
    bool defined, function, unique;
  };
  struct Segment {
    uint32_t type, flags;
  };
  struct Version {
    std::string library, name;  ///< such as "libc.so.6", "GLIBC_2.17"
  };

  /// Reads the file. What is no library of 32-bit or 64-bit x86 gives one without a width.
  explicit ElfFile(const std::string& path);

  /// "32-bit" or "64-bit"; empty for what is no library of either.
  const std::string& width() const { return width_; }
  /// The width of this program.
  static std::string ownWidth();

  const std::vector<Symbol>& symbols() const { return symbols_; }
  const std::vector<Segment>& segments() const { return segments_; }
  const std::vector<Version>& versions() const { return versions_; }
  const std::vector<std::string>& libraries() const { return libraries_; }
  const std::vector<std::string>& searchPaths() const { return searchPaths_; }
  /// Names of symbols through which code or data is found at run time.
  const std::vector<std::string>& relocated() const { return relocated_; }
  bool bindsOwnSymbols() const { return symbolic_; }
  bool relocatesText() const { return textRelocations_; }
  bool staysLoaded() const { return staysLoaded_; }

 private:
  template <typename Elf>
  void read(const std::vector<char>& bytes);

  std::string width_;
  std::vector<Symbol> symbols_;
  std::vector<Segment> segments_;
  std::vector<Version> versions_;
  std::vector<std::string> libraries_, searchPaths_, relocated_;
  bool symbolic_ = false, textRelocations_ = false, staysLoaded_ = false;
};

}  // namespace zvk::validation
