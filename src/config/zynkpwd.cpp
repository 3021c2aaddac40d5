// The stored forms of passwords.
#include <algorithm>

#include "zynkadr.h"
#include "zynkconv.h"
#include "zynkplat.h"

namespace {

constexpr unsigned int Mask = 0x5D;

unsigned int Byte(char c) {
    return static_cast<unsigned char>(c);
}

// What a byte is moved by ahead of the mask. Of this, as of all sums here, the low 8 bits count.
unsigned int Shift(unsigned long place) {
    return static_cast<unsigned int>(place - 16) * 2;
}

// The bytes of the key, over and over.
class Key {
  public:
    explicit Key(const ZynString& key) : _bytes(key.C_str()), _length(key.Length()) {
        ZYN_REQUIRE_TEXT(_length != 0, "key.Length() != 0");
    }
    unsigned int At(unsigned long place) const { return Byte(_bytes[place % _length]); }

  private:
    const char* _bytes;
    unsigned long _length;
};

// Each character by itself: one that is invalid or has no lower case in the locale's encoding, or
// a NUL, must not show those beside it. In an encoding with shift states they don't stand alone.
ZynString InLowerCase(const ZynString& text) {
    auto& multiByte = zynkplat::CurrentMultiByte();
    if (multiByte.ResetShiftState())
        return text.AsLowerCase();
    const char* at = text.C_str();
    const char* const end = at + text.Length();
    ZynString lower("");
    while (at != end) {
        const int bytes = multiByte.Length(at, static_cast<unsigned long>(end - at));
        if (bytes > 0)
            lower |= ZynString(at, bytes).AsLowerCase();
        else
            lower |= *at;
        at += std::max(bytes, 1);
    }
    return lower;
}

} // namespace

ZynBinary ZynUser::PasswordEncode(const ZynString& first, const ZynString& second,
                                  const ZynString& third) {
    ZynBinary unicode;
    ZynConverter::ToBigEndianUnicode(first | second | third, unicode, true);
    return unicode.ToMD5();
}

ZynBinary ZynUser::V2PasswordEncode(const ZynString& key, const ZynString& password) {
    const Key bytes(key);
    const unsigned long n = password.Length();
    const char* const from = password.C_str();
    ZynBinary scrambled(CreateEmpty, n);
    char* const to = scrambled.PreRead();
    for (unsigned long i = 0; i < n; ++i)
        to[i] = static_cast<char>(((Byte(from[i]) + Shift(i)) ^ Mask) + bytes.At(i));
    scrambled.PostRead(n);
    return scrambled;
}

ZynString ZynUser::V2PasswordDecode(const ZynString& key, const ZynBinary& scrambled) {
    const Key bytes(key);
    const char* const from = scrambled.Data();
    const unsigned long n = scrambled.Length();
    ZynString password(CreateEmpty, n);
    char* const to = password.PreRead();
    for (unsigned long i = 0; i < n; ++i)
        to[i] = static_cast<char>(((Byte(from[i]) - bytes.At(i)) ^ Mask) - Shift(i));
    password.PostRead(n);
    return password;
}

ZynString ZynUser::PasswordEncodeAsString(const ZynString& key, const ZynString& password) {
    const ZynBinary hex = V2PasswordEncode(key, password).AsHexString();
    return ZynString("%") | hex.Data();
}

ZynString ZynUser::V2XQMPasswordDecode(const ZynString& key, const ZynString& text) {
    constexpr unsigned long MaxCount = 32;
    ZYN_REQUIRE_TEXT(!text.IsNull(), "!IsNull()");
    const ZynString::Tokenizer numbers(text, ' ', true, true);
    const unsigned long count = numbers.Empty() ? 0 : numbers.Next().AsUlong();
    if (count > MaxCount)
        return {};
    char bytes[MaxCount];
    unsigned long n = 0;
    for (; n < count && !numbers.Empty(); ++n)
        bytes[n] = static_cast<char>(numbers.Next().AsUlong());
    return InLowerCase(V2PasswordDecode(key, ZynBinary(bytes, n)));
}
