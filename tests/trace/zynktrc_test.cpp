#include "zynktrc.h"

#include <cstdlib>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <vector>

#include "contract/failing.h"
#include "zynkplat.h"
#include "zynktrc_line.h"

namespace {

TEST(TraceWords, AreNumbersOfAFixedForm) {
    const auto decimal = ZynTrace::LongFromString;
    const auto hexadecimal = ZynTrace::LongFromHexString;
    const std::tuple<decltype(decimal), const char*, bool, unsigned long> rows[] = {
        {decimal, "0", true, 0},
        {decimal, "0000000005", true, 5},
        {decimal, "4294967295", true, 4294967295},
        {decimal, "9999999999", true, 4294967295},
        {decimal, "12345678901", false, 7},
        {decimal, "", false, 7},
        {decimal, "-1", false, 7},
        {decimal, "5 ", false, 7},
        {decimal, "a", false, 7},
        {decimal, nullptr, false, 7},
        {hexadecimal, "ff", true, 255},
        {hexadecimal, "FFFFFFFF", true, 0xFFFFFFFF},
        {hexadecimal, "aBcDeF01", true, 0xABCDEF01},
        {hexadecimal, "123456789", false, 7},
        {hexadecimal, "", false, 7},
        {hexadecimal, "0x1", false, 7},
        {hexadecimal, "-1", false, 7},
        {hexadecimal, nullptr, false, 7}};
    for (const auto& [parse, text, isNumber, expected] : rows) {
        unsigned long number = 7;
        EXPECT_EQ(parse(number, text), isNumber);
        EXPECT_EQ(number, expected);
    }
}

TEST(TraceWords, AreCodesOfSingleBits) {
    std::string categories;
    std::string components;
    for (unsigned int bit = 1; bit != 0; bit <<= 1U) {
        categories += Bytes(ZynTrace::CatnCompAsString(static_cast<int>(bit), 0)).substr(0, 2);
        components += Bytes(ZynTrace::CatnCompAsString(0, static_cast<int>(bit))).substr(3);
    }
    EXPECT_EQ(categories, "FlErSCMsCtPfGnSq????Da" + std::string(42, '?'));
    EXPECT_EQ(components,
              "KrFMMgDBToCtStSFASESMSSSCSDSApACMCRCOCPeInAXTs????CACf" + std::string(10, '?'));
    EXPECT_TRUE(ZynTrace::CatnCompAsString(3, 1) == "??,Kr");
    EXPECT_TRUE(ZynTrace::CatnCompAsString(0, 3) == "??,??");
}

TEST(TraceWords, AreNamesOfProgramsAndFunctions) {
    const std::pair<const char*, const char*> programs[] = {{"/bin/zynserver.exe", "zynserver"},
                                                            {"zynserver", "zynserver"},
                                                            {"/a.b/c", "c"},
                                                            {"/a/b.c.d", "b.c"},
                                                            {"", "unknown"},
                                                            {"/a/", "unknown"},
                                                            {"/a/.x", "unknown"}};
    for (const auto& [path, name] : programs)
        EXPECT_EQ(zynktrc::ProcessName(path, '/'), name);
    EXPECT_EQ(zynktrc::ProcessName("c:\\bin\\zynserver.exe", '\\'), "zynserver");
    const std::pair<const char*, const char*> functions[] = {
        {"void f()", "f()"},
        {"static ZynString ZynString::MakeList(const ZynString&, char)", "ZynString::MakeList("},
        {"const char* a::b(int)", "a::b("},
        {"std::map<int, char> a::c<T>::b(int) [with T = int]", "a::c<T>::b("},
        {"Id zynkoids::{anonymous}::ReadFrame(ZynBinary)", "ReadFrame("},
        {"void (anonymous namespace)::f(int)", "f("},
        {"ZynString::ZynString(const char*)", "ZynString::ZynString("},
        {"int ZynOptions::operator()()", "ZynOptions::operator("},
        {"ZynBinary& ZynBinary::operator|=(const ZynBinary&)", "ZynBinary::operator|=("},
        {"decltype(auto) a::f(int)", "a::f("},
        {"f()::<lambda(int)>", "f()"}};
    for (const auto& [pretty, name] : functions)
        EXPECT_THAT(pretty + zynkFunctionName(pretty), testing::StartsWith(name)) << pretty;
}

enum Weekday { Monday = 1 };
struct Price {
    operator const char*() const { return "converted"; }
    operator int() const { return 7; }
};
std::ostream& operator<<(std::ostream& os, Weekday /*day*/) {
    return os << "Monday";
}
std::ostream& operator<<(std::ostream& os, const Price& /*price*/) {
    return os << std::setw(8) << std::setfill('*') << 1.5;
}
std::ostream& operator<<(std::ostream& os, const std::vector<int>& numbers) {
    return os << numbers.size() << " numbers";
}
enum Plain { PlainOne = 1 };

struct Grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
};

