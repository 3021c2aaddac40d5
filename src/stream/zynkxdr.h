// 32-bit words in the order of the wire: most significant byte first, as in XDR (RFC 4506).
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "zynkdbg.h"

namespace zynkxdr {

constexpr unsigned long WordSize = 4;

/// The word whose bytes in this host's memory are those of `word` on the wire, and the reverse.
inline std::uint32_t Host2Xdr(std::uint32_t word) {
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap32(word);
    return word;
}

// Stored as numbers, not as bytes: a store of bytes may alias anything, and a caller would have to
// load all that it knows anew behind it.
using UnalignedWord [[gnu::aligned(1)]] = std::uint32_t;
using UnalignedPair [[gnu::aligned(1)]] = std::uint64_t;

inline void StoreWord(char* to, std::uint32_t word) {
    *reinterpret_cast<UnalignedWord*>(to) = Host2Xdr(word);
}

/// Two words, `first` in front.
inline void StoreWords(char* to, std::uint32_t first, std::uint32_t second) {
    if constexpr (std::endian::native == std::endian::little)
        *reinterpret_cast<UnalignedPair*>(to) =
            static_cast<std::uint64_t>(Host2Xdr(second)) << 32U | Host2Xdr(first);
    else
        *reinterpret_cast<UnalignedPair*>(to) = static_cast<std::uint64_t>(first) << 32U | second;
}

inline std::uint32_t LoadWord(const char* from) {
    std::uint32_t word = 0;
    std::memcpy(&word, from, sizeof word);
    return Host2Xdr(word);
}

/// The 32 bits of a number. One that neither a signed nor an unsigned word can hold is a contract
/// failure.
inline std::uint32_t WireWord(long value) {
    constexpr long long Max = UINT32_MAX; // a host's long may have no more than 32 bits
    ZYN_REQUIRE_TEXT(value >= INT32_MIN && value <= Max, "value >= LONG_MIN && value <= ULONG_MAX");
    return static_cast<std::uint32_t>(value);
}

inline std::uint32_t WireWord(unsigned long value) {
    ZYN_REQUIRE_TEXT(value <= UINT32_MAX, "value <= ULONG_MAX");
    return static_cast<std::uint32_t>(value);
}

} // namespace zynkxdr
