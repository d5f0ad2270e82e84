#include "tools/cuctl/elf_symbols.hpp"

#include <elf.h>
#include <link.h>

#include <cstring>

namespace cuctl {
namespace {

constexpr unsigned char kClass = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
#if defined(__arm__)
constexpr uint16_t kMachine = EM_ARM;
#elif defined(__aarch64__)
constexpr uint16_t kMachine = EM_AARCH64;
#elif defined(__x86_64__)
constexpr uint16_t kMachine = EM_X86_64;
#elif defined(__i386__)
constexpr uint16_t kMachine = EM_386;
#else
constexpr uint16_t kMachine = EM_NONE;
#endif

/// A record at an offset of the file; false when it does not lie in it.
template <typename T>
bool Get(const std::vector<uint8_t> &file, uint64_t offset, T &out) {
  if (offset > file.size() || file.size() - offset < sizeof out) return false;
  std::memcpy(&out, file.data() + offset, sizeof out);
  return true;
}

std::string Name(const std::vector<uint8_t> &file, uint64_t offset) {
  if (offset >= file.size()) return "";
  const auto *const text = reinterpret_cast<const char *>(file.data() + offset);
  return std::string(text, strnlen(text, file.size() - offset));
}

}  // namespace

ElfSymbols ReadElfSymbols(const std::vector<uint8_t> &file) {
  ElfSymbols result;
  ElfW(Ehdr) header;
  if (!Get(file, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
    result.problem = "not an ELF file";
    return result;
  }
  if (header.e_ident[EI_CLASS] != kClass || header.e_machine != kMachine) {
    result.problem = "built for another machine";
    return result;
  }
  if (header.e_type != ET_DYN) {
    result.problem = "not a shared library";
    return result;
  }
  for (uint64_t i = 0; i < header.e_shnum; ++i) {
    ElfW(Shdr) section, strings;
    if (!Get(file, header.e_shoff + i * header.e_shentsize, section)) break;
    if (section.sh_type != SHT_DYNSYM || section.sh_entsize < sizeof(ElfW(Sym))) continue;
    if (!Get(file, header.e_shoff + uint64_t{section.sh_link} * header.e_shentsize, strings)) break;
    for (uint64_t at = 0; at + sizeof(ElfW(Sym)) <= section.sh_size; at += section.sh_entsize) {
      ElfW(Sym) symbol;
      if (!Get(file, section.sh_offset + at, symbol)) break;
      const unsigned char binding = ELF32_ST_BIND(symbol.st_info);
      if (symbol.st_shndx == SHN_UNDEF || (binding != STB_GLOBAL && binding != STB_WEAK)) continue;
      result.names.insert(Name(file, strings.sh_offset + symbol.st_name));
    }
  }
  if (result.names.empty()) result.problem = "exports nothing";
  return result;
}

}  // namespace cuctl
