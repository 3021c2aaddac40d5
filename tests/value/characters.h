// Texts in the encoding of the program's locale and in one with shift states.
#pragma once

#include <langinfo.h>

#include <map>
#include <random>

#include "contract/failing.h"
#include "zynkplat.h"

struct Encoding {
    std::u32string alphabet;
    std::string invalid; ///< words that are no characters
    std::string cases;   ///< words: a text, the same in lower case, in upper case
};

/// By codeset, and without a name the one with shift states. The alphabets hold what is easily
/// mistaken: second bytes that look like letters or like first bytes, pairs that have a unit in
/// common. The cases have letters that grow or leave the encoding.
inline const std::map<std::string, Encoding> encodings = {
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
struct ShiftMultiByte : zynkplat::MultiByte {
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

    /// A random text of some characters of the encoding's alphabet and of `more`.
    std::u32string Draw(std::size_t maxSize, const std::u32string& more = {}) {
        const std::u32string characters = encoding.alphabet + more;
        std::u32string text(random() % (maxSize + 1), U'\0');
        for (char32_t& wide : text)
            wide = characters[random() % characters.size()];
        return text;
    }

    std::mt19937 random{20011};
    ShiftMultiByte shift;
    const Encoding& encoding = encodings.at(GetParam() ? "" : nl_langinfo(CODESET));
};
