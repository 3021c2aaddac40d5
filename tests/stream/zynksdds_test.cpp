// The core of streams: the bytes of values and headers, copies, and what they are made of.
#include <climits>
#include <fstream>

#include "stream/stream_script.h"

namespace {

TEST(ZynStream, WritesTheWorkedExamplesOfTheDocumentation) {
    ZynStream first(256, ZynStream::Plain, 1252);
    ZynStream second(256, ZynStream::Plain, 1252);
    first.StartParmEnc(5) << 7L;
    second.StartParmEnc(1).StartParmEnc(2) << ZynString("ab");
    first.EndParmEnc();
    second.EndParmEnc().EndParmEnc().StartParmEnc(3).EndParmEnc();
    EXPECT_EQ(Sent(first), FromHex("00000000 5A4E4944" // ignored on reading; "ZNID"
                                   "03050000 00000020" // version, release, level; length 32
                                   "000004E4"          // code page 1252
                                   "00000005 0000000C" // parameter 5: 12 bytes
                                   "00000007"));       // the number 7
    EXPECT_EQ(Sent(second), FromHex("00000000 5A4E4944 03050000 00000034 000004E4"
                                    "00000001 00000018"    // parameter 1: 24 bytes
                                    "00000002 00000010"    // in it parameter 2: 16 bytes
                                    "00000002 61620000"    // "ab" and its padding
                                    "00000003 00000008")); // parameter 3, empty

    // The page shows them in blocks of hexadecimal digits; "|" begins a remark.
    std::ifstream page(ZYNKERN_DOCS_DIR "/stream-format.md");
    std::vector<std::string> shown;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("```") && (inside = line == "```hex"))
            shown.emplace_back();
        else if (inside)
            shown.back() += FromHex(line.substr(0, line.find('|')));
    }
    EXPECT_THAT(shown, testing::ElementsAre(Sent(first), Sent(second)));
}

TEST(ZynStream, ValuesAreBigEndianAndPadded) {
    const std::pair<std::string, const char*> cases[] = {
        {"long7", "00000007"},           {"long2147483648", "80000000"},
        {"int4294967294", "FFFFFFFE"},   {"ulong4294967295", "FFFFFFFF"},
        {"short1252", "000004E4"},       {"short65535", "0000FFFF"},
        {"bool1", "00000001"},           {"bool0", "00000000"},
        {"float3", "BFC00000"},          {"double2", "3FF0000000000000"},
        {"binary4", "0000000405050505"}, {"string5", "000000050606060606000000"},
        {"binary0", "00000000"},         {"string0", "00000000"},
        {"fixed6", "0707070707070000"},  {"fixed0", ""},
    };
    for (const auto& [word, hex] : cases) {
        const std::string bytes = Whole(FromHex(hex));
        const ZynStream stream(8, ZynStream::Plain, 1252);
        Play(stream, word);
        EXPECT_EQ(Sent(stream), bytes) << word;
        EXPECT_EQ(Play(bytes, '=' + word), std::to_string(bytes.size()) + " eof") << word;
    }
    // The low half of a word; any word but 0; a text up to its NUL, yet all its bytes are passed.
    EXPECT_EQ(Play(Whole(FromHex("ABCD04E4 80000000 80000000 00000003 02006200"),
                         ZynConverter::GetCurrentOSCodePage()),
                   "=short1252 =bool1 =ulong2147483648 =string1"),
              "40 eof");
    ZynStream out(8, ZynStream::Plain, 1252);
    out << 4294967295L << -2147483648L;
    const char* const tooLarge = "Pre-condition: value >= LONG_MIN && value <= ULONG_MAX";
    EXPECT_EQ(Failure([&] { out << -2147483649L; }), tooLarge);
    EXPECT_EQ(Failure([&] { out << 4294967296L; }), tooLarge);
    EXPECT_EQ(Failure([&] { out << ULONG_MAX; }), "Pre-condition: value <= ULONG_MAX");
    EXPECT_EQ(Sent(out), Whole(FromHex("FFFFFFFF 80000000")));
}

