// Lists: the tokenizer and what is built on it, beside one that does each step on plain texts.
#include "support/fuzz.h"
#include "support/plain_text.h"

namespace {

using Text = std::u32string;

Text Stripped(const Text& text) {
    const std::size_t first = text.find_first_not_of(U' ');
    return first == Text::npos ? U"" : text.substr(first, text.find_last_not_of(U' ') - first + 1);
}

class PlainTokenizer {
  public:
    PlainTokenizer(char32_t separator, bool strip, bool skipEmpty, const Text& list)
        : _separator(separator), _strip(strip), _skipEmpty(skipEmpty) {
        SetList(list);
    }

    bool Empty() const { return !_rest.has_value(); }
    const std::optional<Text>& Rest() const { return _rest; }
    std::optional<Text> Next() {
        std::optional<Text> token;
        while (_rest) {
            const std::size_t end = _rest->find(_separator);
            token = _rest->substr(0, end);
            if (end != Text::npos)
                SetList(Text(*_rest, end + 1));
            else
                _rest.reset();
            if (_strip)
                token = Stripped(*token);
            if (!_skipEmpty || !token->empty())
                break;
        }
        return token;
    }

  private:
    void SetList(const Text& list) {
        _rest = list;
        do {
            if (_strip)
                _rest = Stripped(*_rest);
        } while (_skipEmpty && _rest->starts_with(_separator) && !_rest->erase(0, 1).empty());
        if (_skipEmpty && _rest->empty())
            _rest.reset();
    }

    char32_t _separator;
    bool _strip;
    bool _skipEmpty;
    std::optional<Text> _rest;
};

bool IsSame(const ZynString& string, const std::optional<Text>& text) {
    return text ? !string.IsNull() && zynfuzz::Characters(zynfuzz::Bytes(string)) == text
                : string.IsNull();
}

void CheckTokens(const std::string& list, char separator, bool strip, bool skipEmpty) {
    PlainTokenizer plain(zynfuzz::Characters({separator})->front(), strip, skipEmpty,
                         *zynfuzz::Characters(list));
    const ZynString::Tokenizer tokenizer(zynfuzz::AsString(list), separator, strip, skipEmpty);
    for (bool hasMore = true; hasMore;) {
        FUZZ_CHECK(tokenizer.Empty() == plain.Empty());
        FUZZ_CHECK(IsSame(tokenizer.Rest(), plain.Rest()));
        hasMore = !plain.Empty();
        FUZZ_CHECK(IsSame(tokenizer.Next(), plain.Next()));
    }
}

void CheckLists(const std::string& list, const std::string& item, char separator) {
    const char32_t wideSeparator = zynfuzz::Characters({separator})->front();
    const Text wideList = *zynfuzz::Characters(list);
    const Text wideItem = *zynfuzz::Characters(item);
    bool isContained = false;
    PlainTokenizer plain(wideSeparator, true, !item.empty(), wideList);
    while (!plain.Empty() && !isContained)
        isContained = plain.Next() == wideItem;
    FUZZ_CHECK(ZynString::ListContains(zynfuzz::AsString(list), zynfuzz::AsString(item),
                                       separator) == isContained);

    Text made = wideList;
    if (!list.empty() && !item.empty() && !wideList.ends_with(wideSeparator))
        made += wideSeparator;
    made += wideItem.starts_with(wideSeparator) ? wideItem.substr(1) : wideItem;
    FUZZ_CHECK(IsSame(
        ZynString::MakeList(zynfuzz::AsString(list), zynfuzz::AsString(item), separator), made));
}

// Texts that are none may be refused, at any step, but they come to an end.
void Survive(const std::string& list, const std::string& item, char separator, bool strip,
             bool skipEmpty) {
    zynfuzz::EndsIn<ZynOSException>([&] {
        const ZynString::Tokenizer tokenizer(zynfuzz::AsString(list), separator, strip, skipEmpty);
        for (std::size_t i = 0; !tokenizer.Empty(); ++i) {
            FUZZ_CHECK(i <= list.size());
            tokenizer.Next();
        }
    });
    zynfuzz::EndsIn<ZynOSException>([&] {
        ZynString::ListContains(zynfuzz::AsString(list), zynfuzz::AsString(item), separator);
    });
    zynfuzz::EndsIn<ZynOSException>(
        [&] { ZynString::MakeList(zynfuzz::AsString(list), zynfuzz::AsString(item), separator); });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const unsigned int flags = input.Byte();
    const bool strip = (flags & 1U) != 0;
    const bool skipEmpty = (flags & 2U) != 0;
    const char separator = static_cast<char>(input.Byte());
    const std::string list = input.Text();
    const std::string item = input.Text();
    const bool areTexts = separator != '\0' && zynfuzz::Characters({separator}) &&
                          zynfuzz::Characters(list) && zynfuzz::Characters(item);
    if (areTexts) {
        CheckTokens(list, separator, strip, skipEmpty);
        CheckLists(list, item, separator);
    } else {
        Survive(list, item, separator, strip, skipEmpty);
    }
    return 0;
}
