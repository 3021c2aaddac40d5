#include <climits>
#include <clocale>
#include <thread>

#include "contract/failing.h"
#include "trace/lines.h"
#include "zynkconv.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string FromHex(const std::string& digits) {
    return Bytes(ZynBinary::FromHexString(digits.c_str()));
}

std::string Converted(const std::string& text, unsigned short source, unsigned short target) {
    ZynString result;
    ZynConverter(source, target)
        .Convert(text.data(), static_cast<unsigned long>(text.size()), result);
    return Bytes(result);
}

// The same words in many code pages: their bytes, and those of UTF-8.
TEST(Conversion, GoesThereAndBack) {
    const auto rows = Rows<unsigned short, std::string, std::string>(
        "819 4772FC6E 4772C3BC6E  923 41A442 41E282AC42  1252 41E442 41C3A442  5348 418042 "
        "41E282AC42 "
        "850 8481 C3A4C3BC  437 84E1 C3A4C39F  858 41D5 41E282AC  852 9F41 C48D41 "
        "912 E841 C48D41  1250 41E8 41C48D  1251 C641 D09641  915 41B6 41D096  866 8641 D09641 "
        "1253 41D9 41CEA9  813 D941 CEA941  1254 FE41 C59F41  920 41FE 41C59F  874 41A1 41E0B881 "
        "37 C181 4161  273 C0C1 C3A441  500 81C1 6141  1141 9FC1 E282AC41 "
        "943 8ABF8E9A E6BCA2E5AD97  932 8ABF41 E6BCA241  33722 B4C1BBFA E6BCA2E5AD97 "
        "970 C7D1B1DB ED959CEAB880  949 C7D1B1DB ED959CEAB880  1386 BABAD7D6 E6B189E5AD97 "
        "950 BA7EA672 E6BCA2E5AD97  1392 A2E341 E282AC41  1392 8130813041 C28041 "
        "930 0E4F580FC1 E6BCA241  939 0E4F580F E6BCA2 "
        "1200 00E420AC C3A4E282AC  1200 D83DDE00 F09F9880  1202 E400AC20 C3A4E282AC");
    for (const auto& [ccsid, own, utf8] : rows) {
        EXPECT_EQ(Converted(FromHex(own), ccsid, 1208), FromHex(utf8)) << ccsid << " " << own;
        EXPECT_EQ(Converted(FromHex(utf8), 1208, ccsid), FromHex(own)) << ccsid << " " << own;
    }
}

// The digit behind the text needs room too, and a return from a shift state counts as text.
TEST(Conversion, NeedsRoomForMoreThanTheText) {
    const struct {
        unsigned short source;
        unsigned short target;
        std::string text;
        unsigned long room;
        std::string result;
    } rows[] = {
        {850, 1252, "abc", 4, "abc"},
        {1208, 1200, "ab", 6, std::string("\0a\0b", 4)},
        {1208, 930, FromHex("E6BCA2"), 5, FromHex("0E4F580F")},
        {1208, 850, "abc", ULONG_MAX, "abc"},
        // It is taken off even where a NUL ends the text ahead of it.
        {850, 1252, std::string("ab\0cd", 5), 2, "a"},
        {850, 1252, std::string("\0cd", 3), ULONG_MAX, ""},
    };
    for (const auto& row : rows) {
        const ZynConverter converter(row.source, row.target);
        std::string area(16, '-');
        const auto convert = [&](unsigned long room) {
            return converter.Convert(row.text.data(), row.text.size(), area.data(), room);
        };
        const bool isTight = row.room < area.size();
        if (isTight) {
            EXPECT_THROW(convert(row.room - 1), ZynConverter::InsufficientBufferSize) << row.text;
        }
        EXPECT_EQ(convert(row.room), row.result.size()) << row.text;
        EXPECT_EQ(area.substr(0, row.result.size()), row.result);
        EXPECT_TRUE(!isTight || area[row.room] == '-') << row.text;
    }
    const std::string text(5000, '\xE1'); // three bytes each in UTF-8
    EXPECT_THROW(Converted(text, 874, 1208), ZynConverter::InsufficientBufferSize);
    // A text that has grown to two times its bytes and three more keeps the digit.
    EXPECT_EQ(Converted("\xE1\xE1\xE1\x61", 874, 1208).size(), 10U);
    EXPECT_EQ(Converted("\xE1\xE1\xE1\xE1\x61", 874, 1208).size(), 14U);
    const std::string grown = Converted(text + "a", 874, 1208);
    EXPECT_EQ(grown.size(), 15002U);
    EXPECT_TRUE(grown.ends_with("a1"));
    EXPECT_EQ(Converted(std::string(70, 'a') + '\0' + std::string(70, 'a'), 850, 1252).size(), 69U);
}

