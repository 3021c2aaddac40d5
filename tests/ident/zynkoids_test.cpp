#include "zynkoids.h"

#include <fstream>
#include <iterator>

#include "contract/failing.h"
#include "zynksdds.h"

namespace {

/// 16 bytes that differ from those of every other `c`, and from letter to letter.
ZynBinary Id(char c) {
    std::string bytes;
    for (char i = 0; i < 16; ++i)
        bytes += static_cast<char>(c + 16 * i);
    return {bytes.data(), bytes.size()};
}

const ZynBIID instance(Id('i'), Id('t'));
const ZynBIID other(Id('j'), Id('u'));
const ZynAIID activity(Id('i'), -2, Id('t'), 0x01020304);

/// A type seen through its handle: one of it, and what its reader and writer make of a text.
struct Type {
    std::string prefix;
    std::string payload;
    ZynString handle;
    std::function<ZynString(const ZynString&)> reread;
};

template <class Value>
Type TypeOf(const Value& value, const std::string& prefix, const std::vector<ZynBinary>& parts) {
    std::string payload;
    for (const ZynBinary& part : parts)
        payload += Bytes(part);
    EXPECT_EQ(Value::FromExternalObjectHandle(value.AsExternalObjectHandle()), value);
    return {prefix, payload, value.AsExternalObjectHandle(), [](const ZynString& handle) {
                return Value::FromExternalObjectHandle(handle).AsExternalObjectHandle();
            }};
}

std::vector<Type> AllTypes() {
    const ZynBinary minusTwo("\xFF\xFF\xFF\xFE", 4);
    const ZynBinary number("\1\2\3\4", 4);
    const ZynBinary a("A", 1);
    return {TypeOf(ZynBTID(Id('t')), "Q", {Id('t')}),
            TypeOf(instance, "P", {Id('i'), Id('t')}),
            TypeOf(ZynWIID(Id('w')), "W", {Id('w')}),
            TypeOf(ZynSessionID(Id('s')), "S", {Id('s')}),
            TypeOf(ZynTLID(Id('1')), "T", {Id('1')}),
            TypeOf(ZynILID(Id('2')), "I", {Id('2')}),
            TypeOf(ZynWLID(Id('3')), "L", {Id('3')}),
            TypeOf(ZynALID(Id('4')), "F", {Id('4')}),
            TypeOf(ZynActImplCorrelID(activity, ZynOID(Id('c'))), "E",
                   {a, Id('i'), minusTwo, Id('t'), number, a, Id('c')}),
            TypeOf(ZynIMID(instance, other), "M", {Id('t'), Id('i'), Id('u'), Id('j')})};
}

ZynString Framed(std::string front, const std::string& payload, const std::string& back) {
    front += payload;
    front += back;
    return ZynString::Base64Encode(ZynBinary(front.data(), front.size()));
}

TEST(Handle, IsTheFramedPayload) {
    for (const Type& type : AllTypes())
        EXPECT_EQ(Bytes(type.handle), Bytes(Framed(type.prefix, type.payload, type.prefix)));
    const ZynBinary frame = activity.AsBinaryObjectHandle();
    EXPECT_EQ(Bytes(frame), AllTypes()[8].payload.substr(0, 42));
    EXPECT_EQ(ZynAIID::FromBinaryObjectHandle(frame), activity);
    EXPECT_EQ(Bytes(ZynBTID().AsExternalObjectHandle()),
              Bytes(Framed("Q", std::string(16, '\0'), "Q")));
    EXPECT_TRUE(ZynBTID::FromExternalObjectHandle(ZynBTID().AsExternalObjectHandle()).IsNull());
}

TEST(Handle, IsRefusedByAllOtherTypes) {
    const std::vector<Type> types = AllTypes();
    for (const Type& type : types)
        for (const Type& reader : types)
            if (type.prefix == reader.prefix)
                EXPECT_EQ(reader.reread(type.handle), type.handle);
            else
                EXPECT_THROW(reader.reread(type.handle), ZynExtExcINVALID_OID) << type.prefix;
}

TEST(Handle, IsRefusedWithADamagedFrame) {
    const ZynString null;
    for (const Type& type : AllTypes()) {
        const std::string& payload = type.payload;
        const std::string& prefix = type.prefix;
        for (const ZynString& handle :
             {null, ZynString(""), ZynString("?"), Framed("", "", ""), Framed(prefix, "", ""),
              Framed("", payload, ""), Framed(prefix, payload, "x"), Framed("x", payload, prefix),
              Framed(prefix, payload.substr(1), prefix), Framed(prefix, payload + "x", prefix)})
            EXPECT_THAT([&] { type.reread(handle); },
                        testing::Throws<ZynExtExcINVALID_OID>(
                            testing::Property(&ZynExtException::ID, 805U)))
                << type.prefix << handle;
        unsigned long refused = 0;
        // One character of the text changed: another frame of this type, or none.
        for (unsigned long i = 0; i < type.handle.Length(); ++i)
            for (const char c : std::string("A/=+z \n\xFF")) {
                std::string changed = Bytes(type.handle);
                changed[i] = c;
                try {
                    EXPECT_EQ(type.reread(changed.c_str()).Base64Decode(),
                              ZynString(changed.c_str()).Base64Decode());
                } catch (const ZynExtExcINVALID_OID&) {
                    ++refused;
                }
            }
        EXPECT_GT(refused, 3 * type.handle.Length());
    }
    // The frame within the frame has an origin of its own.
    const Type correlation = AllTypes()[8];
    std::string inner = correlation.payload;
    inner[41] = 'B';
    EXPECT_THAT([&] { correlation.reread(Framed("E", inner, "E")); },
                testing::Throws<ZynExtExcINVALID_OID>(testing::ResultOf(
                    Printed<ZynExtExcINVALID_OID>,
                    testing::HasSubstr("Function=ZynAIID::FromBinaryObjectHandle"))));
    EXPECT_THAT([&] { ZynWLID::FromExternalObjectHandle("x"); },
                testing::Throws<ZynExtExcINVALID_OID>(testing::ResultOf(
                    Printed<ZynExtExcINVALID_OID>,
                    testing::HasSubstr("Function=ZynWLID::FromExternalObjectHandle"))));
    EXPECT_THROW(ZynAIID::FromBinaryObjectHandle(ZynBinary()), ZynExtExcINVALID_OID);
}

// The page of the formats shows what the library makes.
TEST(Handle, IsDocumented) {
    std::ifstream file(ZYNKERN_DOCS_DIR "/identifiers.md");
    const std::string page(std::istreambuf_iterator<char>(file), {});
    const auto range = [](const char* digits) { return ZynBinary::FromHexString(digits); };
    const ZynBIID biid(range("202122232425262728292A2B2C2D2E2F"),
                       range("101112131415161718191A1B1C1D1E1F"));
    EXPECT_THAT(page, testing::HasSubstr("\n    " + Bytes(biid.AsExternalObjectHandle()) + "\n"));
    const std::pair<const char*, short> steps[] = {{"000102037FFFFFFF08090A0B0C0D0E0F", 1},
                                                   {"000102030000000508090A0B0C0D0E0F", -1}};
    for (const auto& [before, step] : steps) {
        ZynOID oid(range(before));
        oid.increment(step, ZynOIDEncoding::NewEncoding);
        std::string digits = Bytes(oid.AsHexString());
        for (const std::size_t at : {24U, 16U, 8U})
            digits.insert(at, " ");
        EXPECT_THAT(page, testing::HasSubstr("step of " + std::to_string(step) + ":\n    " +
                                             digits + "\n"));
    }
}

TEST(CompositeId, TravelsInItsOrder) {
    const ZynATID templ(Id('t'), 7);
    ZynStream stream(512, ZynStream::Plain);
    stream << ZynWIID(Id('w')) << ZynBTID(Id('b')) << instance << templ << activity;
    stream.Close();
    std::string expected;
    for (const char c : std::string("wbtit7t#i-")) {
        const ZynBinary word = c == '7'   ? ZynBinary("\0\0\0\7", 4)
                               : c == '#' ? ZynBinary("\1\2\3\4", 4)
                               : c == '-' ? ZynBinary("\xFF\xFF\xFF\xFE", 4)
                                          : ZynBinary("\0\0\0\x10", 4) | Id(c);
        expected += Bytes(word);
    }
    const std::string bytes(stream.PreWrite(), stream.Length());
    ASSERT_GT(bytes.size(), expected.size());
    EXPECT_EQ(bytes.substr(bytes.size() - expected.size()), expected);

    ZynWIID w;
    ZynBTID b;
    ZynBIID i;
    ZynATID t;
    ZynAIID a;
    stream.PositionToStart();
    stream >> w >> b >> i >> t >> a;
    EXPECT_TRUE(w == ZynWIID(Id('w')) && b == ZynBTID(Id('b')) && i == instance && t == templ);
    EXPECT_EQ(a, activity);
    EXPECT_TRUE(a.FlatTID() == Id('t') && a.FlatIID() == Id('i'));
    EXPECT_EQ(a.TActNum() + a.IActNum(), 0x01020302);
}

TEST(CompositeId, IsPrintedInItsOrder) {
    const std::string zero = "OID(" + std::string(32, '0') + ")";
    const auto oid = [](char c) { return Printed(ZynOID(Id(c))); };
    std::ostringstream os;
    os << std::hex << ZynBIID() << ' ' << ZynATID(ZynOID().AsBinary(), -12);
    EXPECT_EQ(os.str(), zero + ',' + zero + ' ' + zero + ",-12");
    EXPECT_EQ(Printed(ZynWIID(Id('w'))) + Printed(ZynBTID(Id('b'))), oid('w') + oid('b'));
    EXPECT_EQ(Printed(instance), oid('t') + "," + oid('i'));
    EXPECT_EQ(Printed(activity), oid('t') + ",16909060," + oid('i') + ",-2");
}

TEST(CompositeId, IsNullByItsOwnIdentifier) {
    ZynAIID a(activity);
    a.SetNull();
    EXPECT_TRUE(a.IsNull() && !activity.IsNull() && a.FlatTID() == Id('t'));
    EXPECT_TRUE(a.TActNum() == 0x01020304 && a.IActNum() == -2);
    ZynBIID i(instance);
    i.SetNull();
    EXPECT_TRUE(i.IsNull() && !instance.IsNull() && i.FlatTID() == Id('t'));
    ZynWIID w(Id('w'));
    ZynBTID b(Id('b'));
    EXPECT_FALSE(w.IsNull() || b.IsNull());
    w.SetNull();
    b.SetNull();
    EXPECT_TRUE(w.IsNull() && b.IsNull());
    EXPECT_TRUE(ZynATID(ZynOID().AsBinary(), 5).IsNull() && ZynATID().ParentID().IsNull());
    EXPECT_TRUE(ZynWIID().IsNull() && ZynAIID().IsNull() && ZynBIID().FlatIOID().IsNull());

    const ZynBinary none = ZynOID().AsBinary();
    Fails(
        "_oid.IsNull() || ! _btid.IsNull()",
        {[&] { ZynBIID(Id('i'), none).IsNull(); }, [&] { ZynAIID(Id('i'), 1, none, 1).IsNull(); }},
        "Assertion");
    Fails("value >= LONG_MIN && value <= ULONG_MAX",
          {[&] { ZynATID(none, 1L << 40); }, [&] { ZynAIID(none, 1L << 40, none, 1); }});
    EXPECT_EQ(ZynATID(none, 0xFFFFFFFF).TActNum(), -1);
}

TEST(CompositeId, GivesItsPartsBack) {
    EXPECT_TRUE(ZynWIID(Id('a')).AsBinary() == Id('a') && ZynTLID(Id('b')).AsBinary() == Id('b'));
    const ZynActImplCorrelID correlation(activity, ZynOID(Id('c')));
    EXPECT_TRUE(correlation.AIID() == activity && correlation.Cookie() == ZynOID(Id('c')));
    const ZynIMID pair(instance, other);
    EXPECT_TRUE(pair.First() == instance && pair.Second() == other && !(instance == other));
}

TEST(CompositeId, StepsAllOfItsIdentifiers) {
    for (const auto encoding : {ZynOIDEncoding::OldEncoding, ZynOIDEncoding::NewEncoding}) {
        ZynOID t(Id('t'));
        ZynOID i(Id('i'));
        const ZynBIID expected(i.increment(-3, encoding), ZynBTID(t.increment(-3, encoding)));
        EXPECT_EQ(ZynBIID(instance).increment(-3, encoding), expected);
    }
}

} // namespace
