// Wildcard patterns, beside a table of all places in text and pattern.
#include <algorithm>
#include <vector>

#include "support/fuzz.h"
#include "support/plain_text.h"

namespace {

using Wide = std::optional<std::u16string>;

Wide WideOf(const std::string& text) {
    const auto characters = zynfuzz::Characters(text);
    return characters ? Wide(zynfuzz::Units(*characters)) : std::nullopt;
}

// A NUL is a wildcard that no pattern holds.
Wide WideOf(char wildcard) {
    return wildcard == '\0' ? std::u16string(1, u'\0') : WideOf(std::string(1, wildcard));
}

// Whether the text up to each place matches the pattern so far, from one of its units to the next.
bool PlainMatch(const std::u16string& text, const std::u16string& pattern, char16_t single,
                char16_t multi) {
    std::vector<bool> matches(text.size() + 1, false);
    matches[0] = true;
    for (const char16_t wanted : pattern) {
        std::vector<bool> next(matches.size(), false);
        for (std::size_t i = 0; i < matches.size(); ++i)
            if (wanted == multi)
                next[i] = matches[i] || (i > 0 && next[i - 1]);
            else
                next[i] = i > 0 && matches[i - 1] && (wanted == single || wanted == text[i - 1]);
        matches = next;
    }
    return matches.back();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t MaxSize = 1024;
    zynfuzz::Input input(data, std::min(size, MaxSize));
    const char single = static_cast<char>(input.Byte());
    const char multi = static_cast<char>(input.Byte());
    const std::string text = input.Text();
    const std::string pattern = input.Text();

    bool matches = false;
    const bool isRefused = zynfuzz::EndsIn<ZynOSException>([&] {
        matches = zynfuzz::AsString(text).MatchesPattern(zynfuzz::AsString(pattern), single, multi);
    });
    const Wide wideSingle = WideOf(single);
    const Wide wideMulti = WideOf(multi);
    const Wide wideText = WideOf(text);
    const Wide widePattern = WideOf(pattern);
    FUZZ_CHECK(isRefused == !(wideSingle && wideMulti && wideText && widePattern));
    if (!isRefused)
        FUZZ_CHECK(matches ==
                   PlainMatch(*wideText, *widePattern, wideSingle->front(), wideMulti->front()));
    return 0;
}
