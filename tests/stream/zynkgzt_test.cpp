// The work information header and the service name in it.
#include "zynkgzt.h"

#include <limits>

#include "contract/failing.h"
#include "stream/stream_script.h"
#include "trace/lines.h"

namespace {

using testing::ElementsAre;

TEST(WorkInformationHeader, HoldsTheServiceOfItsMessage) {
    ZynStream stream(0, ZynStream::InternalRuntimeMessage, 850);
    stream << 7;
    stream.Close();
    const std::string fresh = Whole(Word(7), 850, ZynStream::InternalRuntimeMessage);
    EXPECT_EQ(Sent(stream), fresh);
    EXPECT_EQ(Bytes(stream.GetHXWIHServiceName()) + Bytes(stream.GetHXWIHServiceStep()), "");

    const unsigned long position = stream.CurrentPosition();
    stream.SetHXWIHServiceName("a service that is long");
    stream.SetHXWIHServiceStep("STEPSTEP");
    stream.SetHXWIHServiceName("  a b");
    stream.SetHXWIHServiceStep("X");
    EXPECT_TRUE(stream.Closed());
    EXPECT_EQ(stream.CurrentPosition(), position);
    std::string told = fresh;
    told.replace(32, 5, "  a b").replace(64, 1, "X");
    EXPECT_EQ(Sent(stream), told);

    TraceLines lines(1);
    EXPECT_EQ(Bytes(stream.GetHXWIHServiceName()), "a b");
    EXPECT_EQ(Bytes(stream.GetHXWIHServiceStep()), "X");
    EXPECT_THAT(lines.Take(),
                ElementsAre("00,Er,St Use ZynStream::GetHXWIHServiceName only in test programs.",
                            "00,Er,St Use ZynStream::GetHXWIHServiceStep only in test programs."));
}

// A substream has its header where it begins, also at an odd place.
TEST(WorkInformationHeader, StandsWhereItsStreamBegins) {
    for (const unsigned long offset : {4UL, 7UL}) {
        ZynStream stream(ZynDynPointer(1000), offset, ZynStream::InternalRuntimeMessage, 1252);
        stream.SetHXWIHServiceStep("STEP");
        stream.Close();
        std::string told = Whole("", 1252, ZynStream::InternalRuntimeMessage);
        EXPECT_EQ(Sent(stream), told.replace(64, 4, "STEP"));
    }
}

TEST(WorkInformationHeader, RefusesOtherKindsAndLongTexts) {
    ZynStream plain(0, ZynStream::Plain, 1252);
    Fails("Kind() == InternalRuntimeMessage",
          {[&] { plain.InitHXWIH(); }, [&] { plain.SetHXWIHServiceName(""); },
           [&] { plain.SetHXWIHServiceStep(""); }, [&] { plain.GetHXWIHServiceName(); },
           [&] { plain.GetHXWIHServiceStep(); }});
    ZynStream message(0, ZynStream::InternalRuntimeMessage, 1252);
    message.SetHXWIHServiceName(Text(32).c_str());
    message.SetHXWIHServiceStep(Text(8).c_str());
    const std::string before = Sent(message);
    Fails("serviceName.Length() <= sizeof(pWIH->ServiceName)",
          {[&] { message.SetHXWIHServiceName(Text(33).c_str()); }}, "Assertion");
    Fails("serviceStep.Length() <= sizeof(pWIH->ServiceStep)",
          {[&] { message.SetHXWIHServiceStep(Text(9).c_str()); }}, "Assertion");
    EXPECT_EQ(Sent(message), before);
}

TEST(ServiceNameText, IsMadeOfItsFields) {
    TraceLines lines(9);
    EXPECT_EQ(Bytes(ZynGZT::BuildWIHServiceNameString("PES1", true, 7, "T", "S")),
              "PES1    IMEY0007T       S       ");
    EXPECT_EQ(Bytes(ZynGZT::BuildWIHServiceNameString("12345678", false, 9999, "ABCDEFGH", " b")),
              "12345678IMEN9999ABCDEFGH b      ");
    EXPECT_EQ(Bytes(ZynGZT::BuildWIHServiceNameString("a", false, 0, "b", "c")),
              "a       IMEN0000b       c       ");
    const std::string line = "09,Gn,St String to fill in the WIH ServiceName field: ";
    EXPECT_THAT(lines.Take(), ElementsAre(line + "PES1    IMEY0007T       S       ",
                                          line + "12345678IMEN9999ABCDEFGH b      ",
                                          line + "a       IMEN0000b       c       "));
}

TEST(ServiceNameText, IsBlankForAFieldThatIsNone) {
    // Two bytes that are one character, where the locale has such; none at all in the others.
    const std::string wide = "\x83\x41";
    const bool isSjis = ZynConverter::GetCurrentOSCodePage() == 943;
    const struct {
        const char* pesName;
        long priority;
        const char* invocationType;
        const char* service;
        std::string line;
    } rows[] = {
        {"", -1, "", "", "Length of pesName in bytes (0) is lower than one or greater than eight"},
        {nullptr, -1, "", "",
         "Length of pesName in bytes (0) is lower than one or greater than eight"},
        {"123456789", 0, "T", "S",
         "Length of pesName in bytes (9) is lower than one or greater than eight"},
        {"P", -1, "", "", "Value of priority (-1) is not in the valid range (0 - 9999)"},
        {"P", 10000, "", "", "Value of priority (10000) is not in the valid range (0 - 9999)"},
        {"P", 9999, "", "",
         "Length of invocationType in bytes (0) is lower than one or greater than eight"},
        {"P", 1, "T", "123456789",
         "Length of service in bytes (9) is lower than one or greater than eight"},
        {isSjis ? wide.c_str() : "", 0, "T", "S",
         isSjis ? "Length of pesName in bytes (2) is not equal length of pesName in character (1)"
                : "Length of pesName in bytes (0) is lower than one or greater than eight"},
        {"P", 0, isSjis ? "\x83" : "", "S",
         isSjis ? "Length of invocationType in bytes (1) is not equal length of invocationType in "
                  "character (0)"
                : "Length of invocationType in bytes (0) is lower than one or greater than eight"},
    };
    for (const auto& row : rows) {
        TraceLines lines(9);
        EXPECT_EQ(Bytes(ZynGZT::BuildWIHServiceNameString(row.pesName, true, row.priority,
                                                          row.invocationType, row.service)),
                  std::string(32, ' '));
        EXPECT_EQ(lines.Take().back(), "03,Fl,St " + row.line);
    }
}

} // namespace
