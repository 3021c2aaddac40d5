#include "zynkoid.h"

#include <cstdint>
#include <cstdlib>
#include <random>

#include "contract/failing.h"
#include "zynksdds.h"

namespace {

using Encoding = ZynOIDEncoding::Type;
constexpr Encoding Old = ZynOIDEncoding::OldEncoding;
constexpr Encoding New = ZynOIDEncoding::NewEncoding;

ZynOID FromHex(const std::string& digits) {
    return {ZynBinary::FromHexString(digits.c_str())};
}

std::string Hex(const ZynOID& oid) {
    return Bytes(oid.AsHexString());
}

/// The counter as numbers beyond 32 bits, laid out byte by byte.
std::string SteppedHex(const std::string& hex, int step, Encoding encoding) {
    const std::size_t at[3] = {encoding == Old ? 0U : 8U, encoding == Old ? 8U : 16U,
                               encoding == Old ? 16U : 24U};
    std::int64_t words[3];
    for (int i = 0; i < 3; ++i)
        words[i] = std::stoll(hex.substr(at[i], 8), nullptr, 16);
    const auto asSigned = [](std::int64_t word) {
        return word < 0x80000000 ? word : word - 0x100000000;
    };
    const std::int64_t sum = (words[0] + step) & 0xFFFFFFFF;
    const bool carries = asSigned(sum) < asSigned(words[0]);
    words[0] = sum;
    words[1] = (words[1] + (carries ? 1 : 0)) & 0xFFFFFFFF;
    words[2] = (words[2] + (carries && words[1] == 0 ? 1 : 0)) & 0xFFFFFFFF;
    std::string stepped = hex;
    for (int i = 0; i < 3; ++i) {
        char digits[17];
        std::snprintf(digits, sizeof digits, "%08llX", static_cast<unsigned long long>(words[i]));
        stepped.replace(at[i], 8, digits);
    }
    return stepped;
}

TEST(Oid, StepsAsItsCounter) {
    std::mt19937 random(7);
    const char* const words[] = {"00000000", "00000001", "00000005", "7FFFFFFF",
                                 "80000000", "FFFFFFFF", "FFFF8000", "12345678"};
    const short steps[] = {0, 1, -1, 2, -5, -6, 32767, -32768};
    for (int round = 0; round < 4000 && !HasFailure(); ++round) {
        std::string hex;
        for (int i = 0; i < 4; ++i)
            hex += words[random() % std::size(words)];
        const Encoding encoding = random() % 2 == 0 ? Old : New;
        const short step = steps[random() % std::size(steps)];
        ZynOID oid = FromHex(hex);
        EXPECT_EQ(&oid.increment(step, encoding), &oid);
        EXPECT_EQ(Hex(oid), SteppedHex(hex, step, encoding)) << hex << ' ' << step << encoding;
    }
}

TEST(Oid, CarriesWhereTheSignChanges) {
    const std::tuple<const char*, short, Encoding, const char*> rows[] = {
        {"7FFFFFFF000000020000000300000004", 1, Old, "80000000000000030000000300000004"},
        {"FFFFFFFF000000020000000300000004", 1, Old, "00000000000000020000000300000004"},
        {"7FFFFFFFFFFFFFFF0000000300000004", 1, Old, "80000000000000000000000400000004"},
        {"7FFFFFFFFFFFFFFFFFFFFFFF00000004", 1, Old, "80000000000000000000000000000004"},
        {"00000001000000050000000200000003", -1, New, "00000001000000040000000300000003"},
        {"000000017FFFFFFFFFFFFFFF00000003", 1, New, "00000001800000000000000000000004"},
        {"00000001800000000000000200000003", -1, New, "000000017FFFFFFF0000000200000003"},
        {"00000001000000000000000200000003", -1, New, "00000001FFFFFFFF0000000300000003"}};
    for (const auto& [before, step, encoding, after] : rows)
        EXPECT_EQ(Hex(FromHex(before).increment(step, encoding)), after);
    Fails("oidEncoding != ZynOIDEncoding::NotSet",
          {[] { ZynOID().increment(1, ZynOIDEncoding::NotSet); },
           [] { ZynOID(ZynOID::CreateNRV(), ZynOIDEncoding::NotSet); }});
}

TEST(Oid, IsDrawnInTheOrderOfItsWords) {
    for (const Encoding encoding : {Old, New}) {
        std::srand(5);
        const unsigned int draws[] = {
            static_cast<unsigned int>(std::rand()), static_cast<unsigned int>(std::rand()),
            static_cast<unsigned int>(std::rand()), static_cast<unsigned int>(std::rand())};
        char hex[33];
        if (encoding == Old)
            std::snprintf(hex, sizeof hex, "%08X%08X%08X%08X", draws[0] + 1, draws[1], draws[2],
                          draws[3] + 1);
        else
            std::snprintf(hex, sizeof hex, "%08X%08X%08X%08X", draws[3] + 1, draws[0] + 1, draws[1],
                          draws[2]);
        std::srand(5);
        EXPECT_EQ(Hex(ZynOID(ZynOID::Create, encoding)), hex);
    }
}

TEST(Oid, HasItsBytesInEachForm) {
    const ZynOID oid = FromHex("00010203040506070809fafbFCFDFEFF");
    EXPECT_EQ(Hex(oid), "00010203040506070809FAFBFCFDFEFF");
    EXPECT_EQ(Bytes(oid.AsBase64String()), "AAECAwQFBgcICfr7/P3+/w==");
    EXPECT_EQ(ZynOID::FromBase64String(oid.AsBase64String()), oid);
    EXPECT_EQ(Bytes(ZynOID().AsBase64String()), std::string(22, 'A') + "==");
    std::ostringstream os;
    os << std::showbase << oid << 10 << std::uppercase << oid;
    EXPECT_EQ(os.str(), "OID(00010203040506070809fafbfcfdfeff)10"
                        "OID(00010203040506070809FAFBFCFDFEFF)");
    ZynOID other(oid);
    other.SetNull();
    EXPECT_TRUE(other.IsNull() && !oid.IsNull() && !(other == oid));
    static_assert(sizeof(ZynOID) == 16 && std::is_trivially_copyable_v<ZynOID>);

    const ZynString null;
    Fails("streamed.Length()==sizeof(_data)",
          {[] { ZynOID{ZynBinary()}; }, [] { ZynOID::FromBase64String(""); },
           [] { ZynOID::FromBase64String("AAECAwQFBgcICfr7/P3+"); }});
    Fails("!(string.IsNull())", {[&] { ZynOID::FromBase64String(null); }});
}

TEST(Oid, TravelsAsOneOpaqueValue) {
    const ZynOID oid = FromHex("00010203040506070809FAFBFCFDFEFF");
    ZynStream stream(64, ZynStream::Plain);
    stream << oid << ZynString("0123456789abcde") << ZynBinary("0123456789abcdefg", 17);
    stream.Close();
    const std::string bytes(stream.PreWrite(), stream.Length());
    EXPECT_EQ(bytes.substr(bytes.size() - 64, 20),
              std::string("\0\0\0\x10", 4) + Bytes(oid.AsBinary()));
    ZynOID read;
    stream.PositionToStart();
    stream >> read;
    EXPECT_EQ(read, oid);
    // Too short and too long.
    ZynString text;
    Fails("actLen == sizeof(oid._data)", {[&] { stream >> read; }}, "Assertion");
    stream.PositionToStart();
    stream >> read >> text;
    Fails("actLen == sizeof(oid._data)", {[&] { stream >> read; }}, "Assertion");
    EXPECT_EQ(read, oid);
}

} // namespace
