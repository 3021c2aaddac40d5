// Patterns with wildcards.
#include "zynkstr.h"
#include "zynkstr_wide.h"

namespace {

// Where what begins with `wanted` and follows a `multi` may begin: the text's end if nowhere.
const char16_t* FirstPlace(const char16_t* text, char16_t wanted, char16_t single, char16_t multi) {
    if (wanted != single && wanted != multi)
        while (*text != wanted && *text != u'\0')
            ++text;
    return text;
}

} // namespace

bool ZynString::MatchesPattern(const ZynString& pattern, char single, char multi) const {
    ZYN_REQUIRE(!IsNull() && !pattern.IsNull());
    WideBuffer textBuffer;
    WideBuffer patternBuffer;
    const std::u16string_view text = WideText(textBuffer);
    const std::u16string_view wanted = pattern.WideText(patternBuffer);
    const char singleText[] = {single, '\0'};
    const char multiText[] = {multi, '\0'};
    return Matches(text.data(), wanted.data(), ToWChar(singleText), ToWChar(multiText));
}

// What stands in front of a `multi` needs to be matched only once, as early as it goes: whatever a
// later place would leave for the rest, the next `multi` can pass over as well. So only the last
// `multi` is ever tried again, further on.
bool ZynString::Matches(const char16_t* text, const char16_t* pattern, char16_t single,
                        char16_t multi) {
    if (text == nullptr)
        return false;
    const char16_t* retryText = nullptr;
    const char16_t* retryPattern = nullptr;
    for (;;) {
        const char16_t wanted = *pattern;
        if (wanted != u'\0' && wanted == multi) {
            retryPattern = ++pattern;
            if (*pattern == u'\0')
                return true;
            retryText = text = FirstPlace(text, *pattern, single, multi);
        } else if (*text == u'\0') {
            // A shorter text is no help.
            return wanted == u'\0';
        } else if (wanted != u'\0' && (wanted == single || wanted == *text)) {
            ++text;
            ++pattern;
        } else if (retryPattern != nullptr) {
            pattern = retryPattern;
            retryText = text = FirstPlace(retryText + 1, *pattern, single, multi);
        } else {
            return false;
        }
    }
}
