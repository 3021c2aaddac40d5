#include "contract/failing.h"

#include <clocale>
#include <langinfo.h>

#include <map>
#include <random>

#include "zynkplat.h"

namespace {

struct Encoding {
    std::u32string alphabet;
    std::string invalid; ///< words that are no characters
    std::string cases;   ///< words: a text, the same in lower case, in upper case
};

/// By codeset, and without a name the one with shift states. The alphabets hold what is easily
/// mistaken: second bytes that look like letters or like first bytes, pairs that have a unit in
/// common. The cases have letters that grow or leave the encoding.
const std::map<std::string, Encoding> encodings = {
    {"", {U"aA\u4141\u4142\u4241", "\xFF", "aB\16AB\17c ab\16AB\17c AB\16AB\17C"}},
    {"ANSI_X3.4-1968", {U"abB\\", "\xFF", "aZ1 az1 AZ1"}},
    {"ISO-8859-1", {U"abéÿ", "", "\xC4\xE9z \xE4\xE9z \xC4\xC9Z  Z\xFF z\xFF Z\xFF"}},
    {"UTF-8",
     {U"aéè€😀😁\U0010FFFF", "\xC3( \xE2\x82 \xF4\x90\x80\x80 \xF8\x88\x80\x80\x80",
      "Äé😀z äé😀z ÄÉ😀Z  aɐ aɐ AⱯ  ȺȺ ⱥⱥ ȺȺ"}},
    {"SHIFT_JIS",
     {U"a¥ソ表ャｱ", "\x83!", "a\x83\x5C\x82\x61 a\x83\x5C\x82\x82 A\x83\x5C\x82\x61"}}};

/// A byte of its own, or between 0x0E and 0x0F two bytes that look like letters. The shift bytes
/// belong to the character beside them: 3 bytes at either end of a run, 4 if it is alone in it.
struct ShiftMultiByte final : zynkplat::MultiByte {
    unsigned long MaxBytes() const override { return 4; }
    bool ResetShiftState() override {
        shifted = false;
        return true;
    }
    /// Every other "?" is no character, so that a walk may meet what the one before has passed.
    int Length(const char* s, unsigned long n) override {
        char32_t wide = 0;
        return *s == '?' && ++met % 2 == 0 ? -1 : ToWide(wide, s, n);
    }
    int ToWide(char32_t& wide, const char* s, unsigned long) override {
        const char* const start = s;
        for (; *s == '\16' || *s == '\17'; ++s)
            shifted = *s == '\16';
        wide = static_cast<unsigned char>(*s++);
        if (shifted) {
            wide = wide << 8U | static_cast<unsigned char>(*s++);
            shifted = *s != '\17';
            s += shifted ? 0 : 1;
        }
        return wide == 0xFF ? -1 : wide == 0 ? 0 : static_cast<int>(s - start);
    }
    int FromWide(char* to, char32_t wide) override {
        const char* const start = to;
        const bool isDouble = wide > 0xFF;
        if (isDouble != shifted)
            *to++ = isDouble ? '\16' : '\17';
        if (isDouble)
            *to++ = static_cast<char>(wide >> 8U);
        *to++ = static_cast<char>(wide & 0xFFU);
        shifted = isDouble;
        return static_cast<int>(to - start);
    }
    char32_t ToLower(char32_t c) const override { return c >= 'A' && c <= 'Z' ? c + 32 : c; }
    char32_t ToUpper(char32_t c) const override { return c >= 'a' && c <= 'z' ? c - 32 : c; }

    int met = 0;
    bool shifted = false;
};

// In the locale of the program, and with shift states.
class StringCharacters : public testing::TestWithParam<bool> {
  protected:
    StringCharacters() { zynkplat::UseMultiByte(GetParam() ? &shift : nullptr); }
    ~StringCharacters() override { zynkplat::UseMultiByte(nullptr); }

    /// The bytes of a text that is well formed by itself.
    static std::string Encode(const std::u32string& text) {
        auto& multiByte = zynkplat::CurrentMultiByte();
        multiByte.ResetShiftState();
        std::string bytes;
        char character[16];
        for (const char32_t wide : text)
            bytes.append(character, character + multiByte.FromWide(character, wide));
        return multiByte.FromWide(character, U'\0') > 1 ? bytes + '\17' : bytes;
    }
    static ZynString Text(const std::u32string& text) { return Encode(text).c_str(); }

    ShiftMultiByte shift;
    const Encoding& encoding = encodings.at(GetParam() ? "" : nl_langinfo(CODESET));
};

INSTANTIATE_TEST_SUITE_P(WithShiftStates, StringCharacters, testing::Bool());

TEST_P(StringCharacters, AgreeWithWideCharacters) {
    std::mt19937 random(20011);
    const auto draw = [&](std::size_t max) { return random() % (max + 1); };
    const auto characters = [&](std::size_t size) {
        std::u32string text(size, U'\0');
        for (char32_t& wide : text)
            wide = encoding.alphabet[draw(encoding.alphabet.size() - 1)];
        return text;
    };
    for (int round = 0; round < 4000 && !HasFailure(); ++round) {
        const std::u32string own = characters(draw(9));
        const std::u32string part = characters(draw(2));
        const std::u32string fresh = characters(draw(2));
        const std::u32string trim = characters(1 + draw(1));
        const unsigned long start = 1 + draw(own.size());
        const unsigned long count = draw(Encode(own).size() + 1);
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