template <class T>
std::string Bounds() {
    std::string text;
    for (T number : {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T{0}, T{1}}) {
        ZynTrace::Text items;
        std::ostringstream plain;
        items.Stream() << number << ' ' << static_cast<T>(number / 2) << 'x';
        plain << number << ' ' << static_cast<T>(number / 2) << 'x';
        EXPECT_EQ(items.View(), plain.str());
        text += plain.str();
    }
    return text;
}

/// With an operator for streams of any type.
struct Point {
    float x;
    double y;
};

template <class Out>
Out& operator<<(Out& os, const Point& point) {
    return os << point.x << ',' << point.y << std::hex << std::endl << static_cast<void*>(nullptr);
}

TEST(TraceText, TakesItemsAsAnyStreamDoes) {
    const char* const none = nullptr;
    const std::string string("a\0b", 3);
    char area[] = "area";
    char* const inArea = area;
    const auto same = [](const auto& put) {
        std::ostringstream plain;
        put(plain);
        ZynTrace::Text text;
        put(text.Stream());
        EXPECT_EQ(text.View(), plain.str());
    };
    same([&](auto& os) { os << "text" << string << area << inArea << std::string_view("view"); });
    same([&](auto& os) { os << ZynString("z") << ZynString() << true << 'c' << -1 << 1.5 << "x"; });
    same([&](auto& os) { os << 1 << std::hex << 255 << std::setw(6) << "r" << true << -1; });
    same([&](auto& os) { os << std::setw(6) << "r" << std::setw(4) << 5 << std::endl << 6; });
    same([&](auto& os) { os << "before" << none << "behind" << 1; });
    same([&](auto& os) {
        os << Monday << PlainOne << Price() << 5 << std::vector<int>{1, 2} << 3;
    });
    same([&](auto& os) { os << 5 << Price() << Price(); });
    same([&](auto& os) { os << "at " << Point{1.5F, 2.5} << Point{} << 5; });
    same([&](auto& os) { os.width(5), os << 12, os.width(5), os << "12", os << 1; });
    same([&](auto& os) { os.setf(std::ios::showpos | std::ios::boolalpha), os << 12 << true; });
    same([&](auto& os) { os.setstate(std::ios::badbit), os << 12 << "x"; });
    same([&](auto& os) { os.imbue(std::locale(os.getloc(), new Grouping)), os << 1234567; });
    same([&](auto& os) { os.copyfmt(std::ostringstream()), os << 1234567; });
    same([&](auto& os) { os << static_cast<const void*>(none) << nullptr << L'x' - L'w'; });
    for (const unsigned int size :
         {0U, 1U, 3U, 4U, 7U, 8U, 15U, 16U, 17U, 31U, 32U, 33U, 999U, 3000U})
        same([&](auto& os) { os << std::string(size, 'y') << 12345 << std::string(size, 'z'); });
    for (unsigned long long n = 1; n != 0 && n < 10000000000000000000U; n *= 10)
        same([&](auto& os) { os << n - 1 << ',' << n << ',' << n + 1 << ',' << 9 * n; });
    EXPECT_THAT(Bounds<int>() + Bounds<short>() + Bounds<long>() + Bounds<long long>(),
                testing::HasSubstr("-9223372036854775808 "));
    EXPECT_THAT(Bounds<unsigned int>() + Bounds<unsigned short>() + Bounds<unsigned long>() +
                    Bounds<unsigned long long>() + Bounds<bool>(),
                testing::HasSubstr("18446744073709551615 "));
}