TEST(ZynStream, OpaqueBytesAreAskedForAndRead) {
    for (const std::string& bytes : {std::string(), std::string("\xFE\0\1\0c", 5)}) {
        ZynStream stream(8, ZynStream::Plain, 1252);
        stream.PutVarOpaque(bytes.data(), bytes.size());
        EXPECT_EQ(Sent(stream), Whole(Counted(bytes)));
        stream.PositionToStart();
        for (unsigned long max = 0; max <= bytes.size(); ++max) { // what fits, and stays
            std::string part(6, '#');
            EXPECT_EQ(stream.CurrentPosition(), 20U);
            EXPECT_EQ(stream.GetVarOpaque(max == 0 ? nullptr : part.data(), max), bytes.size());
            EXPECT_EQ(part, bytes.substr(0, max) + std::string(6 - max, '#'));
        }
        EXPECT_TRUE(stream.Eof());
    }
}

// Does what only derived classes can.
class Derived : public ZynStream {
  public:
    explicit Derived(const std::string& bytes) : ZynStream(bytes.data(), bytes.size()) {}
    Derived() : ZynStream(8) {}
    long _decoded = 0;

  protected:
    void EncodeSuper() override { *this << 77L; }
    void DecodeSuper() override { *this >> _decoded; }
};

TEST(ZynStream, HasTheHeaderOfItsKind) {
    const unsigned short own = ZynConverter::GetCurrentOSCodePage();
    for (const auto kind : {ZynStream::Plain, ZynStream::InternalRuntimeMessage}) {
        const unsigned long size = kind == ZynStream::Plain ? 20 : 140;
        EXPECT_EQ(ZynStream::StreamHeader::Size(kind), size);
        for (const auto& made : {ZynStream(0UL, kind), ZynStream(CreateEmpty, 5000, kind, own)}) {
            EXPECT_EQ(Play(made, ""), std::to_string(size) + " eof open");
            EXPECT_EQ(Sent(made), Whole("", own, kind));
        }
        // Within a block the positions count from its start, the length from the header.
        const std::string good = Whole(Word(7) + Word(8), 850, kind);
        const ZynDynPointer block(100);
        ZynStream within(block, 8, kind, 850);
        EXPECT_EQ(std::string(block + size - 4, 12), FromHex("03050000 00000000 00000352")); // open
        within << 7L << 8L;
        within.Close();
        EXPECT_EQ(Sent(within), good);
        ZynStream around(8, ZynStream::Plain, 1252);
        around.PutFixedOpaque(good.data(), good.size());
        around.PositionToStart();
        ZynStream::StreamHeader header(ZynStream::Unknown, 0);
        header.Decode(around);
        EXPECT_EQ(std::pair(header._kind, header._streamLength), std::pair(kind, good.size()));
        EXPECT_EQ(header._streamCcsid, 850);
        EXPECT_EQ(Play(around, "=long7 =long8"), std::to_string(20 + size + 8) + " eof open");
        EXPECT_EQ(Play(within, "=long7 =long8"), std::to_string(size + 16) + " eof");
        EXPECT_EQ(Play(ZynStream(block, 8), "[9"),
                  "ParmMismatch at offset = " + std::to_string(size) + ' ' +
                      std::to_string(size + 16) + " eof");
        std::memcpy(block + size, Word(1017).data(), 4); // ends one byte behind the block
        EXPECT_THROW(ZynStream(block, 8), ZynStream::ExcTruncated);

        std::string odd = good + Word(9); // any first word, any version, and bytes behind the end
        odd.replace(size - 20, 4, "\xDE\xAD##").replace(size - 12, 3, "\xFF\1\2");
        for (const ZynStream& in : {Received(odd), ZynStream(Derived(odd))}) {
            EXPECT_EQ(in.Kind(), kind);
            EXPECT_EQ(Play(in, "=long7 =long8"), std::to_string(size + 8) + " eof");
        }
        for (unsigned long length = 0; length < good.size(); ++length) {
            EXPECT_EQ(Play(good.substr(0, length), ""), "Truncated ") << length;
            EXPECT_THROW(Derived(good.substr(0, length)), ZynStream::ExcTruncated) << length;
        }
        EXPECT_EQ(Play(odd.replace(size - 16, 1, "z"), ""), "KindError ");
    }
}

