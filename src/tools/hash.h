#ifndef VORTANE_TOOLS_HASH_H
#define VORTANE_TOOLS_HASH_H

#include <cstddef>
#include <cstdint>

// One-byte CRC-32C hash of a record of at least 77 bytes at buf: the CRC (start 0, no
// final inversion) of the bytes at offsets 5-12, 29-40, 49-50, 53-69, 71 and 73-76,
// in that order; its low 8 bits. Uses the processor's crc32 instruction when it has
// one, and an equal table computation otherwise.
uint8_t sse42_crc32_10(const char* buf);

namespace VORTANE {
namespace TOOLS {

// CRC-32C (reflected Castagnoli polynomial) of len bytes, going on from crc, with no
// inversion at either end: what the crc32 instruction computes.
uint32_t crc32c_portable(uint32_t crc, const void* data, size_t len);
// The same with the crc32 instruction; only when crc32c_hardware_available().
uint32_t crc32c_hardware(uint32_t crc, const void* data, size_t len);
bool crc32c_hardware_available();

// The two ways of sse42_crc32_10; the hardware one only when it is available.
uint8_t sse42_crc32_10_portable(const char* buf);
uint8_t sse42_crc32_10_hardware(const char* buf);

}  // namespace TOOLS
}  // namespace VORTANE

#endif