TEST(Conversion, CopiesBetweenEqualCodePages) {
    const unsigned short own = ZynConverter::GetCurrentOSCodePage();
    EXPECT_EQ(ZynConverter().GetCurrentCodePage(), own);
    const std::string text("a\0b", 3);
    for (const auto& converter : {ZynConverter(), ZynConverter(850, 850), ZynConverter(932, 942),
                                  ZynConverter(0, own), ZynConverter(own, 0)}) {
        std::string area(4, '-');
        EXPECT_EQ(converter.Convert(text.data(), 3, area.data(), 3), 3U);
        EXPECT_EQ(area, text + "-");
        EXPECT_THROW(converter.Convert(text.data(), 3, area.data(), 2),
                     ZynConverter::InsufficientBufferSize);
        EXPECT_EQ(converter.Convert(nullptr, 0, nullptr, 0), 0U);
    }
    EXPECT_EQ(ZynConverter(850, 1252).Convert(nullptr, 0, nullptr, 0), 0U);
    EXPECT_EQ(Converted("", 850, 1252), "");
}

TEST(Conversion, TakesStringsOfAllForms) {
    const ZynConverter converter(850, 1208);
    const ZynString text("\x84");
    char area[4] = {};
    EXPECT_EQ(converter.Convert(text, area, 4), 2U);
    EXPECT_STREQ(area, "\xC3\xA4\x31");
    ZynString result("before");
    converter.Convert(text, result);
    EXPECT_EQ(Bytes(result), "\xC3\xA4");
    ZynConverter::ConvertAndAssignToString("\xC3\xA4", 1208, result, 437);
    EXPECT_EQ(Bytes(result), "\x84");
    ZynString same(text);
    converter.Convert(same, same);
    EXPECT_EQ(Bytes(same), "\xC3\xA4");
    const ZynString null;
    ZynBinary binary;
    Fails("!IsNull()",
          {[&] { converter.Convert(null, area, 4); }, [&] { converter.Convert(null, result); },
           [&] { ZynConverter::ConvertAndAssignToString(null, 850, result, 1252); },
           [&] { ZynConverter::ToUnicode(null, binary); },
           [&] { ZynConverter::ToBigEndianUnicode(null, binary); },
           [&] { ZynConverter::FromUnicode(binary, result); }});
    EXPECT_EQ(Bytes(result), "\x84");
}

TEST(Conversion, FailsAtOnceForAnUnknownCodePage) {
    EXPECT_THROW(ZynConverter(9999, 850), ZynConverter::InvalidCodePage);
    ZynConverter converter(850, 1208);
    EXPECT_THROW(converter.Initialize(850, 9999), ZynConverter::InvalidCodePage);
    ZynString text;
    Fails("index >= 0", {[&] { converter.Convert("a", text); }}, "Assertion");
    converter.Initialize(850, 1208);
    char area[1] = {};
    EXPECT_THROW(converter.Convert("ab", area, 1), ZynConverter::InsufficientBufferSize);
    converter.Convert("\x81", text); // a failed conversion leaves it usable
    EXPECT_EQ(Bytes(text), "\xC3\xBC");
}

// Encodings of Unicode whose digit takes more than two bytes, or that have characters of one byte
// behind which there are two units.
TEST(Conversion, HasNoRoomForSomeEncodings) {
    for (const unsigned short ccsid : std::initializer_list<unsigned short>{1204, 1232, 1234})
        EXPECT_THROW(Converted("\xE6\xBC\xA2\xE5\xAD\x97", 1208, ccsid),
                     ZynConverter::InsufficientBufferSize)
            << ccsid;
    TraceLines lines(1);
    char area[40] = {};
    EXPECT_THROW(ZynConverter(1208, 1232).Convert(ZynString("\xE6\xBC\xA2"), area, 40),
                 ZynConverter::InsufficientBufferSize);
    EXPECT_THAT(lines.Take(), Not(Contains(HasSubstr("sourceLen")))); // the text itself has room
    std::string emojis;
    for (int i = 0; i < 50; ++i)
        emojis += FromHex("F09F9880");
    const std::string compressed = Converted(emojis, 1208, 1212);
    EXPECT_LT(compressed.size(), 99U);
    EXPECT_THROW(Converted(compressed, 1212, 1208), ZynConverter::InsufficientBufferSize);
}