TEST(ZynStream, CopiesAreCursorsOnTheSameBytes) {
    ZynStream first = Received(Whole(Frame(1, Word(7)) + Frame(2, Word(8))));
    first.StartParmDec(1);
    ZynStream second(8);
    second = first; // takes the open parameter along
    second = static_cast<const ZynStream&>(second);
    first << 9L;
    EXPECT_EQ(Play(second, "=long9 ] [2 =long8 ] long1"), "48 eof open");
    EXPECT_EQ(Play(second, "=long9 =long0"), "ContentError at offset = 32 32 open");
    EXPECT_EQ(Play(first, "=fixed0 ] [2 =long8"), "44 open");
}

TEST(ZynStream, SubstreamsCallTheHooksOfTheirClass) {
    const std::string bulk(3000, 'b'); // moves the block that both share
    const std::string nested = Whole(Word(77) + Counted(bulk));
    ZynStream stream(8, ZynStream::Plain, 1252);
    Derived sub;
    sub.StartParmEnc(9); // forgotten with all that the substream was before
    stream.StartParmEnc(3).StartSubstream(ZynStream::Plain, sub);
    EXPECT_EQ(Play(sub, ""), "52 eof open");
    sub.PutVarOpaque(bulk.data(), bulk.size());
    sub.Close();
    stream << sub << sub; // in place, and then a copy out of the same block
    stream.EndParmEnc();
    EXPECT_EQ(Sent(stream), Whole(Frame(3, nested + nested)));
    stream.PositionToStart();
    stream.StartParmDec(3) >> sub; // into bytes of its own
    EXPECT_EQ(sub._decoded, 77);
    EXPECT_EQ(Play(stream, "] clear long1"), "24 eof open");
    EXPECT_EQ(Sent(sub), nested);
}

TEST(ZynStream, ChecksWhatItIsMadeOf) {
    ZynStream null(ZynDynPointer(), 0, ZynStream::Unknown, 0);
    ZynStream open(8);
    const std::pair<std::string, std::function<void()>> cases[] = {
        {"!IsNull()", [] { ZynStream(ZynDynPointer(), 0, ZynStream::Plain, 1); }},
        {"!IsNull()", [&] { null.PreRead(1); }},
        {"!IsNull()", [&] { open << ZynString(); }},
        {"!IsNull()", [&] { open << ZynBinary(); }},
        {"offset <= _dynPtr.Size()",
         [] { ZynStream(ZynDynPointer(1), 1025, ZynStream::Plain, 1); }},
        {"s.Closed()", [&] { open << ZynStream(8); }},
        {"((char*)(s._pMem->_dynPtr) == (char*)(_pMem->_dynPtr)) && (s._pMem->_headerPos == "
         "_curPos)",
         [&] { open.EndSubstream(Received(Whole(""))); }},
        {"false", [&] { ZynStream::StreamHeader(ZynStream::Unknown, 1).Encode(open); }},
    };
    for (const auto& [condition, call] : cases)
        EXPECT_EQ(Failure(call), "Pre-condition: " + condition);
    for (const char* script : {"close", "clear", "truncate", "index"})
        EXPECT_EQ(Play(null, script), "Pre-condition: !IsNull()") << script;
    EXPECT_EQ(Play(open, ""), "20 eof open");
}

TEST(ZynStream, FailuresTellTheirOffsetAndOrigin) {
    std::ostringstream text;
    try {
        Received(Whole(Word(7))).StartParmDec(7);
    } catch (const ZynStream::ExcContentError& failure) {
        text << std::hex << failure.Offset() << ' ' << failure; // decimal all the same
    }
    EXPECT_THAT(text.str(),
                testing::MatchesRegex(
                    "14 ZynStream::ExcContentError at offset = 20, "
                    "Origin=File=zynksdds, Line=[0-9]+, Function=ZynStream::EnableCorrectRead"));
    EXPECT_EQ(ZynStream::ExcParmMismatch(ZynOrigin("f", 1, "g"), 4294967296).Offset(), 4294967296);
}

// The number is asked for once in a process, so each case needs a process of its own.
TEST(ZynStreamDeathTest, NewStreamsTakeTheCodePageOfTheEnvironment) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto isIn = [](const char* setting, unsigned short ccsid) {
        setenv("ZYN_DEFAULT_STREAM_CCSID", setting, 1);
        std::exit(Sent(ZynStream(8)) == Whole("", ccsid) ? 0 : 1);
    };
    EXPECT_EXIT(isIn("850", 850), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(isIn("0", ZynConverter::GetCurrentOSCodePage()), testing::ExitedWithCode(0), "");
}

} // namespace
