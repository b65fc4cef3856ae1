// Little-endian numbers in byte buffers and the CRC-32 of the binary hit files.
//
// The binary formats are little-endian whatever the machine; these helpers assemble
// and take apart the numbers byte by byte, so they need no alignment and no byte order
// of the host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace sim {

void putLe16(std::string* out, uint16_t value);
void putLe32(std::string* out, uint32_t value);
void putLe64(std::string* out, uint64_t value);

// The number at data[0..n); the caller checks that the bytes are there.
uint16_t getLe16(const char* data);
uint32_t getLe32(const char* data);
uint64_t getLe64(const char* data);

// CRC-32 as zlib and PNG compute it (polynomial 0xEDB88320 reflected, initial and final
// value 0xFFFFFFFF): crc32 of "123456789" is 0xCBF43926.
uint32_t crc32Of(const char* data, size_t size);

} // namespace sim
