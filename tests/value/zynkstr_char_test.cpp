#include <clocale>

#include "characters.h"

namespace {

INSTANTIATE_TEST_SUITE_P(WithShiftStates, StringCharacters, testing::Bool());

TEST_P(StringCharacters, AgreeWithWideCharacters) {
    for (int round = 0; round < 4000 && !HasFailure(); ++round) {
        const std::u32string own = Draw(9);
        const std::u32string part = Draw(2);
        const std::u32string fresh = Draw(2);
        const std::u32string trim =
            encoding.alphabet[random() % encoding.alphabet.size()] + Draw(1);
        const unsigned long start = 1 + random() % (own.size() + 1);
        const unsigned long count = random() % (Encode(own).size() + 2);
        SCOPED_TRACE(testing::PrintToString(std::tie(own, part, fresh, trim, start, count)));

        // npos and 1 make 0: not found.
        const unsigned long first = part.empty() ? 0 : own.find(part, start - 1) + 1;
        const unsigned long last = part.empty() ? 0 : own.rfind(part) + 1;
        const ZynString text = Text(own);
        EXPECT_EQ(text.LengthChar(), own.size());
        EXPECT_EQ(text.Position(Text(part), start), first);
        EXPECT_EQ(text.LastPosition(Text(part), start), last < start ? 0 : last);
        EXPECT_EQ(text.LengthFromLastPosition(Text(part)), own.size() - last);
        EXPECT_EQ(Bytes(text.SubString(start, count)), Encode(own.substr(start - 1, count)));

        std::u32string fitting = own;
        while (Encode(fitting).size() > count)
            fitting.pop_back();
        EXPECT_EQ(Bytes(text.Truncate(count)), Encode(fitting));

        // Of a text that begins otherwise, only the first character to be stripped goes, at its
        // end.
        const std::u32string head = trim.substr(0, 1);
        const bool isDouble = Encode(head).size() > 1;
        const std::u32string ends = isDouble || own.starts_with(head) ? trim : head;
        std::u32string rest = own;
        while (rest.starts_with(ends))
            rest.erase(0, ends.size());
        while (rest.ends_with(ends))
            rest.resize(rest.size() - ends.size());
        ZynString trimmed(text);
        trimmed.StripChar(Encode(trim).c_str());
        EXPECT_EQ(Bytes(trimmed), Encode(rest));

        std::u32string expected = own;
        unsigned long hits = 0;
        for (auto at = own.find(part); !part.empty() && at != std::u32string::npos; ++hits)
            at = expected.replace(at, part.size(), fresh).find(part, at + fresh.size());
        ZynString replaced(text);
        EXPECT_EQ(replaced.Substitute(Text(part), Text(fresh)), hits);
        replaced.StripShiftInShiftOut(); // each piece has shift bytes of its own
        EXPECT_EQ(Bytes(replaced), Encode(expected));
        EXPECT_EQ(Bytes(text), Encode(own));

        const char32_t unit = head[0] > 0xFFFF ? 0xD7C0 + (head[0] >> 10U) : head[0];
        EXPECT_EQ(ZynString::ToWChar(Encode(head).c_str()), unit);
        EXPECT_EQ(ZynString::IsDBCSChar(Encode(head).c_str()), isDouble);
        EXPECT_EQ(text < Text(part), Encode(own) < Encode(part));
        EXPECT_EQ(text == Text(part), own == part);
    }
}

TEST_P(StringCharacters, ChangeCaseOrStayAsTheyAre) {
    for (const auto& [text, lower, upper] :
         Rows<std::string, std::string, std::string>(encoding.cases)) {
        EXPECT_EQ(Bytes(ZynString(text.c_str()).AsLowerCase()), lower);
        EXPECT_EQ(Bytes(ZynString(text.c_str()).AsUpperCase()), upper);
    }
}

TEST_P(StringCharacters, ThrowWhereTheyMeetAnInvalidSequence) {
    std::string invalid;
    ZynString bad;
    const ZynString walked("?\16AA\17a"); // with shift states, invalid for each second walk
    const std::pair<std::string, std::function<void()>> rows[] = {
        {"mblen in zynkstr::LengthChar, ReturnCode=-1", [&] { bad.LengthChar(); }},
        {"mbtowc: input character is an invalid multibyte character, ReturnCode=0",
         [&] { ZynString::ToWChar(invalid.c_str()); }},
        {"mblen in 'ZynString::IsDBCSChar': input character is not a valid multibyte character, "
         "ReturnCode=-1",
         [&] { ZynString::IsDBCSChar(invalid.c_str()); }},
        {"mbstowcs: input string contains an invalid multibyte character, ReturnCode=-1",
         [&] { ZynString("abc").Position(bad); }},
        {"mblen in zynkstr::StripChar1, ReturnCode=-1",
         [&] { bad.StripChar((invalid + "a").c_str()); }},
        {"mblen in zynkstr::StripChar2, ReturnCode=-1", [&] { bad.StripChar("bb"); }},
        {"mblen in SubStringChar 1, ReturnCode=-1", [&] { walked.SubString(3, 1); }},
        {"mblen in SubStringChar 2, ReturnCode=-1", [&] { walked.SubString(1, 1); }}};
    for (const auto& [word] : Rows<std::string>(encoding.invalid)) {
        invalid = word;
        bad = ("a" + invalid).c_str();
        for (std::size_t i = 0; i < (GetParam() ? 8U : 6U); ++i)
            EXPECT_THAT(rows[i].second,
                        testing::Throws<ZynOSException>(testing::ResultOf(
                            Printed<ZynOSException>, testing::HasSubstr(rows[i].first))));
        bad.ToUpperCase().StripShiftInShiftOut();
        EXPECT_EQ(Bytes(bad.Truncate(bad.Length())), "a" + word);
        // Where all characters have one byte, a byte is stripped whatever stands beside it.
        if (zynkplat::CurrentMultiByte().MaxBytes() == 1) {
            bad.StripChar("a");
            EXPECT_EQ(Bytes(bad), word);
        }
    }
}

// One sequence of this encoding stands for two characters: no end is to be missed for that.
TEST(StringSubstitute, EndsBesideASequenceOfTwoCharacters) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "zh_HK.BIG5-HKSCS"), nullptr);
    ZynString text("\x88\x62"
                   "a\xA4\x40"
                   "a\x88\x62");
    EXPECT_EQ(text.Substitute("a", "b"), 2U);
    EXPECT_EQ(Bytes(text), "\x88\x62"
                           "b\xA4\x40"
                           "b\x88\x62");
    EXPECT_EQ(text.Substitute("\x88\x62", ""), 2U);
    EXPECT_EQ(Bytes(text), "b\xA4\x40"
                           "b");
    std::setlocale(LC_ALL, before.c_str());
}

} // namespace
