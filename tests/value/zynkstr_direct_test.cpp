// What is known ahead of an encoding, beside the same operations with each character asked for.
#include <clocale>
#include <latch>
#include <random>
#include <thread>

#include "contract/failing.h"
#include "zynkconv.h"
#include "zynkplat.h"

namespace {

// The platform's own functions, of which nothing is known ahead.
struct AskedMultiByte : zynkplat::MultiByte {
    unsigned long MaxBytes() const override { return own.MaxBytes(); }
    bool ResetShiftState() override { return own.ResetShiftState(); }
    int Length(const char* s, unsigned long n) override { return own.Length(s, n); }
    int ToWide(char32_t& wide, const char* s, unsigned long n) override {
        return own.ToWide(wide, s, n);
    }
    int FromWide(char* to, char32_t wide) override { return own.FromWide(to, wide); }
    char32_t ToLower(char32_t wide) const override { return own.ToLower(wide); }
    char32_t ToUpper(char32_t wide) const override { return own.ToUpper(wide); }

    zynkplat::MultiByte& own = zynkplat::CurrentMultiByte();
};

// Second bytes may be those of ASCII; two have sequences of two characters, or that only what
// follows ends.
const char* const locales[] = {
    "C",          "de_DE.UTF-8",      "de_DE.ISO-8859-1", "de_DE.CP1252",    "zh_CN.GBK",
    "ja_JP.SJIS", "zh_HK.BIG5-HKSCS", "ko_KR.EUC-KR",     "vi_VN.TCVN5712-1"};

class StringDirect : public testing::Test {
  protected:
    // The first question for the code page puts the process into its locale.
    StringDirect() { ZynConverter::GetCurrentOSCodePage(); }
    ~StringDirect() override {
        zynkplat::UseMultiByte(nullptr);
        std::setlocale(LC_ALL, before.c_str());
    }

    const std::string before = std::setlocale(LC_ALL, nullptr);
    AskedMultiByte asked;
    std::mt19937 random{20012};
};

// A result, or what was thrown instead.
template <class Operation>
std::string Outcome(const Operation& operation) {
    try {
        return testing::PrintToString(operation());
    } catch (const ZynIntException& failure) {
        return Printed(failure);
    }
}

std::string Outcomes(const std::string& text, const std::string& part) {
    const ZynString own(text.c_str());
    const ZynString other(part.c_str());
    const char single = part.empty() ? '?' : part[0];
    ZynString changed[5] = {own, own, own, own, own};
    std::string all;
    for (const std::string& outcome :
         {Outcome([&] { return own.LengthChar(); }), Outcome([&] { return own.Position(other); }),
          Outcome([&] { return own.LastPosition(other, 2); }),
          Outcome([&] { return Bytes(own.SubString(3, 4)); }),
          Outcome([&] { return Bytes(own.Truncate(7)); }),
          Outcome([&] { return own.MatchesPattern(other, single, '*'); }),
          Outcome([&] { return static_cast<unsigned int>(ZynString::ToWChar(text.c_str())); }),
          Outcome([&] { return changed[0].Substitute(other, "-"), Bytes(changed[0]); }),
          Outcome([&] { return changed[1].StripChar(other.C_str()), Bytes(changed[1]); }),
          Outcome([&] { return Bytes(changed[2].ToUpperCase()); }),
          Outcome([&] { return Bytes(changed[3].Quote(single, '\\')); }),
          Outcome([&] { return Bytes(changed[4].Unquote(single, '\\')); })})
        all += outcome + '\n';
    return all;
}

// The locale changes from text to text. Short and long texts, of bytes that are mostly those of
// ASCII and of pieces that are characters in one encoding or another.
TEST_F(StringDirect, AgreesWithAskingForEachCharacter) {
    const std::string pieces[] = {"abcdefgh", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                                  "\x83\x5C", "\x88\x62", "\xA4\x40",     "\xED\xA0\x80",
                                  "A\xB3",    "*",        "\\",           "\xF4\x90\x80\x80"};
    const auto draw = [&](unsigned long most) {
        std::string text;
        for (unsigned long n = random() % (most + 1); n > 0; --n)
            switch (random() % 8) {
            case 0:
                text += static_cast<char>(random() % 256);
                break;
            case 1:
                text += pieces[random() % std::size(pieces)];
                break;
            default:
                text += static_cast<char>('A' + random() % 3);
            }
        return text;
    };
    for (int round = 0; round < 6000 && !HasFailure(); ++round) {
        const char* const locale = locales[random() % std::size(locales)];
        ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr) << locale;
        const std::string text = draw(round % 50 == 0 ? 300 : 20);
        const std::string part = draw(2);
        zynkplat::UseMultiByte(&asked);
        const std::string expected = Outcomes(text, part);
        zynkplat::UseMultiByte(nullptr);
        EXPECT_EQ(Outcomes(text, part), expected)
            << locale << ' ' << testing::PrintToString(std::tie(text, part));
    }
}

TEST_F(StringDirect, IsAThreadsOwn) {
    const std::pair<const char*, unsigned long> rows[] = {
        {"de_DE.UTF-8", 2}, {"de_DE.CP1252", 3}, {"ja_JP.SJIS", 3}};
    std::latch start(std::size(rows));
    std::vector<std::thread> threads;
    for (const auto& [name, length] : rows) {
        ASSERT_NE(std::setlocale(LC_ALL, name), nullptr) << name;
        const locale_t own = duplocale(LC_GLOBAL_LOCALE); // newlocale loses memory of its own
        threads.emplace_back([&start, own, name = name, length = length] {
            uselocale(own);
            start.arrive_and_wait();
            for (int i = 0; i < 2000; ++i)
                EXPECT_EQ(ZynString("a\xC3\xA4").LengthChar(), length) << name;
            uselocale(LC_GLOBAL_LOCALE);
            freelocale(own);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
