// Base64, RFC 2045 section 6.8.
#include <array>
#include <cstdint>

#include "zynkplat.h"
#include "zynkstr.h"

namespace {

constexpr const auto& Alphabet = ZynString::char_set;
constexpr char Padding = '=';

constexpr unsigned long BytesOfGroup = 3;
constexpr unsigned long CharsOfGroup = 4;

/// Two characters for each 12 bits: half the look-ups of one character for each 6.
using CharPair = std::array<char, 2>;
constexpr auto CharPairs = [] {
    std::array<CharPair, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {Alphabet[i >> 6U], Alphabet[i & 0x3FU]};
    return pairs;
}();

/// By place in its group and character: the bits that it brings to the group's 24.
constexpr std::uint32_t NotInAlphabet = 0x80000000;
using BitsOfChar = std::array<std::uint32_t, 256>;
constexpr auto BitsAtPlace = [] {
    std::array<BitsOfChar, CharsOfGroup> places{};
    for (std::size_t place = 0; place < places.size(); ++place) {
        places[place].fill(NotInAlphabet);
        for (std::uint32_t value = 0; value < 64; ++value)
            places[place][static_cast<unsigned char>(Alphabet[value])] = value << (18 - 6 * place);
    }
    return places;
}();

void StoreBytes(char* to, std::uint32_t bits, unsigned long n) {
    for (unsigned long i = 0; i < n; ++i)
        to[i] = static_cast<char>(bits >> (16 - 8 * i));
}

} // namespace

ZynString ZynString::Base64Encode(const ZynBinary& data) {
    ZYN_REQUIRE_TEXT(!data.IsNull(), "!IsNull()");
    const auto* in = reinterpret_cast<const unsigned char*>(data.Data());
    const unsigned char* const end = in + data.Length();
    const unsigned long groups = data.Length() / BytesOfGroup;
    const unsigned long rest = data.Length() % BytesOfGroup;
    ZynString encoded(CreateEmpty, (groups + (rest != 0 ? 1 : 0)) * CharsOfGroup);
    char* out = encoded.PreRead();
    const auto put = [&out](std::uint32_t bits) {
        std::memcpy(out, CharPairs[bits >> 12U].data(), 2);
        std::memcpy(out + 2, CharPairs[bits & 0xFFFU].data(), 2);
        out += CharsOfGroup;
    };
    const unsigned long taken = zynkplat::EncodeBase64(out, in, data.Length());
    out += taken / BytesOfGroup * CharsOfGroup;
    for (in += taken; in != end - rest; in += BytesOfGroup)
        put(std::uint32_t{in[0]} << 16U | std::uint32_t{in[1]} << 8U | in[2]);
    if (rest != 0) {
        put(std::uint32_t{in[0]} << 16U | (rest == 2 ? std::uint32_t{in[1]} << 8U : 0));
        std::memset(out - (BytesOfGroup - rest), Padding, BytesOfGroup - rest);
    }
    encoded.PostRead(static_cast<unsigned long>(out - encoded.C_str()));
    return encoded;
}

ZynBinary ZynString::Base64Decode() const {
    ZYN_REQUIRE(!IsNull());
    const auto* in = reinterpret_cast<const unsigned char*>(_pRep->_data);
    const unsigned char* const end = in + _pRep->_len;
    ZynBinary decoded(CreateEmpty, (_pRep->_len / CharsOfGroup + 1) * BytesOfGroup);
    char* const start = decoded.PreRead();
    char* out = start;
    while (in != end) {
        const auto left = static_cast<unsigned long>(end - in);
        const unsigned long taken = zynkplat::DecodeBase64(out, in, left);
        out += taken / CharsOfGroup * BytesOfGroup;
        for (in += taken; end - in >= static_cast<std::ptrdiff_t>(CharsOfGroup);
             in += CharsOfGroup) {
            const std::uint32_t bits = BitsAtPlace[0][in[0]] | BitsAtPlace[1][in[1]] |
                                       BitsAtPlace[2][in[2]] | BitsAtPlace[3][in[3]];
            if ((bits & NotInAlphabet) != 0)
                break;
            StoreBytes(out, bits, BytesOfGroup);
            out += BytesOfGroup;
        }
        // A group with something to skip in it, or the last one.
        std::uint32_t bits = 0;
        unsigned long place = 0;
        for (; in != end && place < CharsOfGroup; ++in)
            if (const std::uint32_t more = BitsAtPlace[place][*in]; more != NotInAlphabet) {
                bits |= more;
                ++place;
            }
        const unsigned long bytes = place > 1 ? place - 1 : 0;
        StoreBytes(out, bits, bytes);
        out += bytes;
    }
    decoded.PostRead(static_cast<unsigned long>(out - start));
    return decoded;
}
