#include "characters.h"

namespace {

TEST_P(StringCharacters, AreQuotedAndBack) {
    for (int round = 0; round < 3000 && !HasFailure(); ++round) {
        const char quote = random() % 2 == 0 ? '"' : '\'';
        const char escape = random() % 2 == 0 ? '^' : quote;
        // The first bytes of these are never a part of another character, but this one is refused.
        std::u32string text = Draw(9, U"\"\"''^^");
        std::erase(text, U'\xFF');
        std::u32string quoted(1, static_cast<char32_t>(quote));
        for (const char32_t wide : text) {
            if (wide == static_cast<char32_t>(quote) || wide == static_cast<char32_t>(escape))
                quoted += static_cast<char32_t>(escape);
            quoted += wide;
        }
        quoted += static_cast<char32_t>(quote);
        SCOPED_TRACE(testing::PrintToString(quoted));
        ZynString own = Text(text);
        EXPECT_EQ(Bytes(own.Quote(quote, escape)), Encode(quoted));
        EXPECT_EQ(Bytes(own.Unquote(quote, escape)), Encode(text));
    }
}

TEST(StringQuote, TakesOnlyItsOwnAway) {
    const std::pair<const char*, const char*> rows[] = {{R"("")", ""},
                                                        {R"("a\"b")", R"(a"b)"},
                                                        {R"("a\nb")", R"(a\nb)"},
                                                        {R"("a\\")", R"(a\)"},
                                                        {R"("a\")", R"("a\")"},
                                                        {R"("a\\\")", R"("a\\\")"},
                                                        {R"("\\")", R"(\)"},
                                                        {R"("\")", R"("\")"},
                                                        {R"(a")", R"(a")"},
                                                        {R"("a)", R"("a)"},
                                                        {"\"", "\""},
                                                        {"", ""},
                                                        {R"("\\"")", R"(\")"},
                                                        {R"("a"b")", R"(a"b)"},
                                                        {R"("\\\\")", R"(\\)"},
                                                        {R"("\\\"a")", R"(\"a)"}};
    for (const auto& [quoted, expected] : rows)
        EXPECT_EQ(Bytes(ZynString(quoted).Unquote('"', '\\')), expected) << quoted;
    ZynString null;
    Fails("!IsNull()", {[&] { null.Quote('"', '\\'); }, [&] { null.Unquote('"', '\\'); }});
}

// The second byte pair of a double-byte run begins with the quote, and the run is cut there.
TEST(StringQuote, LooksAtFirstBytes) {
    ShiftMultiByte shift;
    zynkplat::UseMultiByte(&shift);
    EXPECT_EQ(Bytes(ZynString("\16ABAC\17z").Quote('A', '^')), "A\16AB\17^\16AC\17zA");
    EXPECT_EQ(Bytes(ZynString("\16AB\17\16AC\17").Quote('"', '^')), "\"\16ABAC\17\"");
    zynkplat::UseMultiByte(nullptr);
}

TEST_P(StringCharacters, ThatAreInvalidAreNotQuoted) {
    const std::string invalid = encoding.invalid + " a\xFFz";
    for (const auto& [word] : Rows<std::string>(invalid)) {
        ZynString text(word.c_str());
        EXPECT_THAT([&] { text.Quote('"', '\\'); },
                    testing::Throws<ZynOSException>(testing::ResultOf(
                        Printed<ZynOSException>,
                        testing::HasSubstr("mblen in zynkstr::Quote, ReturnCode=-1, ReasonCode=0, "
                                           "Origin=File=zynkstr, Line="))));
        EXPECT_EQ(Bytes(text), word);
    }
}

// A runtime that refuses on the way back what it took on the way in.
TEST(StringQuote, TellsWhichWayBackFailed) {
    struct OneWay final : ShiftMultiByte {
        int FromWide(char* to, char32_t wide) override {
            return wide == 'x' ? -1 : ShiftMultiByte::FromWide(to, wide);
        }
    } oneWay;
    zynkplat::UseMultiByte(&oneWay);
    const std::pair<const char*, const char*> rows[] = {
        {"\"x\"", "wctomb: input character is an invalid multibyte character, ReturnCode=0, "
                  "ReasonCode=0, Origin=File=zynkstr, Line=*, Function=ToMBChar"},
        {"\"??\"", "mblen in in zynkstr::UnQuote, ReturnCode=-1, ReasonCode=0, "
                   "Origin=File=zynkstr, Line=*, Function=ZynString::Unquote"}};
    for (const auto& [quoted, expected] : rows) {
        ZynString text(quoted);
        try {
            text.Unquote('"', '\\');
            ADD_FAILURE() << quoted;
        } catch (const ZynOSException& e) {
            EXPECT_TRUE(ZynString(Printed(e).c_str())
                            .MatchesPattern((std::string("*") + expected).c_str(), '\1', '*'))
                << e;
        }
        EXPECT_EQ(Bytes(text), quoted);
    }
    zynkplat::UseMultiByte(nullptr);
}

} // namespace