TEST(TraceText, GivesItsFormatToStreamsThatLiveLonger) {
    std::ostringstream later;
    for (int i = 0; i < 3; ++i) {
        ZynTrace::Text text;
        later.copyfmt(text.Stream());
        text.Stream() << std::hex << 1.5 << std::endl;
    }
    later.imbue(std::locale::classic());
    later << 1234567;
    EXPECT_EQ(later.str(), "1234567");
}

TEST(TraceSite, CanBeAnArgumentOfAMacro) {
    EXPECT_NO_THROW(ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, "x"));
}

TEST(TraceLine, BeginsWithItsPlace) {
    const auto general = [](std::string_view file, unsigned long line) {
        zynktrc::Line place;
        place.PutRight(zynktrc::FileName(file), 12);
        place.Put("(");
        place.PutNumber(line, 5);
        place.Put(") ");
        return std::string(place.View());
    };
    EXPECT_EQ(general("f", 5), "           f(    5) ");
    const auto same = [&](const auto& file) {
        for (const unsigned int line : {0U, 7U, 10U, 999U, 99999U, 100000U, 4294967295U})
            EXPECT_EQ(std::string_view(zynktrc::Place(file, line)), general(file, line));
    };
    same("f");
    same("folder/zynktrc_test.cpp");
    same("c:\\a/b\\zynk_eleven");
    same("twelve_chars");
    same("");
}

// A site within a site, and what one leaves in the stream, do not show in another.
TEST(TraceText, IsFreshForEachLine) {
    ZynTrace::Text outer;
    outer.Stream() << std::hex << std::setfill('x') << std::setw(5) << 10;
    {
        ZynTrace::Text inner;
        inner.Stream() << 10 << ' ' << 1234567.5 << std::ends;
        EXPECT_EQ(inner.View(), "10 1.23457e+06");
    }
    outer.Stream() << std::string(100000, 'y') << 'z';
    EXPECT_EQ(outer.View(), "xxxxa" + std::string(100000, 'y') + "z");
    for (int i = 0; i < 3; ++i) {
        ZynTrace::Text next;
        next.Stream() << 16;
        next.Stream().setstate(std::ios::badbit);
        EXPECT_EQ(next.View(), "16");
        next.Stream().rdbuf(nullptr);
    }
}

TEST(TraceText, ForgetsTheEndsOfThreads) {
    pthread_key_t next = 0;
    EXPECT_EXIT((zynkplat::AtThreadEnd([] {}), zynkplat::ForgetThreadEnds(),
                 pthread_key_create(&next, nullptr),
                 std::quick_exit(zynkplat::AtThreadEnd([] {}) ? 1 : 0)),
                testing::ExitedWithCode(0), "");
}

TEST(TraceLine, GrowsWithItsText) {
    for (const std::size_t size : {0U, 899U, 900U, 901U, 5000U}) {
        zynktrc::Line line;
        line.Put(std::string(size, 'a'));
        line.PutNumber(0, 3);
        line.PutNumber(18446744073709551615U, 4);
        line.PutTwo(105);
        EXPECT_EQ(line.View(), std::string(size, 'a') + "  01844674407370955161505");
    }
}

TEST(Trace, NeedsAReceiverToExternalize) {
    ZynBinary area("x", 1);
    Fails("_Externalize == true && _pExtFn != 0", {[&] { ZynTrace::Externalize(area); }});
    ZynBinary untouched;
    ZynTrace::DumpBuffers(untouched, untouched, untouched);
    EXPECT_TRUE(untouched.IsNull() && !ZynTrace::AlreadyDumped());
}

} // namespace
