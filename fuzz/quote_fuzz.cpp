// Quoting: what was quoted comes back, and what somebody else has quoted is read character by
// character.
#include "support/fuzz.h"
#include "support/plain_text.h"

namespace {

using Text = std::u32string;

Text PlainQuote(const Text& text, char32_t quote, char32_t escape) {
    Text quoted(1, quote);
    for (const char32_t c : text) {
        if (c == quote || c == escape)
            quoted += escape;
        quoted += c;
    }
    return quoted + quote;
}

// None for a text that is not quoted.
std::optional<Text> PlainUnquote(const Text& text, char32_t quote, char32_t escape) {
    if (text.size() < 2 || text.front() != quote || text.back() != quote)
        return std::nullopt;
    const Text inner = text.substr(1, text.size() - 2);
    std::size_t run = 0;
    while (run < inner.size() && inner[inner.size() - 1 - run] == escape)
        ++run;
    if (run % 2 != 0)
        return std::nullopt;
    Text plain;
    for (std::size_t i = 0; i < inner.size(); ++i) {
        const char32_t next = i + 1 < inner.size() ? inner[i + 1] : U'\0';
        if (inner[i] == escape && next != U'\0' && (next == quote || next == escape))
            ++i;
        plain += inner[i];
    }
    return plain;
}

std::string Bytes(const Text& text) {
    const auto bytes = zynfuzz::TextOf(text);
    FUZZ_CHECK(bytes.has_value());
    return *bytes;
}

void Check(const std::string& text, char quote, char escape) {
    const Text characters = *zynfuzz::Characters(text);
    const char32_t wideQuote = zynfuzz::Characters({quote})->front();
    const char32_t wideEscape = zynfuzz::Characters({escape})->front();
    ZynString unquoted = zynfuzz::AsString(text);
    unquoted.Unquote(quote, escape);
    const auto plain = PlainUnquote(characters, wideQuote, wideEscape);
    FUZZ_CHECK(zynfuzz::Bytes(unquoted) == (plain ? Bytes(*plain) : text));

    ZynString quoted = zynfuzz::AsString(text);
    quoted.Quote(quote, escape);
    FUZZ_CHECK(*zynfuzz::Characters(zynfuzz::Bytes(quoted)) ==
               PlainQuote(characters, wideQuote, wideEscape));
    quoted.Unquote(quote, escape);
    FUZZ_CHECK(zynfuzz::Bytes(quoted) == Bytes(characters)); // some have two forms
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const char quote = static_cast<char>(input.Byte());
    const char escape = static_cast<char>(input.Byte());
    const std::string text = input.Text();
    const auto isCharacter = [](char c) {
        return c != '\0' && zynfuzz::Characters({c}).has_value();
    };
    if (isCharacter(quote) && isCharacter(escape) && zynfuzz::Characters(text) &&
        text.find('\xFF') == std::string::npos) {
        Check(text, quote, escape);
        return 0;
    }
    for (ZynString& (ZynString::*const call)(char, char) : {&ZynString::Quote, &ZynString::Unquote})
        zynfuzz::EndsIn<ZynOSException>([&] {
            ZynString value = zynfuzz::AsString(text);
            (value.*call)(quote, escape);
        });
    return 0;
}
