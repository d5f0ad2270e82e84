/**
 * @file pluginchecksum.h
 * @brief CRC-8 and CRC-32 of byte buffers, the latter also piece by piece.
 *
 * @code
 * uint32_t crc;
 * PluginBeginCRC32(&crc);
 * while ((n = read(fd, block, sizeof block)) > 0) PluginCRCBufferRecursive(block, (uint32_t)n,
 * &crc); PluginEndCRC32(&crc);  // the same value as PluginCalculateCRC32() over the whole
 * @endcode
 *
 * **Thread safety.** Any thread may call any function at any time; a running state belongs to the
 * thread that feeds it. Nothing is allocated or logged.
 *
 * A null buffer counts as an empty one; a null state is left alone.
 *
 * **Shared arguments.**
 * - `bytes`: the buffer.
 * - `length`: its bytes.
 * - `state`: the running state, the caller's variable.
 */
#ifndef COMMONUTILITIES_PLUGINCHECKSUM_H
#define COMMONUTILITIES_PLUGINCHECKSUM_H

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** CRC-8 of each single byte: polynomial 0x07, most significant bit first. Entry 1 is 0x07. */
extern CU_API const uint8_t crctable[256];

/** CRC-32 step of each single byte: polynomial 0xEDB88320, reflected, without any inversion. */
extern CU_API const uint32_t CrcLookUpTable[256];

/**
 * @brief CRC-8/SMBUS of a buffer: polynomial 0x07, initial value 0, no final inversion.
 *
 * @return 0 to 255; 0xF4 for the nine characters "123456789", 0 for an empty buffer.
 */
CU_API uint32_t PluginCalculateCRC8(const void *bytes, uint32_t length);

/**
 * @brief CRC-32 of a buffer as Ethernet, zlib and PKZIP compute it.
 *
 * @return 0xCBF43926 for the nine characters "123456789", 0 for an empty buffer.
 */
CU_API uint32_t PluginCalculateCRC32(const void *bytes, uint32_t length);

/** @brief Sets a running state to its initial value, 0xFFFFFFFF. */
CU_API void PluginBeginCRC32(uint32_t *state);

/** @brief Takes one byte into a running state. @param byte the byte. */
CU_API void PluginDoCRC32(uint32_t *state, uint8_t byte);

/**
 * @brief Takes a buffer into a running state; any number of calls, of any lengths.
 *
 * Much faster than a call of PluginDoCRC32() for each byte.
 */
CU_API void PluginCRCBufferRecursive(const void *bytes, uint32_t length, uint32_t *state);

/** @brief Complements a running state, which is then the CRC-32 of all bytes fed. */
CU_API void PluginEndCRC32(uint32_t *state);

CU_END_DECLS

#endif
