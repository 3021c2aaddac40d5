// Strings of streams, in the code page of the stream and in that of the caller.
#include "contract/failing.h"
#include "stream/stream_script.h"

namespace {

// The text "Grün" as far as the process's code page has it, in it.
std::string OwnText() {
    switch (ZynConverter::GetCurrentOSCodePage()) {
    case 1208:
        return "Gr\xC3\xBCn";
    case 943:
        return "Gr\x8A\xBFn";
    default:
        return "Gr\xFCn";
    }
}

// The same in another code page.
std::string In(unsigned short ccsid) {
    ZynString text;
    ZynConverter(0, ccsid).Convert(OwnText().data(), OwnText().size(), text);
    return Bytes(text);
}

std::string GotFrom(ZynStream& stream) {
    ZynString text;
    stream >> text;
    return Bytes(text);
}

TEST(ZynStreamText, StandsInTheCodePageOfTheStream) {
    const unsigned short own = ZynConverter::GetCurrentOSCodePage();
    for (const unsigned short ccsid : std::initializer_list<unsigned short>{
             own, 1208, 819, 1252, 850, 437, 37, 500, 943, 930, 1200, 1202, 1386, 33722}) {
        ZynStream stream(8, ZynStream::Plain, ccsid);
        stream.StartParmEnc(1);
        stream << ZynString(OwnText().c_str()) << ZynString("") << 7;
        stream.EndParmEnc();
        const std::string there = In(ccsid);
        EXPECT_EQ(Sent(stream), Whole(Frame(1, Counted(there) + Word(0) + Word(7)), ccsid));
        ZynStream received = Received(Sent(stream));
        received.StartParmDec(1);
        ZynString back;
        ZynConverter(ccsid, 0).Convert(there.data(), there.size(), back);
        EXPECT_EQ(GotFrom(received), Bytes(back)) << ccsid;
        EXPECT_EQ(GotFrom(received), "");
        EXPECT_EQ(Play(received, "=int7 ]"), std::to_string(received.Length()) + " eof");
    }
}

TEST(ZynStreamText, IsPutAndGotInTheCodePageThatIsDeclared) {
    const unsigned short own = ZynConverter::GetCurrentOSCodePage();
    ZynStream stream(8, ZynStream::Plain, 850);
    const std::string text = "\x84\x94"; // in 850
    const std::string windows = "\xE4\xF6";
    const auto put = [&](unsigned short ccsid, const std::string& bytes) {
        stream.SetStringCcsid(ccsid);
        stream << ZynString(bytes.c_str());
    };
    put(850, text);
    put(1252, windows);
    put(37, FromHex("43CC"));
    put(0, "ab");
    EXPECT_EQ(Sent(stream),
              Whole(Counted(text) + Counted(text) + Counted(text) + Counted("ab"), 850));
    stream.PositionToStart();
    EXPECT_THROW(stream.SetStringCcsid(9999), ZynConverter::InvalidCodePage);
    stream.SetStringCcsid(1252);
    EXPECT_THROW(stream.SetStringCcsid(9999), ZynConverter::InvalidCodePage);
    EXPECT_EQ(GotFrom(stream), windows); // as before the failure
    stream.SetStringCcsid(37);
    EXPECT_EQ(GotFrom(stream), FromHex("43CC"));
    stream.SetStringCcsid(850);
    EXPECT_EQ(GotFrom(stream), text);

    ZynStream unknown(8, ZynStream::Plain, 9999);
    unknown.SetStringCcsid(0); // no converter is made ahead of the first string
    unknown.SetStringCcsid(9999);
    unknown << ZynString("ab");
    EXPECT_EQ(Sent(unknown), Whole(Counted("ab"), 9999));

    // Decoding begins with the process's code page again; a substream has its parent's.
    ZynStream again(8, ZynStream::Plain, own);
    again.SetStringCcsid(37);
    const std::string bytes = Whole(Counted(OwnText()), own);
    again.PositionTo(0);
    bytes.copy(again.PreRead(bytes.size()), bytes.size());
    again.PostRead(bytes.size());
    EXPECT_EQ(GotFrom(again), OwnText());
    ZynStream parent(8, ZynStream::Plain, 37);
    ZynStream sub(8);
    parent.StartSubstream(ZynStream::Plain, sub);
    sub << ZynString("ab");
    EXPECT_EQ(Sent(sub), Whole(Counted("\x81\x82"), 37));
}

// A text that is overwritten in place leaves alone what stands behind it, whatever the converter
// writes there.
TEST(ZynStreamText, IsOverwrittenInPlace) {
    ZynStream stream(8, ZynStream::Plain, 37);
    stream.StartParmEnc(1);
    stream << ZynString("abcd") << 7;
    stream.PutFixedOpaque(Text(40).data(), 40);
    stream.EndParmEnc();
    stream.Close();
    stream.PositionTo(28);
    stream << ZynString("efgh");
    EXPECT_EQ(Play(stream, "=int7 =fixed40"), "80 eof");
    EXPECT_TRUE(stream.Closed());
    EXPECT_EQ(Sent(stream), Whole(Frame(1, Counted("\x85\x86\x87\x88") + Word(7) + Text(40)), 37));
    // An open parameter must have room for the most that the text may take.
    ZynStream within = Received(Whole(Frame(1, Counted(Text(15))), 37));
    within.StartParmDec(1);
    within << ZynString("abcd"); // 3 * 4 + 7 bytes at most
    within.PositionToStart();
    within.StartParmDec(1);
    EXPECT_THAT(Failure([&] { within << ZynString("abcde"); }),
                testing::StartsWith("Pre-condition: _parmStack.empty() ? true"));
    ZynStream tight = Received(Whole(Frame(1, Word(0) + Word(0) + Word(0) + Word(0)), 37));
    tight.StartParmDec(1);
    tight << ZynString("abc"); // 3 * 3 + 7 bytes are all that there are
    // Near the end of its block too.
    ZynStream full(8, ZynStream::Plain, 37);
    full.PutFixedOpaque(Text(980).data(), 980);
    full << ZynString("abcd") << 7 << 8;
    full.PositionTo(1000);
    full << ZynString("efgh");
    EXPECT_EQ(Play(full, "=int7 =int8"), "1016 eof open");
    full.PositionToEnd();
    full << ZynString(std::string(400, 'a').c_str());
    EXPECT_EQ(Sent(full).substr(1016), Counted(std::string(400, '\x81')));
}

TEST(ZynStreamText, ThatCantBeConvertedLeavesThePosition) {
    const std::string texts = Counted("ab") + Counted("cd");
    ZynStream unknown = Received(Whole(texts, 9999));
    ZynString text("before");
    EXPECT_THROW(unknown >> text, ZynConverter::InvalidCodePage);
    EXPECT_EQ(Bytes(text) + Play(unknown, ""), "before20");
    EXPECT_THROW(unknown << text, ZynConverter::InvalidCodePage);
    EXPECT_EQ(Sent(unknown), Whole(texts, 9999));
    EXPECT_EQ(Play(unknown, "ask2 =binary0"), "=binary0"); // the bytes can still be had

    ZynStream grown(8, ZynStream::Plain, 1208);
    grown.SetStringCcsid(874);
    EXPECT_THROW(grown << ZynString("\xE1\xE1"),
                 ZynConverter::InsufficientBufferSize); // three bytes each
    EXPECT_EQ(Play(grown, ""), "20 eof open");
    EXPECT_EQ(Sent(grown), Whole("", 1208));
    EXPECT_EQ(Failure([&] { grown << ZynString(); }), "Pre-condition: !IsNull()");
    EXPECT_EQ(Play(Received(Whole(Word(9) + "abcd", 37)), "=string0"),
              "ContentError at offset = 20 20");
}

TEST(ZynStreamText, IsPrintedForPeople) {
    ZynStream stream = Received(Whole(Frame(7, Counted("a\x01")) + Frame(8, Word(0x1F)), 850));
    stream.StartParmDec(7);
    const auto printed = [&](auto print) {
        std::ostringstream os;
        os << std::hex << std::showbase;
        print(os);
        const std::string text = os.str();
        const std::size_t address = text.find("this=0x");
        const std::size_t block = text.find("_dynPtr=0x");
        EXPECT_TRUE(address != std::string::npos && block != std::string::npos) << text;
        return text.substr(0, address) + text.substr(text.find('\n', address));
    };
    const auto header = [](const std::string& indent) {
        std::string lines;
        for (const char* const line :
             {"_pMem->_header._kind=0", "_pMem->_header._version=3", "_pMem->_header._release=5",
              "_pMem->_header._modLevel=0", "_pMem->_header._streamCcsid=850",
              "_pMem->_header._streamLength=48", "_pMem->_closed=1", "_pMem->_headerPos=0",
              "_pMem->_startPos=20", "_pMem->_endPos=48", "(char*)_pMem->_dynPtr=0x"})
            lines += "\n" + indent + line;
        return lines;
    };
    const std::string size = "\n_pMem->_dynPtr.Size()=1024";
    EXPECT_THAT(
        printed([&](std::ostream& os) { os << stream; }),
        testing::AllOf(testing::StartsWith("ZynStream {\n" + header("")),
                       testing::EndsWith(size + "\n hex  content=00000007000000100000000261010000"
                                                "000000080000000C0000001F"
                                                "\n char content=?.?.?.?.?.?.?.?.?.?.?.?.a.?.?.?."
                                                "?.?.?.?.?.?.?.?.?.?.?.?. }")));
    EXPECT_THAT(printed([&](std::ostream& os) { stream.StreamKeywordDelimited2(os, 2); }),
                testing::AllOf(testing::StartsWith("\n  " + header("  ")),
                               testing::EndsWith("\n  id=7 len=16\n  hex =0000000261010000"
                                                 "\n  char=?.?.?.?.a.?.?.?."
                                                 "\n  id=8 len=12\n  hex =0000001F"
                                                 "\n  char=?.?.?.?.")));
    EXPECT_EQ(Play(stream, "ask2 ]"), "36"); // it stands where it stood
    const ZynStream empty = Received(Whole(Frame(7, "") + Frame(8, Word(1)), 850));
    EXPECT_THAT(printed([&](std::ostream& os) { empty.StreamKeywordDelimited2(os, 0); }),
                testing::EndsWith("\nid=7 len=8 Warning: stream seems not to contain IDs and "
                                  "lengths"));
}

} // namespace
