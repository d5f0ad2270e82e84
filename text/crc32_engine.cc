#include "text/crc32_engine.hpp"

#include <string.h>

#include <array>
#include <bit>

#include "text/crc_definition.hpp"

namespace cu {
namespace {

constexpr size_t kWordBytes = sizeof(uint32_t);
constexpr size_t kBraids = 4;
constexpr size_t kBlockBytes = kBraids * kWordBytes;

/// From this length on, aligning the address and joining the braids costs less than they save.
constexpr size_t kBraidsPayFrom = 64;

/// What the four bytes of a word contribute to a state further on: entry [3 - k][b] for value b in
/// byte k, counted from the low end.
using WordTables = std::array<std::array<uint32_t, 256>, 4>;

/// The tables for the state `distance` bytes behind the word's end.
constexpr WordTables MakeWordTables(size_t distance) {
  WordTables tables{};
  for (uint32_t value = 0; value < 256; ++value) {
    uint32_t state = Crc32AfterZeroBytes(value, distance);
    for (auto &table : tables) table[value] = state = Crc32AfterZeroBytes(state, 1);
  }
  return tables;
}

constexpr WordTables kNext = MakeWordTables(0);
constexpr WordTables kStride = MakeWordTables(kBlockBytes - kWordBytes);

uint32_t LoadWord(const uint8_t *bytes) {
  uint32_t word;
  memcpy(&word, bytes, kWordBytes);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap32(word);
  return word;
}

uint32_t LoadAlignedWord(const uint8_t *bytes) {
  return LoadWord(static_cast<const uint8_t *>(__builtin_assume_aligned(bytes, kWordBytes)));
}

uint32_t Advance(const WordTables &tables, uint32_t word) {
  return tables[3][word & 0xFF] ^ tables[2][word >> 8 & 0xFF] ^ tables[1][word >> 16 & 0xFF] ^
         tables[0][word >> 24];
}

uint32_t UpdateBytewise(uint32_t state, const uint8_t *bytes, size_t length) {
  for (; length != 0; --length) state = kNext[0][(state ^ *bytes++) & 0xFF] ^ (state >> 8);
  return state;
}

/// Four bytes a step, each step waiting for the one before it.
uint32_t UpdateByWords(uint32_t state, const uint8_t *bytes, size_t length) {
  for (; length >= kWordBytes; bytes += kWordBytes, length -= kWordBytes) {
    state = Advance(kNext, state ^ LoadWord(bytes));
  }
  return UpdateBytewise(state, bytes, length);
}

/// Four states side by side, each taking every fourth word, so that the processor works on four
/// chains of look-ups at once; the last block joins them in order. Takes `blocks` whole blocks, at
/// least one, from an aligned address.
uint32_t UpdateByBraids(uint32_t state, const uint8_t *bytes, size_t blocks) {
  uint32_t braid0 = state, braid1 = 0, braid2 = 0, braid3 = 0;
  for (; blocks > 1; --blocks, bytes += kBlockBytes) {
    braid0 = Advance(kStride, braid0 ^ LoadAlignedWord(bytes));
    braid1 = Advance(kStride, braid1 ^ LoadAlignedWord(bytes + 4));
    braid2 = Advance(kStride, braid2 ^ LoadAlignedWord(bytes + 8));
    braid3 = Advance(kStride, braid3 ^ LoadAlignedWord(bytes + 12));
  }
  state = Advance(kNext, braid0 ^ LoadAlignedWord(bytes));
  state = Advance(kNext, state ^ braid1 ^ LoadAlignedWord(bytes + 4));
  state = Advance(kNext, state ^ braid2 ^ LoadAlignedWord(bytes + 8));
  return Advance(kNext, state ^ braid3 ^ LoadAlignedWord(bytes + 12));
}

}  // namespace

uint32_t Crc32Update(uint32_t state, const void *data, size_t length) {
  auto *bytes = static_cast<const uint8_t *>(data);
  if (length >= kBraidsPayFrom) {
    const size_t unaligned = -reinterpret_cast<uintptr_t>(bytes) % kWordBytes;
    state = UpdateBytewise(state, bytes, unaligned);
    bytes += unaligned;
    length -= unaligned;
    state = UpdateByBraids(state, bytes, length / kBlockBytes);
    bytes += length / kBlockBytes * kBlockBytes;
    length %= kBlockBytes;
  }
  return UpdateByWords(state, bytes, length);
}

}  // namespace cu
