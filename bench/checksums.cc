// CRC-32 and CRC-8 over small, page-sized and large buffers.
#include <libdeflate.h>
#include <zlib.h>

#include <boost/crc.hpp>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/frame.hpp"
#include "include/pluginchecksum.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

std::vector<uint8_t> g_data;

uint64_t SumOfWords(size_t size) {
  uint64_t sum = 0;
  for (size_t i = 0; i + 8 <= size; i += 8) {
    uint64_t word;
    memcpy(&word, g_data.data() + i, 8);
    sum += word;
  }
  return sum;
}

struct Size {
  const char *name;
  size_t bytes;
};

void Add(cu_bench::Family &family, const Size &size) {
  const size_t bytes = size.bytes;
  auto &wide = family.AddWorkload(std::string("CRC-32 of ") + size.name);
  wide.Add(Role::kLibrary, "PluginCalculateCRC32", [=]() -> uint64_t {
    return PluginCalculateCRC32(g_data.data(), static_cast<uint32_t>(bytes));
  });
  wide.Add(Role::kPeer, "zlib",
           [=]() -> uint64_t { return crc32(0, g_data.data(), static_cast<uInt>(bytes)); });
  wide.Add(Role::kPeer, "boost::crc_32_type", [=]() -> uint64_t {
    boost::crc_32_type crc;
    crc.process_bytes(g_data.data(), bytes);
    return crc.checksum();
  });
  wide.Add(Role::kReported, "libdeflate (SIMD)",
           [=]() -> uint64_t { return libdeflate_crc32(0, g_data.data(), bytes); });
  wide.Add(
      Role::kFloor, "sum of 64-bit words", [=] { return SumOfWords(bytes); }, Check::kNone);

  auto &narrow = family.AddWorkload(std::string("CRC-8 of ") + size.name);
  narrow.Add(Role::kLibrary, "PluginCalculateCRC8", [=]() -> uint64_t {
    return PluginCalculateCRC8(g_data.data(), static_cast<uint32_t>(bytes));
  });
  narrow.Add(Role::kPeer, "boost::crc_optimal<8, 7>", [=]() -> uint64_t {
    boost::crc_optimal<8, 0x07, 0, 0, false, false> crc;
    crc.process_bytes(g_data.data(), bytes);
    return crc.checksum();
  });
  narrow.Add(
      Role::kFloor, "sum of 64-bit words", [=] { return SumOfWords(bytes); }, Check::kNone);
}

}  // namespace

int main(int argc, char **argv) {
  std::mt19937_64 random(3);
  g_data.resize(1 << 20);
  for (uint8_t &byte : g_data) byte = static_cast<uint8_t>(random());
  cu_bench::Family family("checksums", cu_bench::Clock::kCpu);
  static constexpr Size kSizes[] = {{"16 bytes", 16}, {"4 KB", 4096}, {"1 MB", 1 << 20}};
  for (const Size &size : kSizes) Add(family, size);
  return family.Main(argc, argv);
}
