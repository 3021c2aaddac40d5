#include "contract/failing.h"

#include <random>

#include "zynkspac.h"

namespace {

const char* const noText = nullptr;
const ZynString null;
const ZynString empty("");
const ZynString abc("abc");

TEST(String, FailsTheStatedChecks) {
    ZynString n;
    ZynString t("abc");
    const ZynString sharing(t);
    Fails("startpos > 0", {[] { ZynString("abc", -1, 0); }});
    Fails("!IsNull()",
          {[&] { n.SubstituteByte(t, t); }, [&] { n.Substitute(t, t); }, [&] { n.StripChar("a"); },
           [&] { n.SubString(1, 1); }, [&] { n.Length(); }, [&] { n.AsLong(); }, [&] { n.C_str(); },
           [&] { n.Truncate(0); }, [&] { n.PostRead(0); }, [&] { n.AsBinary(); }, [&] { n |= 'a'; },
           [&] { n.AsLowerCase(); }, [&] { n.AsUpperCase(); }, [&] { n.ToLowerCase(); },
           [&] { n.LengthChar(); }, [&] { n.AsDouble(); }});
    Fails("! IsNull()", {[&] { n.AsUlong(); }});
    Fails("!r.IsNull() && psz != 0", {[&] { return n == "a"; }, [] { return abc != noText; }});
    Fails("!IsNull() && !rhs.IsNull()",
          {[&] { t |= n; }, [&] { t.Substitute(t, n); }, [&] { t.SubstituteByte(t, n); }});
    Fails("!IsNull() && psz != 0", {[&] { n |= "a"; }, [&] { t |= noText; }});
    Fails("!lhs.IsNull() && !rhs.IsNull()", {[&] { n | abc; }, [&] { abc | n; }});
    Fails("!lhs.IsNull() && psz != 0", {[&] { n | "a"; }, [] { abc | noText; }});
    Fails("!IsNull() && !substr.IsNull() && ulStart > 0",
          {[&] { n.Position(t); }, [&] { t.Substitute(n, t); }, [&] { t.SubstituteByte(n, t); },
           [&] { t.Position(n); }, [&] { t.Position(t, 0); }, [&] { t.LastPosition(n); }});
    Fails("!IsNull() && !substr.IsNull()", {[&] { t.LengthFromLastPosition(n); }});
    Fails("s != 0", {[&] { t.StripChar(noText); }, [] { ZynString::ToWChar(noText); }});
    Fails("stripStr.LengthByte() > 0", {[&] { t.StripChar(""); }});
    Fails("_pRep!=0", {[&] { n.PreRead(); }});
    Fails("_pRep->_refCount == 1", {[&] { t.PreRead(); }});
    Fails("length<=allocLength", {[] { ZynBinary::Rep::Allocate(1, 2); }});
    Fails("n <= 128", {[] { spaces(129); }});
}

TEST(String, KeepsNullAndEmptyApart) {
    EXPECT_TRUE(null < empty && !(empty < null) && !(null < null) && null != empty);
    EXPECT_TRUE(null.IsNull() && ZynString(noText).IsNull() && !empty.AsBinary().IsNull());
    EXPECT_TRUE(empty == ZynString("abc", 0) && empty == "" && abc == "abc" && abc != "ab");
    EXPECT_EQ(Printed(null) + "," + Printed(empty) + "," + Printed(abc), "<null>,,abc");
    EXPECT_EQ(Bytes(abc | empty | "") + Bytes(empty | abc) + Bytes(empty | "x"), "abcabcx");
    ZynString s;
    s.StripShiftInShiftOut();
    s.Reserve(5);
    s.StripChar("");
    EXPECT_EQ(s.Substitute(abc, abc) + s.SubstituteByte(abc, abc), 0U);
    EXPECT_EQ(Bytes(s.ToLowerCase().ToUpperCase() | s.SubString(1, 1) | s.Truncate(1)), "");
}

TEST(String, IsMadeOfPartsOfATextOrWithTheExactRoom) {
    const std::tuple<long, unsigned long, const char*> rows[] = {
        {-1, 1, "abcdef"}, {3, 2, "bcd"}, {-1, 7, ""}, {100, 3, "cdef"}, {0, 1, ""}, {-2, 1, ""}};
    for (const auto& [length, startpos, expected] : rows)
        EXPECT_EQ(Bytes(ZynString("abcdef", length, startpos)), expected);
    const char open[] = {'x', 'y', 'z'}; // no NUL behind it
    EXPECT_EQ(Bytes(ZynString(open, 2, 2)), "yz");
    EXPECT_EQ(Bytes(abc.SubString(0, 2) | abc.SubString(2, ~0UL)), "abbc");
    ZynString made(CreateEmpty, 4);
    made.PostRead(4);
    ZynString reserved("ab");
    reserved.Reserve(4);
    reserved.PostRead(4);
    EXPECT_EQ(Bytes(made).size() + Bytes(reserved).size(), 8U);
    Fails(invariant, {[&] { made.PostRead(5); }, [&] { reserved.PostRead(~0UL); }}, "Invariant");
    EXPECT_THROW(ZynString(CreateEmpty, ~0UL), std::bad_alloc);
    EXPECT_THROW(made.Assign("", ~0UL), std::bad_alloc);
}

// The most bytes that it can be filled with.
unsigned long RoomOf(ZynString& s) {
    for (unsigned long n = s.Length();; ++n)
        try {
            s.PostRead(n + 1);
        } catch (const ZynAssertionException&) {
            return n;
        }
}

TEST(String, GrowsToTheExactRoom) {
    const std::tuple<unsigned long, const char*, std::function<void(ZynString&)>> rows[] = {
        {7, "its text", [](auto&) {}},
        {9, "assigned", [](auto& s) { s = "12345678"; }},
        {3, "assigned less", [](auto& s) { s.Assign("12", 2); }},
        {7, "reserved within", [](auto& s) { s.Reserve(6); }},
        {7, "reserved", [](auto& s) { s.Reserve(7); }},
        {200, "reserved much", [](auto& s) { s.Reserve(200); }},
        {200, "reserved, then less", [](auto& s) { s.Reserve(200), s.Reserve(8); }},
        {9, "a text behind", [](auto& s) { s |= "123"; }},
        {7, "a byte behind", [](auto& s) { s |= '1'; }},
        {200, "texts into the room",
         [](auto& s) { s.Reserve(200), s |= "1", s |= ZynString("2"); }},
        {201, "one byte more",
         [](auto& s) { s.Reserve(200), s |= ZynString(std::string(195, 'x').c_str()); }},
        {70, "byte by byte",
         [](auto& s) {
             while (s.Length() < 70)
                 s |= 'x';
         }},
        {12, "joined", [](auto& s) { s = s | s; }},
        {8, "joined with a text", [](auto& s) { s = s | "12"; }},
        {199, "a shared one's",
         [](auto& s) {
             s.Reserve(200);
             const ZynString copy(s);
             s |= "1";
         }},
        {199, "a shared one",
         [](auto& s) {
             s.Reserve(200);
             const ZynString copy(s);
             s.Reserve(2);
         }},
        {9, "a null one", [](auto& s) { s.SetNull(), s.Reserve(9); }}};
    for (const auto& [room, name, change] : rows) {
        ZynString s("123456");
        change(s);
        EXPECT_EQ(RoomOf(s), room) << name;
    }
}

// Each change is tried on a text that a copy shares, on one of its own, and on one with room.
TEST(String, ChangesNoCopy) {
    const std::pair<const char*, std::function<void(ZynString&)>> changes[] = {
        {"bb.b", [](auto& s) { s = s.ToLowerCase().C_str() + 2; }},
        {"a.Bb.Babc-x", [](auto& s) { ((s |= abc) |= '-') |= "x"; }},
        {"a.Bb.Bb.B", [](auto& s) { s |= s.C_str() + 3; }},
        {"a.a.Bb.B.B", [](auto& s) { s.SubstituteByte("Bb", s); }},
        {"A.BB.B", [](auto& s) { s.ToUpperCase(); }},
        {".Bb.B", [](auto& s) { s.StripChar("a"); }},
        {"a.", [](auto& s) { s.PostRead(2); }},
        {"x.Bb.B", [](auto& s) { s.Reserve(1), *s.PreRead() = 'x'; }},
        {"(null)", [](auto& s) { s.SetNull(); }}};
    for (const auto& [expected, change] : changes) {
        const ZynString original("a.Bb.B");
        ZynString copy(original);
        ZynString own("a.Bb.B");
        ZynString roomy(original);
        roomy.Reserve(100);
        for (ZynString* s : {&copy, &own, &roomy}) {
            change(*s);
            EXPECT_EQ(Bytes(*s), expected);
        }
        EXPECT_EQ(Bytes(original), "a.Bb.B") << expected;
    }
}

// Texts of all lengths around the steps that blocks come in, some with copies, each beside one of
// the standard library.
TEST(String, GrowsAndIsAssignedInItsBlock) {
    std::mt19937 random(20013);
    ZynString strings[4] = {"", "a", "bc", "def"};
    std::string models[4] = {"", "a", "bc", "def"};
    for (int round = 0; round < 20000 && !HasFailure(); ++round) {
        const unsigned long i = random() % 4;
        const unsigned long j = random() % 4;
        ZynString& s = strings[i];
        std::string& model = models[i];
        const std::string text(random() % 90, static_cast<char>('a' + random() % 26));
        const unsigned long from = random() % (model.size() + 1);
        switch (model.size() > 300 ? 0 : random() % 8) {
        case 0:
            s.Assign(text.c_str(), text.size()), model = text;
            break;
        case 1:
            s.Assign(s.C_str() + from, model.size() - from), model.erase(0, from);
            break;
        case 2:
            s |= strings[j], model += models[j];
            break;
        case 3:
            s |= s.C_str() + from, model += model.substr(from);
            break;
        case 4:
            s = (strings[j] | text.c_str()) | s | "-", model.insert(0, models[j] + text) += '-';
            break;
        case 5:
            s.Reserve(model.size() + from), s.PreRead();
            break;
        case 6:
            s = strings[j], model = models[j];
            break;
        default:
            s.Reserve(0), s.PostRead(from), model.resize(from);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            EXPECT_EQ(Bytes(strings[k]), models[k]) << round;
            EXPECT_EQ(strings[k] == strings[j], models[k] == models[j]) << round;
        }
    }
    ZynBinary binary;
    for (const std::string bytes : {"", "ab", "a longer one", "c"}) {
        EXPECT_EQ(Bytes(binary.Assign(bytes.data(), bytes.size())), bytes);
        Fails(invariant, {[&] { binary.PostRead(bytes.size() + 1); }}, "Invariant");
    }
    const char* const block = binary.Data();
    EXPECT_EQ(binary.Assign("defg", 4).Data(), block);
    const ZynBinary copy(binary);
    EXPECT_EQ(Bytes(binary.Assign("hi", 2)) + Bytes(copy), "hidefg");
}

TEST(String, ReadsNumbersOf32BitsAndWritesThemInAWidth) {
    const auto read = Rows<std::string, long, unsigned long>(
        "42x 42 42  +7 7 7  x1 0 0  - 0 0  +-1 0 0  0x10 0 0  -1 -1 4294967295 "
        "2147483647 2147483647 2147483647  2147483648 2147483647 2147483648 "
        "4294967296 2147483647 4294967295  -2147483648 -2147483648 2147483648 "
        "-2147483649 -2147483648 2147483647  -99999999999999999999 -2147483648 4294967295");
    for (const auto& [text, number, positive] : read) {
        EXPECT_EQ(ZynString(text.c_str()).AsLong(), number) << text;
        EXPECT_EQ(ZynString((" \t\n" + text).c_str()).AsUlong(), positive) << text;
    }
    const auto written = Rows<long, unsigned long, std::string>(
        "0 0 0  -5 0 -5  -5 5 -0005  7 3 007  -5 3 -05  -5 2 -5  -5 1 -  0 4 0000  100 3 100 "
        "12345 3 123  -12345 3 -12  10 12 000000000010  -2147483648 12 -02147483648");
    for (const auto& [value, width, text] : written)
        EXPECT_EQ(Bytes(ZynString::FromLong(value, width)), text);
    EXPECT_EQ(Bytes(ZynString::FromUlong(4294967295, 12)), "004294967295");
    EXPECT_EQ(std::string(spaces(0)) + spaces(3) + spaces(128), std::string(131, ' '));
}

// In all locales, also those with a decimal comma.
TEST(String, HasAPointInNumbers) {
    const auto read = Rows<std::string, double>("1.5 1.5  -0.25e1x -2.5  1.5.5 1.5  12 12  . 0");
    for (const auto& [text, number] : read) {
        const ZynString s(text.c_str());
        EXPECT_EQ(s.AsDouble(), number) << text;
        EXPECT_EQ(Bytes(s), text);
    }
    const auto written = Rows<double, std::string>(
        "0 0.  -1.5 -1.5  100 100.  0.1 0.1  1234567.25 1234567.25  1e15 1000000000000000. "
        "0.66666666666666666 0.6666666666666666  1e16 1.e+016  -0.0525 -5.25e-002");
    for (const auto& [number, text] : written)
        EXPECT_EQ(Bytes(ZynString::FromDouble(number, 3)), text);
}

} // namespace
