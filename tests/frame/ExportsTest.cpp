// The built library as the host's loader sees it: what it exports, what it needs from others.
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include "host/plugin/Plugin.h"

namespace {

using Names = std::set<std::string>;

#if defined(__i386__)
using Header = Elf32_Ehdr;
using Section = Elf32_Shdr;
using Symbol = Elf32_Sym;
using Dynamic = Elf32_Dyn;
constexpr int kMachine = EM_386;
#else
using Header = Elf64_Ehdr;
using Section = Elf64_Shdr;
using Symbol = Elf64_Sym;
using Dynamic = Elf64_Dyn;
constexpr int kMachine = EM_X86_64;
#endif

/// The dynamic section and symbols of a shared library.
struct Library {
  int machine = 0;
  Names exported, imported, needed, versions;

  explicit Library(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
    const auto header = at<Header>(0);
    machine = header.e_machine;
    for (int i = 0; i < header.e_shnum; ++i) {
      const auto section = sectionAt(header, i);
      const auto strings = sectionAt(header, static_cast<int>(section.sh_link));
      if (section.sh_type == SHT_DYNSYM) readSymbols(section, strings);
      if (section.sh_type == SHT_DYNAMIC) readDynamic(section, strings);
      if (section.sh_type == SHT_GNU_verneed) readVersions(section, strings);
    }
  }

 private:
  template <typename T>
  T at(size_t offset) const {
    T value{};
    if (offset + sizeof value <= bytes_.size()) memcpy(&value, &bytes_[offset], sizeof value);
    return value;
  }
  Section sectionAt(const Header& header, int index) const {
    return at<Section>(header.e_shoff + static_cast<size_t>(index) * sizeof(Section));
  }
  std::string text(const Section& strings, size_t offset) const {
    return &bytes_[strings.sh_offset + offset];
  }
  void readSymbols(const Section& section, const Section& strings) {
    for (size_t i = 1; i < section.sh_size / sizeof(Symbol); ++i) {
      const auto symbol = at<Symbol>(section.sh_offset + i * sizeof(Symbol));
      Names& names = symbol.st_shndx == SHN_UNDEF ? imported : exported;
      names.insert(text(strings, symbol.st_name));
    }
  }
  void readDynamic(const Section& section, const Section& strings) {
    for (size_t i = 0; i < section.sh_size / sizeof(Dynamic); ++i) {
      const auto entry = at<Dynamic>(section.sh_offset + i * sizeof(Dynamic));
      if (entry.d_tag == DT_NEEDED) needed.insert(text(strings, entry.d_un.d_val));
    }
  }
  // The records have one layout in both widths.
  void readVersions(const Section& section, const Section& strings) {
    size_t place = section.sh_offset;
    for (uint32_t library = 0; library < section.sh_info; ++library) {
      const auto need = at<Elf32_Verneed>(place);
      size_t entry = place + need.vn_aux;
      for (int i = 0; i < need.vn_cnt; ++i) {
        const auto version = at<Elf32_Vernaux>(entry);
        versions.insert(text(strings, version.vna_name));
        entry += version.vna_next;
      }
      place += need.vn_next;
    }
  }

  std::vector<char> bytes_;
};

Names lines(const std::string& file) {
  std::ifstream stream(ZVK_TEST_DATA + file);
  Names result;
  for (std::string line; std::getline(stream, line);) result.insert(host::mangledName(line));
  return result;
}

Names difference(const Names& a, const Names& b) {
  Names result;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(result, result.end()));
  return result;
}

TEST(Exports, AreExactlyTheListedNames) {
#if defined(ZVK_SANITIZED)
  GTEST_SKIP() << "sanitizers export names of their own";
#endif
  const Library library(ZVK_PLUGIN_FILE);
  EXPECT_EQ(library.machine, kMachine);
  const Names expected = lines("/exports.txt");
  ASSERT_GE(expected.size(), 118u);
  EXPECT_THAT(difference(library.exported, expected), testing::IsEmpty()) << "exported in addition";
  EXPECT_THAT(difference(expected, library.exported), testing::IsEmpty()) << "not exported";
}

TEST(Exports, NothingIsNeededButACLibraryOf2012) {
#if defined(ZVK_SANITIZED)
  GTEST_SKIP() << "sanitizers need libraries of their own";
#endif
  const Library library(ZVK_PLUGIN_FILE);
  EXPECT_THAT(library.needed, testing::ElementsAre("libc.so.6", "libdl.so.2"));
  for (const std::string& version : library.versions) {
    int minor = 0;
    EXPECT_EQ(sscanf(version.c_str(), "GLIBC_2.%d", &minor), 1) << version;
    EXPECT_LE(minor, 17) << version;
  }
  EXPECT_THAT(library.versions, testing::Not(testing::IsEmpty()));
  // Nothing that prints (but the debug helper's), ends the process or throws.
  EXPECT_THAT(difference(library.imported, lines("/imports.txt")), testing::IsEmpty());
}

}  // namespace
