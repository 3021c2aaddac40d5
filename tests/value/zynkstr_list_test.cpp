#include "characters.h"

namespace {

/// The list step by step, as plain text, for all settings of the two flags.
class PlainTokenizer {
  public:
    PlainTokenizer(char32_t separator, bool strip, bool skipEmpty)
        : _separator(separator), _strip(strip), _skipEmpty(skipEmpty) {}

    void SetList(const std::u32string& list) {
        _rest = _strip ? Stripped(list) : list;
        _left = !_skipEmpty || !_rest.empty();
        if (_skipEmpty && _rest.starts_with(_separator))
            SetList(_rest.substr(1));
    }
    bool Empty() const { return !_left; }
    const std::u32string& Rest() const { return _rest; }
    std::u32string Next() {
        for (;;) {
            const std::size_t end = _rest.find(_separator);
            std::u32string token = _rest.substr(0, end);
            if (end == std::u32string::npos)
                _left = false;
            else
                SetList(_rest.substr(end + 1));
            token = _strip ? Stripped(token) : token;
            if (!_left || !_skipEmpty || !token.empty())
                return token;
        }
    }

  private:
    static std::u32string Stripped(const std::u32string& text) {
        const std::size_t first = text.find_first_not_of(U' ');
        return first == std::u32string::npos
                   ? U""
                   : text.substr(first, text.find_last_not_of(U' ') - first + 1);
    }

    char32_t _separator;
    bool _strip;
    bool _skipEmpty;
    bool _left = true;
    std::u32string _rest;
};

TEST_P(StringCharacters, AreDeliveredInTokens) {
    for (int round = 0; round < 6000 && !HasFailure(); ++round) {
        const std::u32string list = Draw(9, U",,,  ");
        const bool strip = random() % 2 == 0;
        const bool skipEmpty = random() % 2 == 0;
        // The second character of an alphabet may look like the end of another one.
        const std::u32string wide = random() % 2 == 0 ? U"," : encoding.alphabet.substr(1, 1);
        const std::string bytes = Encode(wide).size() == 1 ? Encode(wide) : ",";
        const char32_t separator = bytes == "," ? U',' : wide[0];
        SCOPED_TRACE(testing::PrintToString(std::tie(list, strip, skipEmpty, bytes)));
        PlainTokenizer plain(separator, strip, skipEmpty);
        plain.SetList(list);
        ZynString::Tokenizer tokenizer("x,y", bytes[0], strip, skipEmpty);
        tokenizer.Next();
        tokenizer.SetList(Text(list));
        for (; !plain.Empty() && !HasFailure();) {
            ASSERT_FALSE(tokenizer.Empty());
            EXPECT_EQ(Bytes(tokenizer.Rest()), Encode(plain.Rest()));
            EXPECT_EQ(Bytes(tokenizer.Next()), Encode(plain.Next()));
        }
        EXPECT_TRUE(tokenizer.Empty() && tokenizer.Rest().IsNull() && tokenizer.Next().IsNull());

        const std::u32string item = Draw(2, std::u32string(1, separator));
        std::u32string made = list;
        if (!list.empty() && !item.empty() && !list.ends_with(separator))
            made += separator;
        made += item.starts_with(separator) ? item.substr(1) : item;
        ZynString joined = ZynString::MakeList(Text(list), Text(item), bytes[0]);
        joined.StripShiftInShiftOut();
        EXPECT_EQ(Bytes(joined), Encode(made));
    }
}

TEST_P(StringCharacters, ThatAreInvalidMakeNoToken) {
    for (const auto& [word] : Rows<std::string>(encoding.invalid)) {
        const ZynString list(("a," + word).c_str());
        const ZynString::Tokenizer tokenizer(list, ',', false, false);
        EXPECT_THROW(tokenizer.Next(), ZynOSException);
        EXPECT_THROW(ZynString::ListContains(list, "a", ','), ZynOSException);
    }
}

TEST(StringList, IsJoinedWithOneSeparator) {
    const ZynString null;
    const std::tuple<ZynString, ZynString, const char*> rows[] = {
        {"a", "b", "a,b"},     {"a,", ",b", "a,b"}, {"a", ",b", "a,b"}, {"a,", "b", "a,b"},
        {"a,", ",,b", "a,,b"}, {"", "b", "b"},      {null, "b", "b"},   {null, ",b", "b"},
        {"a", "", "a"},        {"a,", "", "a,"},    {null, "", ""},     {",", "b", ",b"}};
    for (const auto& [list, item, expected] : rows)
        EXPECT_EQ(Bytes(ZynString::MakeList(list, item, ',')), expected) << list << ' ' << item;
    Fails("!item.IsNull()", {[&] { ZynString::MakeList("a", null, ','); }});
}

TEST(StringList, ContainsItsItems) {
    const ZynString null;
    const std::tuple<ZynString, ZynString, bool> rows[] = {
        {"a, b", "b", true},  {"a,b", "", false},  {"a,,b", "", true}, {"a,", "", true},
        {"a, ,b", "", true},  {"", "", true},      {"", "a", false},   {"a, b", " b", false},
        {"ab,c", "a", false}, {"a,b", "A", false}, {",,a", "a", true}, {null, null, true},
        {null, "", false},    {"", null, false}};
    for (const auto& [list, item, expected] : rows)
        EXPECT_EQ(ZynString::ListContains(list, item, ','), expected) << list << ' ' << item;
}

} // namespace
