#pragma once

#include <cstdint>

namespace za {

/// Words in the order of bytes that all our formats share, from any address. Compilers make one
/// load or store of each on processors that have this order, where they see each byte by itself.
/// @{
inline std::uint16_t loadLittle16(const unsigned char* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

inline std::uint32_t loadLittle32(const unsigned char* bytes) {
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

inline std::uint64_t loadLittle64(const unsigned char* bytes) {
    return std::uint64_t{bytes[0]} | std::uint64_t{bytes[1]} << 8 | std::uint64_t{bytes[2]} << 16 |
           std::uint64_t{bytes[3]} << 24 | std::uint64_t{bytes[4]} << 32 |
           std::uint64_t{bytes[5]} << 40 | std::uint64_t{bytes[6]} << 48 |
           std::uint64_t{bytes[7]} << 56;
}

inline void storeLittle64(unsigned char* bytes, std::uint64_t value) {
    bytes[0] = static_cast<unsigned char>(value);
    bytes[1] = static_cast<unsigned char>(value >> 8);
    bytes[2] = static_cast<unsigned char>(value >> 16);
    bytes[3] = static_cast<unsigned char>(value >> 24);
    bytes[4] = static_cast<unsigned char>(value >> 32);
    bytes[5] = static_cast<unsigned char>(value >> 40);
    bytes[6] = static_cast<unsigned char>(value >> 48);
    bytes[7] = static_cast<unsigned char>(value >> 56);
}
/// @}

}  // namespace za
