#include "contract/failing.h"

#include <cstring>

namespace {

ZynBinary Binary(const std::string& bytes) {
    return {bytes.data(), bytes.size()};
}

const ZynBinary null;
const ZynBinary empty("", 0);

TEST(Binary, FailsTheStatedChecks) {
    ZynBinary n;
    ZynBinary ab = Binary("ab");
    Fails(invariant, {[&] { ab.PostRead(3); }, [&] { ab.PostRead(~0UL); }}, "Invariant");
    const ZynBinary sharing(ab);
    Fails("!IsNull()", {[] { null.Data(); }, [&] { n[0]; }, [&] { n.Mark('x'); },
                        [&] { n.Unmark('x'); }, [&] { n.ToMD5(); }, [&] { n.AsHexString(); }});
    Fails("_pRep != 0", {[&] { n.Data(); }});
    Fails("_pRep!=0", {[&] { n.PreRead(); }, [&] { n.PostRead(0); }});
    Fails("_pRep->_refCount == 1", {[&] { ab.PreRead(); }}, "Assertion");
    Fails("_pRep->_len <= SHRT_MAX", {[] { ZynBinary(CreateEmpty, 32768).PreTB4VarCharWrite(); }},
          "Assertion");
    Fails("index<Length()", {[&] { ab[2]; }, [] { Binary("")[0]; }});
    Fails("!IsNull() && startPos > 0", {[&] { n.SubBinary(1, 1); }, [&] { ab.SubBinary(0, 1); }});
    Fails("!IsNull() && !rhs.IsNull()",
          {[&] { return n == ab; }, [&] { return ab < n; }, [&] { n |= ab; }, [&] { ab |= n; }});
    Fails("!lhs.IsNull() && !rhs.IsNull()", {[&] { n | ab; }, [&] { ab | n; }});
    Fails("data != 0 || n == 0", {[] { ZynBinary(nullptr, 1); }});
    Fails("pchar != 0", {[] { ZynBinary::FromHexString(nullptr); }});
    Fails("len % 2 == 0", {[] { ZynBinary::FromHexString("abc"); }}, "Assertion");
    Fails("isxdigit( pchar[2*i])", {[] { ZynBinary::FromHexString("00g0"); }}, "Assertion");
    Fails("isxdigit( pchar[2*i+1])", {[] { ZynBinary::FromHexString("0\xB2"); }}, "Assertion");
    EXPECT_EQ(Bytes(ab) + Bytes(n), "ab(null)");
}

TEST(Binary, KeepsNullAndEmptyApartJoinsAndCompares) {
    const ZynBinary ab = Binary("ab");
    EXPECT_TRUE(null.IsNull() && !empty.IsNull() && empty.SubBinary(1, 1).IsNull());
    EXPECT_EQ(null.Length() + empty.Length() + ZynBinary(CreateEmpty, 3).Length(), 3U);
    EXPECT_EQ(Printed(null) + "," + Printed(empty) + "," + Printed(ab), "<null>,,6162");
    EXPECT_EQ(Bytes(empty | ab) + Bytes(ab | empty) + Bytes(ab | ab), "abababab");
    const auto hex = ZynBinary::FromHexString;
    EXPECT_TRUE(empty < hex("00") && hex("00") < hex("0000") && hex("0001") < hex("0002") &&
                hex("7FFF") < hex("80") && hex("7F80") == hex("7f80"));
    EXPECT_FALSE(hex("00") < empty || hex("80") < hex("7FFF") || hex("7F") < hex("7F") ||
                 hex("00") == hex("0000") || hex("0001") == hex("0002"));
}

TEST(Binary, IsCutAndMarked) {
    const std::tuple<unsigned long, unsigned long, const char*> cuts[] = {
        {1, 2, "ab"}, {3, 1, "c"}, {2, ~0UL, "bc"}, {4, 5, "(null)"}, {1, 0, "(null)"}};
    for (const auto& [startPos, length, expected] : cuts)
        EXPECT_EQ(Bytes(Binary("abc").SubBinary(startPos, length)), expected);
    for (const std::string bytes : {"", "x", "xa", "ax"}) {
        ZynBinary marked = Binary(bytes);
        marked.Unmark('x');
        marked.Mark('x');
        EXPECT_EQ(Bytes(marked), "x" + bytes + "x");
        marked.Unmark('x');
        EXPECT_EQ(Bytes(marked), bytes);
    }
}

TEST(Binary, ChangesNoCopy) {
    const std::function<void(ZynBinary&)> changes[] = {
        [](auto& b) { b[1] = 'y'; },    [](auto& b) { b.Data()[0] = 'y'; },
        [](auto& b) { b |= *&b; },      [](auto& b) { b.Mark('y'); },
        [](auto& b) { b.Unmark('x'); }, [](auto& b) { b.PostRead(1); }};
    for (const auto& change : changes) {
        const ZynBinary original = Binary("xax");
        ZynBinary copy(original);
        change(copy);
        EXPECT_NE(Bytes(copy), "xax");
        EXPECT_EQ(Bytes(original), "xax");
    }
}

TEST(Binary, HasAHexadecimalForm) {
    const std::string bytes = "\x01\x23\x45\x67\x89\xAB\xCD\xEF";
    const ZynBinary hex = Binary(bytes).AsHexString();
    ZynBinary own(hex);
    EXPECT_STREQ(own.Data(), "0123456789ABCDEF"); // ended also where it is no longer shared
    EXPECT_EQ(Bytes(ZynBinary::FromHexString("0123456789abcDEF")), bytes);
}

/// `fresh` is what a field tells before a read: the room, or what was in it.
template <auto preRead, auto postRead, auto preWrite>
void ExpectRecord(unsigned int width, int fresh) {
    Fails("_pRep!=0", {[] { (ZynBinary().*preRead)(); }, [] { (ZynBinary().*preWrite)(); }});
    ZynBinary value(CreateEmpty, 9);
    auto* const record = (value.*preRead)();
    EXPECT_EQ(reinterpret_cast<char*>(record) + width, value.Data());
    std::memcpy(value.Data(), "12345", 5);
    record->length = 5;
    (value.*postRead)();
    EXPECT_EQ(static_cast<int>((value.*preRead)()->length), fresh);
    record->length = static_cast<decltype(record->length)>(-1);
    Fails(invariant, {[&] { (value.*postRead)(); }}, "Invariant");
    const ZynBinary sharing(value);
    Fails("_pRep->_refCount == 1", {[&] { (value.*preRead)(); }, [&] { (value.*postRead)(); }});
    EXPECT_EQ((sharing.*preWrite)(), record);
    EXPECT_EQ(static_cast<int>(record->length), 5);
    EXPECT_EQ(Bytes(value), "12345");
}

TEST(Binary, IsAFieldOfADatabase) {
    using B = ZynBinary;
    ExpectRecord<&B::PreTB4VarCharRead, &B::PostTB4VarCharRead, &B::PreTB4VarCharWrite>(2, 9);
    ExpectRecord<&B::PreTB4LOBRead, &B::PostTB4LOBRead, &B::PreTB4LOBWrite>(4, 5);
    ExpectRecord<&B::PreODBCVarCharRead, &B::PostODBCVarCharRead, &B::PreODBCVarCharWrite>(4, 5);

    struct Field : B {
        using B::B;
        using B::StringBuffer;
    };
    Field field("ab", 2);
    EXPECT_EQ(static_cast<void*>(field.StringBuffer()), field.PreODBCVarCharWrite());
    const Field copy = field;
    EXPECT_EQ(copy.StringBuffer()->data, copy.Data());
    Fails("_pRep->_refCount == 1", {[&] { field.StringBuffer(); }});
    Fails("_pRep != 0", {[] { Field().StringBuffer(); }});
}

TEST(Binary, HasThePublishedDigestsAlsoByPieces) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    const std::string digits = "12345678901234567890";
    const std::pair<std::string, const char*> rows[] = {
        {"", "D41D8CD98F00B204E9800998ECF8427E"},
        {"a", "0CC175B9C0F1B6A831C399E269772661"},
        {"abc", "900150983CD24FB0D6963F7D28E17F72"},
        {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
        {letters, "C3FCD3D76192E4007DFB496CCA67E13B"},
        {letters + letters + "0123", "CFFD031EE047CFB01E1E691C468EDF75"}, // takes two blocks
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZ" + letters + "0123456789", "D174AB98D277D9F5A5611C2C9F419D9F"},
        {digits + digits + digits + "1234", "EB6C4179C0A7C82CC2828C1E6338E165"}, // fills its block
        {digits + digits + digits + digits, "57EDF4A22BE3C955AC49DA2E2107B67A"}};
    for (const auto& [text, digest] : rows) {
        EXPECT_EQ(Printed(Binary(text).ToMD5()), digest) << text;
        ZynBinary::MD5 pieces;
        for (const char& byte : text)
            pieces.Update(reinterpret_cast<const unsigned char*>(&byte), 1);
        EXPECT_EQ(Printed(pieces.Final()), digest) << text;
    }
}

} // namespace
