// The index of streams: finding, erasing, renaming, replacing and compacting parameters.
#include <algorithm>
#include <random>

#include "contract/failing.h"
#include "stream/stream_script.h"
#include "trace/lines.h"

namespace {

TEST(ZynStreamIndex, LeavesErasedFramesOut) {
    const std::string nine = Frame(9, Frame(3, Word(1)));
    const std::string four = Frame(4, Word(7));
    const std::string sorted = four + nine;
    const std::string erased = nine + Frame(0, Word(2)) + four + Frame(0, "");
    for (const auto kind : {ZynStream::Plain, ZynStream::InternalRuntimeMessage}) {
        const unsigned long start = ZynStream::StreamHeader::Size(kind);
        std::string bytes = Whole(erased, 1252, kind);
        std::string compacted = Whole(sorted, 1252, kind);
        bytes.replace(start - 12, 3, "\1\2\4"); // the version, which is not kept
        bytes.replace(0, start - 20, std::string(start - 20, 'w')); // the work header, which is
        compacted.replace(0, start - 20, std::string(start - 20, 'w'));
        const ZynStream stream = Received(bytes);
        ZynStream target(8, ZynStream::Plain, 1252);
        EXPECT_EQ(Play(stream, "index unused20 find4 [4 =long7 ] find3"), "find3");
        const unsigned long ranges[][3] = {{4, 4, 1}, {5, 8, 0}, {5, 9, 1}, {0, 3, 0}, {9, 4, 0}};
        for (const auto& [low, high, found] : ranges)
            EXPECT_EQ(stream.IsAnyParmSetWithinSubrange(low, high), found == 1) << low;
        target << stream;
        EXPECT_EQ(Sent(target), Whole(compacted));
        EXPECT_EQ(Play(stream, "start [9 ] get truncate unused12 find9 find4"), "find4");
        EXPECT_EQ(Play(stream, "clear unused0 find9"), "find9");
    }
    ZynStream whole = Received(Whole(nine + four)); // nothing is erased: copied as it is
    ZynStream target(8, ZynStream::Plain, 1252);
    whole.CreateIndex();
    target << whole;
    EXPECT_EQ(Sent(target), Whole(Whole(nine + four)));
    EXPECT_EQ(Failure([&] { target.IsAnyParmSetWithinSubrange(1, 2); }),
              "Pre-condition: IsIndexed()");
    EXPECT_EQ(Failure([&] { target.PrefetchParm(ZynStreamParmDescriptor(1, 20, 7)); }),
              "Pre-condition: parmDescr._length >= 2 * sizeof(long)");
    ZynStream(whole).StartParmEnc(5);
    EXPECT_EQ(Play(whole, "find5"), "Pre-condition: entry._length >= 2 * sizeof(long)");
}

// A stream of these parameters, each with its id as its value.
ZynStream Indexed(const std::vector<unsigned long>& ids, unsigned short ccsid = 1252) {
    ZynStream stream(8, ZynStream::Plain, ccsid);
    stream.CreateIndex();
    for (const unsigned long id : ids) {
        stream.StartParmEnc(id);
        stream << id;
        stream.EndParmEnc();
    }
    return stream;
}

std::string Frames(const std::vector<std::pair<unsigned long, unsigned long>>& idsAndValues) {
    std::string bytes;
    for (const auto& [id, value] : idsAndValues)
        bytes += Frame(id, Word(value));
    return bytes;
}

TEST(ZynStreamIndex, ErasesInTheMiddleAndAtTheEnd) {
    ZynStream stream = Indexed({5, 2, 9});
    stream.Close();
    EXPECT_TRUE(stream.EraseParm(2));
    EXPECT_FALSE(stream.EraseParm(2));
    EXPECT_TRUE(stream.Closed());
    EXPECT_EQ(stream.UnusedBytes(), 12U);
    EXPECT_EQ(Sent(stream), Whole(Frames({{5, 5}, {0, 2}, {9, 9}})));
    EXPECT_TRUE(stream.EraseParm(9));
    EXPECT_FALSE(stream.Closed());
    EXPECT_EQ(stream.UnusedBytes(), 12U);
    EXPECT_EQ(Sent(stream), Whole(Frames({{5, 5}, {0, 2}})));
    EXPECT_EQ(Play(Received(Sent(stream)), "index unused12 find5 find2"), "find2");

    ZynStream only = Indexed({7});
    only.PositionToEnd();
    EXPECT_TRUE(only.EraseParm(7));
    EXPECT_TRUE(only.Eof());
    EXPECT_EQ(only.UnusedBytes(), 0U);
    EXPECT_EQ(Sent(only), Whole(""));
}

TEST(ZynStreamIndex, GivesOpenParametersOtherIds) {
    ZynStream stream = Indexed({5});
    stream.StartParmEnc(2).StartParmEnc(8);
    stream.ChangeParmId(5); // nested, so not of the index
    stream.EndParmEnc();
    stream.ChangeParmId(3);
    stream.ChangeParmId(3);
    stream.EndParmEnc();
    ASSERT_TRUE(stream.PrefetchParm(5));
    stream.StartParmDec(5);
    stream.ChangeParmId(6);
    EXPECT_EQ(Play(stream, "=long5 )"), "32 open");
    Fails("rc == true", {[&] { stream.ChangeParmId(3); }}, "Assertion");
    EXPECT_EQ(Sent(stream), Whole(Frame(6, Word(5)) + Frame(3, Frame(5, ""))));
    EXPECT_EQ(Play(stream, "find6 [6 ] find3 [3 ] find5"), "find5");

    ZynStream plain = Received(Whole(Frame(4, Word(1))));
    Fails("!_parmStack.empty()", {[&] { plain.ChangeParmId(1); }});
    plain.StartParmDec(4);
    plain.ChangeParmId(7);
    Fails("parmId != 0", {[&] { plain.ChangeParmId(0); }});
    plain.PositionToStart();
    EXPECT_EQ(Sent(plain), Whole(Frame(7, Word(1))));
    unsigned long id = 0;
    plain.StartParmDec(7).EndParmDec().PositionToStart();
    plain.PrefetchNextParm(id);
    Fails("!_parmStack.empty()", {[&] { plain.ChangeParmId(1); }});
}

TEST(ZynStreamIndex, TakesParametersOverFromAnother) {
    const unsigned short own = ZynConverter::GetCurrentOSCodePage();
    ZynStream source =
        Received(Whole(Frame(1, Counted("ab\x84")) + Frame(2, Frame(3, Word(7)) + Word(8)), 850));
    source.CreateIndex();
    TraceLines lines(3);
    ZynStream target = Indexed({4, 6});
    target.PutById(4, 1, source, true);
    EXPECT_THAT(lines.Take(), testing::Contains("03,Fl,St Parameter with ID 4 erased"));
    EXPECT_EQ(target.UnusedBytes(), 12U);
    EXPECT_EQ(Play(source, "=string0"), "=string0"); // it stands in its parameter
    source.SetStringCcsid(37); // the bytes are those of its own code page all the same
    target.PutById(7, 1, source, true);
    EXPECT_TRUE(target.EraseParm(7));
    target.PutById(9, 2, source, false);
    target.PutById(5, 1, source, false);
    EXPECT_THAT(lines.Take(), testing::Not(testing::Contains(testing::HasSubstr("erased"))));
    EXPECT_EQ(Sent(target),
              Whole(Frame(0, Word(4)) + Frame(6, Word(6)) + Frame(4, Counted("ab\xE4")) +
                    Frame(9, Frame(3, Word(7)) + Word(8)) + Frame(5, Counted("ab\x84"))));
    Fails("found == true", {[&] { target.PutById(8, 3, source, false); }});
    ZynStream same = Indexed({1, 2}, own);
    same.PutById(3, 1, same, false);
    ZynStream cursor(same);
    same.PutById(2, 1, cursor, false);
    EXPECT_EQ(Sent(same), Whole(Frames({{1, 1}, {0, 2}, {3, 1}, {2, 1}}), own));
    Fails("sourceStream.IsIndexed()",
          {[&] { source.DeleteIndex(), target.PutById(1, 1, source, true); }});
}

// The source is a cursor on the same bytes, which move.
TEST(ZynStreamIndex, TakesParametersOverFromItselfWhileItGrows) {
    for (const bool isString : {false, true}) {
        ZynStream stream = Indexed({}, 1252);
        const std::string text = Counted(std::string(600, 'x'));
        stream.StartParmEnc(1).PutFixedOpaque(text.data(), text.size());
        stream.EndParmEnc();
        ZynStream cursor(stream);
        for (unsigned long id = 2; id < 20; ++id)
            (id % 2 == 0 ? stream : cursor).PutById(id, id - 1, cursor, isString);
        std::string body;
        for (unsigned long id = 1; id < 20; ++id)
            body += Frame(id, text);
        EXPECT_EQ(Sent(stream), Whole(body));
    }
}

// What an index says is believed, so nothing gets into it from a frame that is damaged, or that
// is another cursor's of a block that is gone.
TEST(ZynStreamIndex, TakesNothingFromOpenParametersThatAreDamaged) {
    ZynStream stream = Indexed({5, 6});
    stream.PositionToEnd();
    stream << 5L << 2000000000L;
    stream.PositionToStart();
    stream.PrefetchParm(6);
    stream.SkipNextParm();
    EXPECT_THROW(stream.StartParmDec(5), ZynStream::ExcContentError);
    Fails("rc == true", {[&] { stream.ChangeParmId(9); }}, "Assertion");

    for (const bool encodes : {false, true}) {
        ZynStream far(ZynDynPointer(70000), 60000, ZynStream::Plain, 1252);
        far.CreateIndex();
        far.StartParmEnc(1).EndParmEnc();
        far.StartParmEnc(2).EndParmEnc();
        ZynStream cursor(far);
        if (encodes)
            cursor.StartParmEnc(3);
        else
            cursor.PrefetchParm(2), cursor.StartParmDec(2);
        far.EraseParm(1);
        far.PositionToStart();
        far.Compact(true);
        Fails("fromPosition <= _pMem->_size",
              {[&] { encodes ? static_cast<void>(cursor.EndParmEnc()) : cursor.ChangeParmId(4); }});
    }
}

// A cursor that encodes while another one compacts is left with a place of the former bytes.
TEST(ZynStreamIndex, TakesNoParameterThatIsNotWhereItBegan) {
    ZynStream stream = Indexed({1, 2, 3, 4});
    ZynStream cursor(stream);
    cursor.PositionToEnd();
    cursor.StartParmEnc(9);
    cursor.PutFixedOpaque(std::string(3000, 'x').data(), 3000);
    for (const unsigned long id : {1UL, 2UL}) {
        stream.PositionToStart();
        stream.EraseParm(id);
        stream.Compact(true);
    }
    Fails("rc == true", {[&] { cursor.EndParmEnc(); }});
    EXPECT_FALSE(stream.EraseParm(9));
    stream.EraseParm(3);
    stream.Compact(false);
    EXPECT_EQ(Sent(stream), Whole(Frames({{4, 4}})));
}

// What can't be taken over leaves nothing behind.
TEST(ZynStreamIndex, TakesNothingOverThatIsDamaged) {
    ZynStream damaged = Received(Whole(Frame(1, Word(50)) + Frame(2, Counted("a")), 9999));
    damaged.CreateIndex();
    ZynStream target = Indexed({4, 6});
    target.Close();
    const std::string erased = Whole(Frames({{0, 4}, {6, 6}}));
    EXPECT_THROW(target.PutById(4, 1, damaged, true), ZynStream::ExcContentError);
    EXPECT_EQ(Sent(target), erased);
    EXPECT_THROW(target.PutById(4, 2, damaged, true), ZynConverter::InvalidCodePage);
    EXPECT_EQ(Sent(target), erased);
    target.PutById(4, 2, damaged, false);
    EXPECT_EQ(Sent(target), Whole(Frames({{0, 4}, {6, 6}}) + Frame(4, Counted("a"))));
}

TEST(ZynStreamIndex, IsCompactedInTheOrderOfIds) {
    for (const auto kind : {ZynStream::Plain, ZynStream::InternalRuntimeMessage}) {
        std::string bytes = Whole(Frames({{5, 1}, {0, 9}, {2, 2}, {9, 3}}), 1252, kind);
        const std::string version = "\1\2\4"; // of the writer: it stays
        const unsigned long start = ZynStream::StreamHeader::Size(kind);
        bytes.replace(start - 12, 3, version);
        std::string sorted = Whole(Frames({{2, 2}, {5, 1}, {9, 3}}), 1252, kind);
        sorted.replace(start - 12, 3, version);
        for (const bool keepIndex : {false, true}) {
            ZynDynPointer block(8 + bytes.size());
            bytes.copy(block + 8, bytes.size());
            ZynStream stream(block, 8); // in the middle of a block
            stream.CreateIndex();
            stream.Compact(keepIndex);
            EXPECT_EQ(stream.CurrentPosition(), start);
            EXPECT_TRUE(stream.Closed());
            EXPECT_EQ(stream.IsIndexed(), keepIndex);
            EXPECT_EQ(Sent(stream), sorted);
            EXPECT_EQ(Play(stream, keepIndex ? "unused0 find5 [5 =long1 ] find9 [9 =long3 ] find4"
                                             : "[2 =long2 ] find4"),
                      keepIndex ? "find4" : "Pre-condition: IsIndexed()");
        }
    }
    ZynStream whole = Indexed({5, 2});
    whole.Compact(false); // nothing is unused: nothing changes
    EXPECT_TRUE(whole.IsIndexed() && !whole.Closed());
    EXPECT_EQ(Sent(whole), Whole(Frames({{5, 5}, {2, 2}})));
    whole.EraseParm(5);
    whole.StartParmEnc(7);
    Fails("_parmStack.top()._length != 0", {[&] { whole.Compact(true); }}, "Assertion");
    whole.DeleteIndex();
    Fails("IsIndexed()", {[&] { whole.Compact(true); }, [&] { whole.EraseParm(1); }});
}

TEST(ZynStreamIndex, IsNotNeededToFindAParameter) {
    TraceLines lines(1);
    ZynStream stream = Received(Whole(Frames({{5, 5}, {2, 2}}) + Frame(9, "")));
    EXPECT_TRUE(stream.PositionToParm(2));
    EXPECT_THAT(lines.Take(),
                testing::ElementsAre("00,Er,St Do not use ZynStream::PositionToParm"));
    EXPECT_EQ(Play(stream, "next2 [2 =long2 ]"), "44");
    EXPECT_FALSE(stream.PositionToParm(3));
    EXPECT_FALSE(stream.PositionToParm(9)); // empty and last
    EXPECT_EQ(Play(stream, "[9 ]"), "52 eof");
    Fails("parmID != 0", {[&] { stream.PositionToParm(0); }});
}

// Against the bytes as a list of frames.
TEST(ZynStreamIndex, AgreesWithAListOfFrames) {
    for (unsigned int seed = 0; seed < 300 && !HasFailure(); ++seed) {
        std::mt19937 random(seed);
        ZynStream stream = Indexed({});
        ZynStream source = Indexed({1, 2, 3, 4, 5});
        struct Parm {
            unsigned long id;
            std::string payload;
        };
        std::vector<Parm> frames;
        const auto find = [&](unsigned long id) {
            return std::find_if(frames.begin(), frames.end(),
                                [id](const Parm& frame) { return frame.id == id; });
        };
        const auto erase = [&](unsigned long id) {
            const auto found = find(id);
            if (found == frames.end())
                return false;
            found->id = 0;
            if (found + 1 == frames.end())
                frames.pop_back();
            return true;
        };
        for (int step = 0; step < 60; ++step) {
            const unsigned long id = 1 + random() % 6;
            const bool exists = find(id) != frames.end();
            switch (random() % 6) {
            case 0: {
                if (exists)
                    break;
                const std::string payload = Counted(Text(random() % 9));
                stream.PositionToEnd();
                stream.StartParmEnc(id).PutFixedOpaque(payload.data(), payload.size());
                stream.EndParmEnc();
                frames.push_back({id, payload});
                break;
            }
            case 1:
                EXPECT_EQ(stream.EraseParm(id), erase(id));
                break;
            case 2: {
                const unsigned long other = 1 + random() % 6;
                if (!exists || find(other) != frames.end())
                    break;
                stream.PrefetchParm(id);
                stream.StartParmDec(id).ChangeParmId(other);
                find(id)->id = other;
                break;
            }
            case 3:
                stream.PutById(id, 1 + id % 5, source, false);
                erase(id);
                frames.push_back({id, Word(1 + id % 5)});
                break;
            case 4: {
                const bool changes =
                    std::erase_if(frames, [](const Parm& f) { return f.id == 0; }) != 0;
                if (changes)
                    std::sort(frames.begin(), frames.end(),
                              [](const Parm& a, const Parm& b) { return a.id < b.id; });
                stream.Compact(true);
                break;
            }
            default:
                stream.DeleteIndex();
                stream.CreateIndex();
            }
            std::string body;
            unsigned long unused = 0;
            for (const Parm& frame : frames) {
                body += Frame(frame.id, frame.payload);
                unused += frame.id == 0 ? 8 + frame.payload.size() : 0;
            }
            EXPECT_EQ(stream.UnusedBytes(), unused) << seed;
            EXPECT_EQ(Sent(stream), Whole(body)) << seed;
            for (unsigned long other = 1; other <= 6; ++other)
                EXPECT_EQ(ZynStream(stream).PrefetchParm(other), find(other) != frames.end());
        }
    }
}

} // namespace
