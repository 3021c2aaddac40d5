#include "zynkoid.h"

#include <cstdint>
#include <cstdlib>
#include <ostream>

#include "zynksdds.h"

/// The identifier as a counter. Word 3 is its lowest and word 1 its highest; word 0 takes no part
/// in counting but is the stamp of a line of successors.
class ZynOID::_OID {
  public:
    _OID(std::uint32_t word0, std::uint32_t word1, std::uint32_t word2, std::uint32_t word3)
        : _words{word0, word1, word2, word3} {}
    _OID(const ZynOID& oid, ZynOIDEncoding::Type oidEncoding);

    ZynOID AsOID(ZynOIDEncoding::Type oidEncoding) const;
    _OID& operator+=(short step);

  private:
    static constexpr std::size_t Words = 4;

    static std::size_t Place(std::size_t word, ZynOIDEncoding::Type oidEncoding);

    std::uint32_t _words[Words];
};

// Where the bytes of a word begin. In the old encoding the counter leads, lowest word first, and in
// the new one the stamp.
std::size_t ZynOID::_OID::Place(std::size_t word, ZynOIDEncoding::Type oidEncoding) {
    constexpr std::size_t OldPlaces[Words] = {12, 8, 4, 0};
    constexpr std::size_t NewPlaces[Words] = {0, 12, 8, 4};
    return oidEncoding == ZynOIDEncoding::OldEncoding ? OldPlaces[word] : NewPlaces[word];
}

ZynOID::_OID::_OID(const ZynOID& oid, ZynOIDEncoding::Type oidEncoding) : _words() {
    ZYN_REQUIRE(oidEncoding != ZynOIDEncoding::NotSet);
    for (std::size_t i = 0; i < Words; ++i)
        _words[i] = zynkxdr::LoadWord(oid.data() + Place(i, oidEncoding));
}

ZynOID ZynOID::_OID::AsOID(ZynOIDEncoding::Type oidEncoding) const {
    ZYN_REQUIRE(oidEncoding != ZynOIDEncoding::NotSet);
    ZynOID oid;
    for (std::size_t i = 0; i < Words; ++i)
        zynkxdr::StoreWord(oid.data() + Place(i, oidEncoding), _words[i]);
    return oid;
}

// The carry hangs on a signed comparison: it comes where the lowest word crosses into the negative
// range, not where it wraps to 0, and for a step down as well.
ZynOID::_OID& ZynOID::_OID::operator+=(short step) {
    const std::uint32_t before = _words[3];
    _words[3] += static_cast<std::uint32_t>(std::int32_t{step});
    if (static_cast<std::int32_t>(_words[3]) < static_cast<std::int32_t>(before) &&
        ++_words[2] == 0)
        ++_words[1];
    return *this;
}

namespace {

// The one place where identifiers draw: from the generator that the process seeds.
std::uint32_t Draw() {
    return static_cast<std::uint32_t>(std::rand());
}

} // namespace

// The words that get 1 more can't be 0, as a draw is not negative.
ZynOID::ZynOID(CreateNRV, ZynOIDEncoding::Type encoding) {
    const std::uint32_t word3 = Draw() + 1;
    const std::uint32_t word2 = Draw();
    const std::uint32_t word1 = Draw();
    const std::uint32_t word0 = Draw() + 1;
    *this = _OID(word0, word1, word2, word3).AsOID(encoding);
}

ZynOID::ZynOID(const ZynBinary& streamed) {
    ZYN_REQUIRE_TEXT(streamed.Length() == sizeof _data, "streamed.Length()==sizeof(_data)");
    std::memcpy(_data, streamed.Data(), sizeof _data);
}

ZynOID& ZynOID::increment(short step, ZynOIDEncoding::Type encoding) {
    _OID counter(*this, encoding);
    counter += step;
    return *this = counter.AsOID(encoding);
}

ZynBinary ZynOID::AsBinary() const {
    return {_data, sizeof _data};
}

ZynString ZynOID::AsHexString() const {
    const ZynBinary digits = AsBinary().AsHexString();
    return {digits.Data(), static_cast<long>(digits.Length())};
}

ZynString ZynOID::AsBase64String() const {
    return ZynString::Base64Encode(AsBinary());
}

ZynOID ZynOID::FromBase64String(const ZynString& string) {
    ZYN_REQUIRE_TEXT(!string.IsNull(), "!(string.IsNull())");
    return {string.Base64Decode()};
}

ZynStream& operator<<(ZynStream& stream, const ZynOID& oid) {
    stream.PutVarOpaque(oid._data, sizeof oid._data);
    return stream;
}

ZynStream& operator>>(ZynStream& stream, ZynOID& oid) {
    ZynOID read;
    const unsigned long actLen = stream.GetVarOpaque(read._data, sizeof read._data);
    ZYN_ASSERT_TEXT(actLen == sizeof read._data, "actLen == sizeof(oid._data)");
    oid = read;
    return stream;
}

// In the stream's own hexadecimal mode, which decides on the case of the digits.
std::ostream& operator<<(std::ostream& os, const ZynOID& oid) {
    const std::ios::fmtflags before = os.flags();
    os << "OID(" << std::hex << std::noshowbase;
    for (const char c : oid._data) {
        const unsigned int byte = static_cast<unsigned char>(c);
        os << (byte < 0x10 ? "0" : "") << byte;
    }
    os.setf(before & std::ios::showbase);
    return os << std::dec << ')';
}
