#include "contract/failing.h"

#include "zynkconv.h"
#include "zynktime.h"

namespace {

const ZynString null;
const ZynMsgParameter mixed("a", "", null, "d", "e", "f", "g");
const ZynOrigin origin("zynkabc", 31, "ZynAbc::Do");

void Prints(const ZynException& exception, const std::string& text) {
    EXPECT_EQ(Bytes(exception.AsString()), text);
    EXPECT_EQ(Printed(exception), text + ", Origin=File=zynkabc, Line=31, Function=ZynAbc::Do");
    const auto* internal = dynamic_cast<const ZynIntException*>(&exception);
    EXPECT_EQ(internal == nullptr || internal->IsRecoverable(), text.starts_with("ZynExt")) << text;
}

TEST(Exceptions, PrintAndBelongToTheirBranch) {
    Prints(ZynOSException(origin, null, -1, 255),
           "ZynOSException, ServiceName=<null>, ReturnCode=-1, ReasonCode=255");
    Prints(ZynAssertionException(origin, null), "ZynAssertionException, Condition=<null>");
    Prints(ZynNoDefaultConfigException(origin), "ZynNoDefaultConfigException");
    Prints(ZynNoSuchConfigException(origin, "P"), "ZynNoSuchConfigException, ConfigID=P");
    Prints(ZynIntExcInvalidCase(origin, -200), "ZynIntExcInvalidCase, Value=-200");
    Prints(ZynIntExcInvalidBranch(origin, "no"), "ZynIntExcInvalidBranch, Description=no");
    Prints(ZynIntExcInvalidBranch(origin, ""), "ZynIntExcInvalidBranch");
    Prints(ZynIntExcInvalidBranch(origin, null), "ZynIntExcInvalidBranch");
    Prints(ZynConverter::InsufficientBufferSize(origin),
           "InsufficientBufferSize for codepage conversion");
    Prints(ZynConverter::InvalidCodePage(origin, 37, 1208),
           "InvalidCodePage: No conversion from codepage KOR-037 to codepage UTF-8 possible");
    Prints(ZynConverter::InvalidInputString(origin, null, 255, 1200),
           "InvalidInputString: Invalid character in string <null> at byte position 255 with "
           "codepage UCS-2");
    Prints(ZynTimeStamp::OutOfRangeException(origin, "1-99"),
           "\nZynTimeStamp 1-99 is out of allowed range\n");
    Prints(ZynExtException(origin, 4294967295, mixed),
           "ZynExtException, MsgID=4294967295, MsgParam=a, , <null>, d, e, f, g, ");
    Prints(ZynExtExcINVALID_OID(origin), "ZynExtException, MsgID=805, MsgParam=, , , , , , , ");
    Prints(ZynExtExcINVALID_PES(origin, "PES1"),
           "ZynExtException, MsgID=1015, MsgParam=PES1, , , , , , , ");
    EXPECT_EQ(Printed(ZynOrigin(null, 0, null)), "File=<null>, Line=0, Function=<null>");
    ZynMsgParameter changed(mixed);
    changed[1] = changed[7];
    EXPECT_EQ(Bytes(mixed[1] | changed[1] | mixed[7]), "agg");
    Fails("(index > 0) && (index < 8)",
          {[] { mixed[0]; }, [] { mixed[8]; }, [&] { changed[0]; }, [&] { changed[8]; }});
}

} // namespace
