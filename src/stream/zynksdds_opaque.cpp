// Opaque values and binaries of ZynStream.
#include <climits>
#include <cstdint>

#include "zynksdds.h"

// Bytes and padding: zeros in the last word first, then the bytes over them.
void ZynStream::StoreOpaque(char* to, const char* data, unsigned long n) {
    if (n == 0)
        return;
    zynkxdr::StoreWord(to + n + Padding(n) - WordSize, 0);
    std::memcpy(to, data, n);
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

void ZynStream::Get(ZynBinary& value) {
    unsigned long length = 0;
    const char* const bytes = PeekVarOpaque(length);
    value.Assign(bytes, length);
    SkipVarOpaque(length);
}
