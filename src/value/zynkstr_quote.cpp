// Quoting with an escape character.
#include <string>

#include "zynkstr.h"
#include "zynkstr_walk.h"
#include "zynkstr_wide.h"
#include "zynkxcp.h"

ZynString& ZynString::Quote(char quote, char escape) {
    ZYN_REQUIRE(!IsNull());
    constexpr char NeverFirst = '\xFF';
    std::string quoted(1, quote);
    zynkwalk::CharWalk walk(_pRep->_data, _pRep->_len);
    const char* run = walk.At();
    bool opensShifted = false;
    // A run gets the shift bytes that make it well formed by itself.
    const auto appendRun = [&](const char* end, bool endsShifted) {
        if (run == end)
            return;
        if (opensShifted)
            quoted += zynkwalk::ShiftOut;
        quoted.append(run, end);
        if (endsShifted)
            quoted += zynkwalk::ShiftIn;
        run = end;
        opensShifted = endsShifted;
    };
    for (;;) {
        const char* const at = walk.At();
        const bool isShifted = walk.IsShifted();
        const int bytes = walk.Step();
        if (bytes == 0)
            break;
        if (bytes < 0 || *at == NeverFirst)
            ZYN_THROW_INT(
                ZynOSException(ZYN_ORIGIN("ZynString::Quote"), "mblen in zynkstr::Quote", -1, 0));
        if (*at == quote || *at == escape) {
            appendRun(at, isShifted);
            quoted += escape;
        }
    }
    appendRun(walk.At(), walk.IsShifted());
    quoted += quote;
    *this = FromBytes(quoted.data(), quoted.size());
    StripShiftInShiftOut();
    return *this;
}

ZynString& ZynString::Unquote(char quote, char escape) {
    ZYN_REQUIRE(!IsNull());
    WideBuffer buffer;
    const std::u16string_view text = WideText(buffer);
    const char quoteText[] = {quote, '\0'};
    const char escapeText[] = {escape, '\0'};
    const char16_t quoteUnit = ToWChar(quoteText);
    const char16_t escapeUnit = ToWChar(escapeText);
    if (text.size() < 2 || text.front() != quoteUnit || text.back() != quoteUnit)
        return *this;
    const std::u16string_view inner = text.substr(1, text.size() - 2);
    const std::size_t beforeRun = inner.find_last_not_of(escapeUnit);
    const std::size_t run = inner.size() - (beforeRun + 1); // npos + 1 is 0
    if (run % 2 != 0)
        return *this;

    std::u16string plain;
    for (std::size_t i = 0; i < inner.size(); ++i) {
        const bool hasNext = i + 1 < inner.size();
        if (inner[i] == escapeUnit && hasNext &&
            (inner[i + 1] == quoteUnit || inner[i + 1] == escapeUnit))
            ++i;
        plain += inner[i];
    }
    std::string bytes;
    if (!zynkwide::ToText(bytes, plain))
        ZYN_THROW_INT(ZynOSException(ZYN_ORIGIN("ToMBChar"),
                                     "wctomb: input character is an invalid multibyte character", 0,
                                     0));
    zynkwalk::CharWalk walk(bytes.data(), bytes.size());
    int length = 0;
    do
        length = walk.Step();
    while (length > 0);
    if (length < 0)
        ZYN_THROW_INT(ZynOSException(ZYN_ORIGIN("ZynString::Unquote"),
                                     "mblen in in zynkstr::UnQuote", -1, 0));
    *this = FromBytes(bytes.data(), bytes.size());
    StripShiftInShiftOut();
    return *this;
}
