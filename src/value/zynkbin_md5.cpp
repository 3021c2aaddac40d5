// The MD5 message digest, RFC 1321.
#include <algorithm>
#include <bit>
#include <cstring>

#include "zynkbin.h"

namespace {

using Word = std::uint32_t;

// The words of message and digest have their low byte first.
Word LoadLow(const unsigned char* from) {
    return static_cast<Word>(from[0]) | static_cast<Word>(from[1]) << 8U |
           static_cast<Word>(from[2]) << 16U | static_cast<Word>(from[3]) << 24U;
}

void StoreLow(unsigned char* to, Word word) {
    for (unsigned int i = 0; i < 4; ++i)
        to[i] = static_cast<unsigned char>(word >> (8 * i));
}

Word F(Word x, Word y, Word z) {
    return z ^ (x & (y ^ z));
}
// A sum, as no bit is in both: what does not depend on the step before is added ahead of it.
Word G(Word x, Word y, Word z) {
    return (x & z) + (y & ~z);
}
Word H(Word x, Word y, Word z) {
    return x ^ y ^ z;
}
Word I(Word x, Word y, Word z) {
    return y ^ (x | ~z);
}

template <Word (*Mix)(Word, Word, Word)>
void Step(Word& a, Word b, Word c, Word d, Word message, int shift, Word sine) {
    a = b + std::rotl(a + message + sine + Mix(b, c, d), shift);
}

// Element i is the integer part of 2^32 times abs(sin(i + 1)), i + 1 in radians.
constexpr Word Sine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

struct Registers {
    Word a, b, c, d;
};

// One round of 16 steps. Step i of a round takes message word (First + i * Stride) mod 16.
template <Word (*Mix)(Word, Word, Word), unsigned int Number, unsigned int First,
          unsigned int Stride>
void Round(Registers& r, const Word* message, int s1, int s2, int s3, int s4) {
#pragma GCC unroll 4
    for (unsigned int i = 0; i < 16; i += 4) {
        const Word* sine = &Sine[Number * 16U + i];
        const auto word = [message](unsigned int step) {
            return message[(First + step * Stride) % 16];
        };
        Step<Mix>(r.a, r.b, r.c, r.d, word(i), s1, sine[0]);
        Step<Mix>(r.d, r.a, r.b, r.c, word(i + 1), s2, sine[1]);
        Step<Mix>(r.c, r.d, r.a, r.b, word(i + 2), s3, sine[2]);
        Step<Mix>(r.b, r.c, r.d, r.a, word(i + 3), s4, sine[3]);
    }
}

} // namespace

const unsigned char ZynBinary::MD5::_PADDING[BlockSize] = {0x80};

ZynBinary::MD5::MD5() : _count{0, 0}, _state{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476} {}

void ZynBinary::MD5::Transform(Word* state, const unsigned char* block) {
    Word message[16];
    for (unsigned int i = 0; i < 16; ++i)
        message[i] = LoadLow(block + std::size_t{4} * i);
    Registers r{state[0], state[1], state[2], state[3]};
    Round<F, 0, 0, 1>(r, message, 7, 12, 17, 22);
    Round<G, 1, 1, 5>(r, message, 5, 9, 14, 20);
    Round<H, 2, 5, 3>(r, message, 4, 11, 16, 23);
    Round<I, 3, 0, 7>(r, message, 6, 10, 15, 21);
    state[0] += r.a;
    state[1] += r.b;
    state[2] += r.c;
    state[3] += r.d;
}

void ZynBinary::MD5::Update(const unsigned char* input, unsigned int length) {
    const unsigned int held = (_count[0] >> 3U) % BlockSize;
    const Word before = _count[0];
    _count[0] += static_cast<Word>(length) << 3U;
    _count[1] += static_cast<Word>(length >> 29U) + (_count[0] < before ? 1U : 0U);

    if (length == 0)
        return;
    unsigned int taken = 0;
    if (held != 0) {
        taken = std::min(length, BlockSize - held);
        std::memcpy(_input + held, input, taken);
        if (held + taken < BlockSize)
            return;
        Transform(_state, _input);
    }
    for (; length - taken >= BlockSize; taken += BlockSize)
        Transform(_state, input + taken);
    if (taken < length)
        std::memcpy(_input, input + taken, length - taken);
}

// Works on copies, so that more input may follow.
ZynBinary ZynBinary::MD5::Final() const {
    Word state[4];
    std::memcpy(state, _state, sizeof state);
    const unsigned int held = (_count[0] >> 3U) % BlockSize;
    const unsigned int size = held < BlockSize - 8 ? BlockSize : 2 * BlockSize;
    unsigned char last[std::size_t{2} * BlockSize];
    std::memcpy(last, _input, held);
    std::memcpy(last + held, _PADDING, size - 8 - held);
    StoreLow(last + size - 8, _count[0]);
    StoreLow(last + size - 4, _count[1]);
    for (unsigned int at = 0; at < size; at += BlockSize)
        Transform(state, last + at);

    ZynBinary digest(CreateEmpty, sizeof state);
    auto* const to = reinterpret_cast<unsigned char*>(digest.PreRead());
    for (unsigned int i = 0; i < 4; ++i)
        StoreLow(to + std::size_t{4} * i, state[i]);
    return digest;
}
