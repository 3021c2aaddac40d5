// Opaque values and binaries of ZynStream.
#include <climits>
#include <cstdint>

#include "zynksdds.h"

unsigned long ZynStream::Padding(unsigned long n) {
    return (WordSize - n % WordSize) % WordSize;
}

// Bytes and padding.
void ZynStream::StoreOpaque(char* to, const char* data, unsigned long n) {
    if (n != 0)
        std::memcpy(to, data, n);
    std::memset(to + n, 0, Padding(n));
}

void ZynStream::PutFixedOpaque(const char* data, unsigned long n) {
    ZYN_REQUIRE_TEXT(data != nullptr || n == 0, "data != 0 || n == 0");
    ZYN_REQUIRE_TEXT(n <= ULONG_MAX - WordSize, "n <= ULONG_MAX - sizeof(long)");
    StoreOpaque(Claim(n + Padding(n)), data, n);
}

void ZynStream::GetFixedOpaque(char* buffer, unsigned long n) {
    ZYN_REQUIRE_TEXT(buffer != nullptr || n == 0, "buffer != 0 || n == 0");
    const unsigned long padding = Padding(n);
    EnableCorrectRead(n);
    EnableCorrectRead(padding);
    if (n != 0)
        std::memcpy(buffer, At(_curPos), n);
    _curPos += n + padding;
}

void ZynStream::PutVarOpaque(const char* data, unsigned long n) {
    ZYN_REQUIRE_TEXT(data != nullptr || n == 0, "data != 0 || n == 0");
    const std::uint32_t length = zynkxdr::WireWord(n);
    char* const to = Claim(WordSize + n + Padding(n));
    zynkxdr::StoreWord(to, length);
    StoreOpaque(to + WordSize, data, n);
}

// The bytes of the variable opaque value at the position, which stays there: a failure leaves it
// at the length word. Only the bytes themselves are tested: a last value may lack its padding.
const char* ZynStream::PeekVarOpaque(unsigned long& length) const {
    EnableCorrectRead(WordSize);
    length = zynkxdr::LoadWord(At(_curPos));
    if (length > ReadEnd() - _curPos - WordSize)
        ThrowContentError();
    return At(_curPos) + WordSize;
}

void ZynStream::SkipVarOpaque(unsigned long length) {
    _curPos += WordSize + length + Padding(length);
}

unsigned long ZynStream::GetVarOpaque(char* buffer, unsigned long max) {
    ZYN_REQUIRE_TEXT(buffer != nullptr || max == 0, "buffer != 0 || max == 0");
    EnableCorrectRead(WordSize);
    unsigned long length = zynkxdr::LoadWord(At(_curPos));
    if (max == 0 && length > 0)
        return length;
    const char* const bytes = PeekVarOpaque(length);
    if (length > max) {
        std::memcpy(buffer, bytes, max);
        return length;
    }
    if (length != 0)
        std::memcpy(buffer, bytes, length);
    SkipVarOpaque(length);
    return length;
}

void ZynStream::Put(const ZynBinary& value) {
    ZYN_REQUIRE_TEXT(!value.IsNull(), "!IsNull()");
    PutVarOpaque(value.Data(), value.Length());
}

void ZynStream::Get(ZynBinary& value) {
    unsigned long length = 0;
    const char* const bytes = PeekVarOpaque(length);
    value = ZynBinary(bytes, length);
    SkipVarOpaque(length);
}
