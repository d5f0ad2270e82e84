#include "tools/cuctl/elf_symbols.hpp"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <vector>

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

constexpr unsigned char kByteOrder =
    __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;

/// A record at an offset of the file; false when it does not lie in it.
template <typename T>
bool Get(const Input &file, uint64_t offset, T &out) {
  if (offset > file.size() || file.size() - offset < sizeof out) return false;
  const std::vector<uint8_t> bytes = file.ReadAt(offset, sizeof out);
  if (bytes.size() != sizeof out) return false;
  std::memcpy(&out, bytes.data(), sizeof out);
  return true;
}

/// A section's content, of one that claims more than there is what there is.
template <typename Section>
std::vector<uint8_t> Content(const Input &file, const Section &section) {
  if (section.sh_offset > file.size()) return {};
  const uint64_t left = file.size() - section.sh_offset;
  return file.ReadAt(section.sh_offset,
                     static_cast<size_t>(std::min<uint64_t>({section.sh_size, left, kMostBytes})));
}

bool IsNamed(const std::vector<uint8_t> &strings, uint64_t offset, const std::string &name) {
  // With its terminator.
  return offset < strings.size() && strings.size() - offset > name.size() &&
         std::memcmp(strings.data() + offset, name.c_str(), name.size() + 1) == 0;
}

}  // namespace

std::string ExportProblem(const Input &file, const std::string &method) {
  ElfW(Ehdr) header;
  if (!Get(file, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
    return "not an ELF file";
  if (header.e_ident[EI_CLASS] != kClass || header.e_ident[EI_DATA] != kByteOrder ||
      header.e_machine != kMachine)
    return "built for another machine";
  if (header.e_type != ET_DYN) return "not a shared library";
  bool any = false;
  for (uint64_t i = 0; i < header.e_shnum; ++i) {
    ElfW(Shdr) section, names;
    if (!Get(file, header.e_shoff + i * header.e_shentsize, section)) break;
    if (section.sh_type != SHT_DYNSYM) continue;
    if (!Get(file, header.e_shoff + uint64_t{section.sh_link} * header.e_shentsize, names)) break;
    const std::vector<uint8_t> symbols = Content(file, section), strings = Content(file, names);
    for (size_t at = 0; symbols.size() - at >= sizeof(ElfW(Sym)); at += sizeof(ElfW(Sym))) {
      ElfW(Sym) symbol;
      std::memcpy(&symbol, symbols.data() + at, sizeof symbol);
      const unsigned char binding = ELF32_ST_BIND(symbol.st_info);
      if (symbol.st_shndx == SHN_UNDEF || (binding != STB_GLOBAL && binding != STB_WEAK)) continue;
      any = true;
      if (IsNamed(strings, symbol.st_name, method)) return "";
    }
    break;  // a library has one such section
  }
  return any ? "does not export " + method : "exports nothing";
}

}  // namespace cuctl
