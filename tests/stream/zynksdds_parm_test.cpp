// Parameters, substreams and the index of streams. Bodies begin at offset 20.
#include "stream/stream_script.h"

namespace {

const std::string Bound =
    "Pre-condition: _parmStack.empty() ? true : (_curPos + lng <= _parmStack.top()._position + "
    "_parmStack.top()._length) || (_parmStack.top()._length == 0)";

TEST(ZynStreamParm, ScriptsEndAsTold) {
    const std::string f7 = Frame(7, "");
    const std::string f8 = Frame(8, Word(1) + Word(2));
    const std::string f9 = Frame(9, Word(3));
    struct Case {
        std::string scripts; // apart by "|"
        std::string end;
        std::string body{}; // if told, what the stream holds then
    };
    const Case cases[] = {
        // Life: growing and shrinking opens, an update leaves closed, closing twice does nothing.
        {"to52 long6 close", "56 eof", f7 + f8 + Frame(9, Word(6))},
        {"end long4", "60 eof open", f7 + f8 + f9 + Word(4)},
        {"end long4 close", "20", f7 + f8 + f9 + Word(4)},
        {"to28 truncate", "28 eof open", f7},
        {"clear|end (4 clear", "20 eof open"},
        {"end long1 send", "Pre-condition: _pMem->_closed"},
        {"to5000 long1", "Pre-condition: fromPosition <= _pMem->_size"},
        {"to60 long4 close", "20", f7 + f8 + f9 + Word(0) + Word(4)}, // no stale memory in the gap
        // Reading: what is unread in a frame is skipped, and what is open can be left.
        {"next7 next7", "28"},
        {"[9", "ParmMismatch at offset = 20 28"},
        {"[7 ] [7", "ParmMismatch at offset = 28 36"},
        {"next7 skip next8 skip [9 =long3 ]|get [8 =long1 ] get|get [8 start [7 end", "56 eof"},
        {"get get start jump [8 =long1|index find8 [8 =long1", "40"},
        // Writing; also within a frame that was opened for reading.
        {"end (1 ) (2 (3 ) long7 )", "84 eof open",
         f7 + f8 + f9 + Frame(1, "") + Frame(2, Frame(3, "") + Word(7))},
        {"get [8 long7 )", "44", f7 + Frame(8, Word(7) + Word(2)) + f9},
        {"get [8 long7 long8 long9|get [8 long1 (1|get [8 (1 long1 )|get [8 {0 }", Bound},
        // Nothing can be read in what is being written, and it can't be left.
        {"end (1 =fixed0", "ContentError at offset = 64 64 eof open"},
        {"end (1 close|end (1 start|end (1 end|[7 ] [8 (1 to20|index (1 find7",
         "Assertion: _parmStack.top()._length != 0"},
        // What is prefetched stands in the way of all else.
        {"next7 )|next7 ]|next7 (1|next7 double1|next7 truncate|get next8 jump",
         "Pre-condition: _pNextParm == 0"},
        {"skip", "Pre-condition: _pNextParm != 0"},
        {")|]", "Pre-condition: !_parmStack.empty()"},
        {"[7 truncate|get [8 jump", "Pre-condition: _parmStack.empty()"},
        {"jump", "Pre-condition: parmDescr._position >= _pMem->_startPos"},
        {"get start truncate jump",
         "Pre-condition: parmDescr._position + parmDescr._length <= _pMem->_endPos"},
        {"(0", "Pre-condition: parmId!=0"},
        {"(4294967296", "Pre-condition: value <= ULONG_MAX"},
        {"{2 close|{2 clear|{2 truncate", "Pre-condition: _pMem->_header._kind != Unknown"},
        {"{2 long1", "Pre-condition: Kind() != Unknown"},
        // The index: only the top level is in it, each id once.
        {"find7|unused0", "Pre-condition: IsIndexed()"},
        {"index to20", "Pre-condition: !IsIndexed()"},
        {"index index", "Pre-condition: _pMem->_pParmIndex == 0"},
        {"index find0", "Pre-condition: parmId != 0"},
        {"index (8", "Pre-condition: rc == true"},
        {"index (6 (8 ) long6 ) find8 find6 [6 [8 ] =long6", "76 eof open"},
        {"end (7 ) index", "Assertion: rc == true"},
        {"index find8 start [7 ] truncate find7 start find8", "find8"},
        {"index clear (8 ) find8", "28 eof open", Frame(8, "")},
    };
    const std::string whole = Whole(f7 + f8 + f9);
    for (const auto& [scripts, end, body] : cases) {
        std::istringstream alternatives(scripts);
        for (std::string script; std::getline(alternatives, script, '|');) {
            const ZynStream stream = Received(whole);
            EXPECT_EQ(Play(stream, script), end) << script;
            EXPECT_TRUE(body.empty() || Sent(stream) == Whole(body)) << script;
        }
    }
}

TEST(ZynStreamParm, WhatDoesNotFitIsAContentError) {
    const auto at = [](const std::string& offset) {
        return "ContentError at offset = " + offset + " " + offset;
    };
    for (const unsigned long length : {0UL, 1UL, 7UL}) // shorter than its own head
        EXPECT_EQ(Play(Whole(Frame(5, "") + Word(6) + Word(length)), "[5 ] next6"), at("28"));
    for (const unsigned long length : {13UL, 40UL, 0x7FFFFFFFUL, 0x80000000UL, 0xFFFFFFFFUL}) {
        const std::string body = Word(5) + Word(length) + Word(length);
        for (const std::string read : {"[5", "next5 skip", "get"}) {
            EXPECT_EQ(Play(Whole(body), read), at("28"));
            EXPECT_EQ(Play(Whole(Frame(4, body) + body), "[4 " + read), at("36"));
        }
        ZynStream stream = Received(Whole(body));
        EXPECT_THROW(stream.StartParmDec(5), ZynStream::ExcContentError);
        EXPECT_EQ(Play(stream, "]"), std::to_string(20 + length)); // it is open all the same
        EXPECT_EQ(Play(stream, "=double0"), at("28"));
        const std::string framed = Whole(Frame(4, Word(length)) + Word(length));
        for (const std::string read : {"=string5", "=binary5", "=double0", "=fixed5", "={0"}) {
            EXPECT_EQ(Play(framed, "[4 " + read), at("28")) << length;
            EXPECT_EQ(Play(framed, "[4 ] " + read), at("32")) << length;
        }
        EXPECT_EQ(Play(framed, "[4 ask" + std::to_string(length)), "28"); // which is no reading
        const std::string nested = Whole("").replace(12, 4, Word(length + 8));
        EXPECT_EQ(Play(Whole(Frame(4, nested) + body), "[4 ={0"),
                  length < 1000 ? at("28") : "Truncated 28");
        std::string message = Whole(Frame(4, Whole("", 1252, ZynStream::InternalRuntimeMessage)));
        message.replace(24, 4, Word(108)); // the frame ends within the header of the message
        EXPECT_EQ(Play(message, "[4 ={1"), at("28"));
    }
    EXPECT_EQ(Play(Whole(Frame(4, Word(1)) + Word(5)), "[4 =long1 next5"), at("32"));
    EXPECT_EQ(Play(Whole(Frame(4, Word(1)) + Word(5)), "get =long5 next0"), at("36") + " eof");
    EXPECT_EQ(Play(Whole(Word(4) + "\5\5\5"), "=string4"), at("20"));
    // Of a value with a length the padding may be missing.
    EXPECT_EQ(Play(Whole(Word(3) + "\4\4\4"), "=string3"), "28");
    EXPECT_EQ(Play(Whole(Word(3) + "\4\4\4"), "=string3 =long0"), at("28"));
    // A header that claims less than itself leaves nothing to read.
    EXPECT_EQ(Play(Whole(Word(1)).replace(12, 4, Word(19)), "=long1"), at("20"));
}

TEST(ZynStreamParm, AMillionNestedFramesNeedNoStack) {
    constexpr unsigned long Depth = 1000000;
    ZynStream stream(8);
    for (unsigned long i = 0; i < Depth; ++i)
        stream.StartParmEnc(1 + i % 7);
    for (unsigned long i = 0; i < Depth; ++i)
        stream.EndParmEnc();
    stream.Close();
    for (unsigned long i = 0; i < Depth; ++i)
        stream.StartParmDec(1 + i % 7);
    for (unsigned long i = 0; i < Depth; ++i)
        stream.EndParmDec();
    EXPECT_EQ(Play(stream, ""), std::to_string(20 + 8 * Depth) + " eof");
}

} // namespace