// ICU refuses no bytes, so only its own limits lead here.
TEST(Conversion, TellsWhatIcuRefuses) {
    const ZynConverter converter(850, 1252);
    const auto refused = [](const std::string& text) {
        return testing::Throws<ZynConverter::InvalidInputString>(
            testing::AllOf(testing::ResultOf([](const auto& e) { return Bytes(e.Text()); }, text),
                           testing::ResultOf([](const auto& e) { return e.BytePosition(); }, 0U),
                           testing::ResultOf([](const auto& e) { return e.Ccsid(); }, 850)));
    };
    const auto line = [](const std::string& text) {
        return Contains(
            StartsWith("00,Er,Kr THROW_INT, InvalidInputString: Invalid character in string " +
                       text + " at byte position 0 with codepage KOR-850"));
    };
    char area[8] = {};
    const char tooLong[] = "secret"; // as far as it is looked at
    EXPECT_THAT([&] { converter.Convert(tooLong, INT_MAX, area, 0); }, refused("secret"));
    TraceLines lines(33);
    EXPECT_THAT([&] { converter.Convert(tooLong, INT_MAX, area, 0, true); }, refused("secret"));
    EXPECT_THAT(lines.Take(), testing::AllOf(line("<null>"), Not(Contains(HasSubstr("secret")))));
    EXPECT_THAT([&] { converter.Convert(nullptr, 3, area, 8); }, refused("(null)"));
    EXPECT_THAT(lines.Take(), line("<null>"));
    EXPECT_THAT([&] { converter.Convert("abc", 3, nullptr, 8); },
                testing::Throws<ZynOSException>(testing::ResultOf(
                    Printed<ZynOSException>,
                    testing::AllOf(HasSubstr("icu_tgt"), HasSubstr("ReasonCode=1")))));
}

TEST(Conversion, ShowsTheTextInTheTraceUnlessItIsHidden) {
    const ZynConverter converter(850, 1208);
    ZynString result;
    char area[1] = {};
    TraceLines lines(33);
    converter.Convert(ZynString("se\x84"), result);
    const std::string pages = " from source code page KOR-850 to target code page UTF-8";
    EXPECT_THAT(lines.Take(), ElementsAre("33,Gn,Kr Convert string (hex: 736584)" + pages,
                                          "33,Gn,Kr Readable string: \"se\x84\"."));
    converter.Convert(ZynString(std::string(101, 'a').c_str()), result);
    EXPECT_THAT(lines.Take()[1], "33,Gn,Kr Readable string: \"" + std::string(100, 'a') + "\".");
    converter.Convert(ZynString("secret"), result, true);
    EXPECT_THAT(lines.Take(), ElementsAre("33,Gn,Kr Convert hidden string " + pages));

    EXPECT_THROW(converter.Convert(ZynString("ab"), area, 1), ZynConverter::InsufficientBufferSize);
    EXPECT_THAT(
        lines.Take(),
        ElementsAre("33,Gn,Kr Convert string (hex: 6162)" + pages,
                    "33,Gn,Kr Readable string: \"ab\".", "00,Er,Kr Source Codepage = KOR-850",
                    "00,Er,Kr Target Codepage = UTF-8", "00,Er,Kr Src string (hex)= 6162",
                    "00,Er,Kr UCS string (hex)= 61006200", "00,Er,Kr Tgt string (hex)= 61",
                    "00,Er,Kr sourceLen: 2, ICU Error src   = 0, ucsCount:    2",
                    "00,Er,Kr targetLen: 1, ICU Error tgt   = 15, targetCount: 3",
                    HasSubstr("THROW_INT, InsufficientBufferSize for codepage conversion")));
    EXPECT_THROW(converter.Convert(ZynString("ab"), area, 1, true),
                 ZynConverter::InsufficientBufferSize);
    EXPECT_THAT(lines.Take(), Not(Contains(testing::AnyOf(HasSubstr("ab"), HasSubstr("6162"),
                                                          HasSubstr("6100")))));
    ZynBinary unicode;
    ZynConverter::ConvertAndAssignToString("secret", 850, result, 1208, true);
    ZynConverter::ToUnicode("secret", unicode, true);
    ZynConverter::FromUnicode(unicode, result, true);
    EXPECT_THAT(lines.Take(), Not(Contains(testing::AnyOf(HasSubstr("secret"), HasSubstr("736563"),
                                                          HasSubstr("0073")))));

    ZynTrace::SetFilter(0, 0, 0); // extended trace alone opens the dump
    ZynTrace::SetXt(true, nullptr, nullptr);
    EXPECT_THROW(converter.Convert(ZynString("ab"), area, 1), ZynConverter::InsufficientBufferSize);
    ZynBinary buffers[3];
    ZynTrace::DumpBuffers(buffers[0], buffers[1], buffers[2]);
    ZynTrace::SetXt(false, nullptr, nullptr);
    EXPECT_THAT(Bytes(buffers[0]) + Bytes(buffers[1]) + Bytes(buffers[2]),
                HasSubstr("Src string (hex)= 6162"));
}

