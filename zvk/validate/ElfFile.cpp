#include "ElfFile.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

namespace zvk::validation {

namespace {

struct Elf32 {
  using Header = Elf32_Ehdr;
  using Segment = Elf32_Phdr;
  using Section = Elf32_Shdr;
  using Symbol = Elf32_Sym;
  using Dynamic = Elf32_Dyn;
  using Need = Elf32_Verneed;
  using NeedEntry = Elf32_Vernaux;
  using Relocation = Elf32_Rel;
  static constexpr int kMachine = EM_386;
  static constexpr const char* kWidth = "32-bit";
  static size_t symbolOf(const Relocation& relocation) { return ELF32_R_SYM(relocation.r_info); }
};

struct Elf64 {
  using Header = Elf64_Ehdr;
  using Segment = Elf64_Phdr;
  using Section = Elf64_Shdr;
  using Symbol = Elf64_Sym;
  using Dynamic = Elf64_Dyn;
  using Need = Elf64_Verneed;
  using NeedEntry = Elf64_Vernaux;
  using Relocation = Elf64_Rela;
  static constexpr int kMachine = EM_X86_64;
  static constexpr const char* kWidth = "64-bit";
  static size_t symbolOf(const Relocation& relocation) { return ELF64_R_SYM(relocation.r_info); }
};

/// Bytes of a file; what lies outside of it reads as zeroes.
class Bytes {
 public:
  explicit Bytes(const std::vector<char>& bytes) : bytes_(bytes) {}
  template <typename T>
  T at(uint64_t offset) const {
    T value{};
    if (offset <= bytes_.size() && sizeof value <= bytes_.size() - offset) {
      memcpy(&value, &bytes_[offset], sizeof value);
    }
    return value;
  }
  std::string text(uint64_t offset) const {
    if (offset >= bytes_.size()) return "";
    return {&bytes_[offset], strnlen(&bytes_[offset], within(offset, kLongestText))};
  }
  /// So many bytes from there, or as many as there are.
  size_t within(uint64_t offset, uint64_t size) const {
    const uint64_t left = bytes_.size() - std::min<uint64_t>(offset, bytes_.size());
    return static_cast<size_t>(std::min(size, left));
  }

 private:
  static constexpr uint64_t kLongestText = 4096;
  const std::vector<char>& bytes_;
};

}  // namespace

ElfFile::ElfFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
  const bool isElf = bytes.size() > EI_CLASS && memcmp(bytes.data(), ELFMAG, SELFMAG) == 0;
  if (isElf && bytes[EI_CLASS] == ELFCLASS32) read<Elf32>(bytes);
  if (isElf && bytes[EI_CLASS] == ELFCLASS64) read<Elf64>(bytes);
}

std::string ElfFile::ownWidth() { return sizeof(void*) == 4 ? Elf32::kWidth : Elf64::kWidth; }

template <typename Elf>
void ElfFile::read(const std::vector<char>& contents) {
  const Bytes bytes(contents);
  const auto header = bytes.at<typename Elf::Header>(0);
  if (header.e_machine != Elf::kMachine || header.e_type != ET_DYN) return;
  width_ = Elf::kWidth;
  for (int i = 0; i < header.e_phnum; ++i) {
    const auto segment =
        bytes.at<typename Elf::Segment>(header.e_phoff + uint64_t{header.e_phentsize} * i);
    segments_.push_back({segment.p_type, segment.p_flags});
  }
  const auto sectionAt = [&](uint64_t index) {
    auto section =
        bytes.at<typename Elf::Section>(header.e_shoff + sizeof(typename Elf::Section) * index);
    section.sh_size = bytes.within(section.sh_offset, section.sh_size);
    return section;
  };
  // Every section that is read below names its strings, or the symbols that name theirs.
  for (int i = 0; i < header.e_shnum; ++i) {
    const auto section = sectionAt(i);
    const auto linked = sectionAt(section.sh_link);
    const auto text = [&](uint64_t offset) { return bytes.text(linked.sh_offset + offset); };
    if (section.sh_type == SHT_DYNSYM) {
      for (uint64_t at = sizeof(typename Elf::Symbol); at < section.sh_size;
           at += sizeof(typename Elf::Symbol)) {
        const auto symbol = bytes.at<typename Elf::Symbol>(section.sh_offset + at);
        const int type = symbol.st_info & 15, binding = symbol.st_info >> 4;
        symbols_.push_back({text(symbol.st_name), symbol.st_shndx != SHN_UNDEF,
                            type == STT_FUNC || type == STT_GNU_IFUNC, binding == STB_GNU_UNIQUE});
      }
    } else if (section.sh_type == SHT_DYNAMIC) {
      for (uint64_t at = 0; at < section.sh_size; at += sizeof(typename Elf::Dynamic)) {
        const auto entry = bytes.at<typename Elf::Dynamic>(section.sh_offset + at);
        const uint64_t value = entry.d_un.d_val;
        if (entry.d_tag == DT_NEEDED) libraries_.push_back(text(value));
        if (entry.d_tag == DT_RPATH || entry.d_tag == DT_RUNPATH) {
          searchPaths_.push_back(text(value));
        }
        symbolic_ |= entry.d_tag == DT_SYMBOLIC || (entry.d_tag == DT_FLAGS && value & DF_SYMBOLIC);
        textRelocations_ |=
            entry.d_tag == DT_TEXTREL || (entry.d_tag == DT_FLAGS && value & DF_TEXTREL);
        staysLoaded_ |= entry.d_tag == DT_FLAGS_1 && value & DF_1_NODELETE;
      }
    } else if (section.sh_type == SHT_GNU_verneed) {
      uint64_t at = section.sh_offset;
      const size_t most = section.sh_size / sizeof(typename Elf::NeedEntry);
      while (versions_.size() < most) {
        const auto need = bytes.at<typename Elf::Need>(at);
        uint64_t next = at + need.vn_aux;
        for (int k = 0; k < need.vn_cnt && versions_.size() < most; ++k) {
          const auto entry = bytes.at<typename Elf::NeedEntry>(next);
          versions_.push_back({text(need.vn_file), text(entry.vna_name)});
          next += entry.vna_next;
        }
        if (need.vn_next == 0) break;
        at += need.vn_next;
      }
    } else if (section.sh_type == SHT_REL || section.sh_type == SHT_RELA) {
      const auto strings = sectionAt(linked.sh_link);
      for (uint64_t at = 0; at < section.sh_size; at += sizeof(typename Elf::Relocation)) {
        const size_t index =
            Elf::symbolOf(bytes.at<typename Elf::Relocation>(section.sh_offset + at));
        if (index == 0) continue;
        const auto symbol =
            bytes.at<typename Elf::Symbol>(linked.sh_offset + index * sizeof(typename Elf::Symbol));
        relocated_.push_back(bytes.text(strings.sh_offset + symbol.st_name));
      }
    }
  }
}

}  // namespace zvk::validation