TEST(Unicode, IsMadeOfTheProcessesCodePage) {
    const std::map<std::string, std::pair<std::string, std::string>> rows = {
        {"C", {"41E4", "004100E4"}},
        {"de_DE.CP1252", {"41E4", "004100E4"}},
        {"de_DE.ISO-8859-1", {"41E4", "004100E4"}},
        {"de_DE.ISO-8859-15", {"41A4", "004120AC"}},
        {"de_DE.UTF-8", {"41C3A4", "004100E4"}},
        {"ja_JP.SJIS", {"8ABF41", "6F220041"}},
        {"ko_KR.EUC-KR", {"C7D141", "D55C0041"}},
        {"zh_CN.GBK", {"BABA41", "6C490041"}}};
    const auto& [text, unicode] = rows.at(std::setlocale(LC_ALL, nullptr));
    TraceLines lines(3);
    ZynBinary binary;
    ZynConverter::ToUnicode(FromHex(text).c_str(), binary);
    EXPECT_EQ(Bytes(binary), FromHex(unicode));
    const std::string own = std::to_string(ZynConverter::GetCurrentOSCodePage());
    const int first = static_cast<unsigned char>(FromHex(unicode)[0]) +
                      256 * static_cast<unsigned char>(FromHex(unicode)[1]);
    EXPECT_THAT(
        lines.Take(),
        testing::IsSupersetOf({"03,Gn,Kr sourceString: " + FromHex(text) + ", as Hex: " + text,
                               "03,Gn,Kr Conversion from " + own + " to UCS-2",
                               "03,Gn,Kr First two bytes of string are: " + std::to_string(first),
                               "03,Gn,Kr targetBin in Hex: " + unicode}));
    ZynString back;
    ZynConverter::FromUnicode(binary, back);
    EXPECT_EQ(Bytes(back), FromHex(text));
    EXPECT_THAT(lines.Take(), Contains("03,Gn,Kr Conversion from UCS-2 to " + own));
    ZynConverter::ToBigEndianUnicode(FromHex(text).c_str(), binary, true);
    EXPECT_EQ(Bytes(binary), FromHex(unicode));
    EXPECT_THAT(lines.Take(), Not(Contains(HasSubstr("Hex"))));
    ZynConverter::ToUnicode("", binary);
    EXPECT_EQ(Bytes(binary), "");
}

// Only an encoding of Unicode has the mark.
TEST(Unicode, LosesItsByteOrderMark) {
    if (ZynConverter::GetCurrentOSCodePage() != 1208)
        return;
    const auto rows = Rows<std::string, std::string, std::string>(
        "EFBBBF41 4100 swap  EFBBBF - swap  EFBFBE41 0041 strip  EFBFBE - strip "
        "41EFBBBF 0041FEFF none  EFBBBFEFBBBF FFFE swap");
    TraceLines lines(3);
    for (const auto& [text, unicode, mark] : rows) {
        ZynBinary binary;
        ZynConverter::ToBigEndianUnicode(FromHex(text).c_str(), binary);
        EXPECT_EQ(Bytes(binary), unicode == "-" ? "" : FromHex(unicode)) << text;
        const std::vector<std::string> told = lines.Take();
        EXPECT_EQ(testing::Value(told, Contains("03,Gn,Kr Strip BOM + Swap byte order")),
                  mark == "swap");
        EXPECT_EQ(testing::Value(told, Contains("03,Gn,Kr Strip BOM only")), mark == "strip");
    }
}

// An encoding with shift states shows whether two threads are ever inside the same converter.
TEST(Conversion, IsForAnyThread) {
    std::string text;
    for (int i = 0; i < 500; ++i)
        text += "\xE6\xBC\xA2"
                "a";
    const std::string expected = Converted(text, 1208, 930);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            const auto other = static_cast<unsigned short>(i % 2 == 0 ? 850 : 437);
            for (int round = 0; round < 200; ++round) {
                EXPECT_EQ(Converted(text, 1208, 930), expected);
                EXPECT_EQ(Converted("\x84\x81", other, 1208), "\xC3\xA4\xC3\xBC");
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
