#include "head.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view TimeShape = "0000-00-00, 00:00:00.000, "; // 0 is any digit
constexpr std::string_view FilterShape = "(00,xx,xx), ";             // x is anything
// Further lines of a report look like these, but don't begin one.
constexpr std::string_view ReportStarts[] = {
    "------------------- Assertion occurred",
    "------------------- Exception occurred",
};
constexpr std::size_t SourceWidth = 12;
constexpr std::size_t LineWidth = 5;
constexpr std::size_t ProcessWidth = 8;
constexpr std::size_t IdWidth = 4;
// Two file names of the longest kind and all else fit in. It bounds the search for brackets in
// what is no head.
constexpr std::size_t MaxHead = 1024;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool HasShape(std::string_view text, std::string_view shape) {
    return text.size() >= shape.size() &&
           std::ranges::equal(shape, text.substr(0, shape.size()), [](char wanted, char c) {
               return wanted == 'x' || (wanted == '0' ? IsDigit(c) : wanted == c);
           });
}

bool Take(std::string_view& rest, std::string_view text) {
    if (!rest.starts_with(text))
        return false;
    rest.remove_prefix(text.size());
    return true;
}

// A decimal number right-aligned in `width` columns, or one that is wider.
bool TakeNumber(std::string_view& rest, std::size_t width, unsigned long& number) {
    const std::size_t blanks = std::min(rest.find_first_not_of(' '), rest.size());
    const char* const end = rest.data() + rest.size();
    const auto [behind, error] = std::from_chars(rest.data() + blanks, end, number);
    const auto columns = static_cast<std::size_t>(behind - rest.data());
    if (error != std::errc() || columns < width || (columns > width && blanks > 0))
        return false;
    rest.remove_prefix(columns);
    return true;
}

// A name right-aligned in `width` columns, and behind it what `takeRest` takes. The name may have
// brackets too, so the first bracket that the rest fits to is the one.
template <class TakeRest>
bool TakeName(std::string_view& rest, std::size_t width, std::string_view& name,
              const TakeRest& takeRest) {
    for (auto at = rest.find('(', width); at != std::string_view::npos;
         at = rest.find('(', at + 1)) {
        std::string_view behind = rest.substr(at);
        if (!takeRest(behind))
            continue;
        name = rest.substr(0, at);
        name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
        rest = behind;
        return true;
    }
    return false;
}

} // namespace

std::string LineHead::Thread() const {
    return process + '(' + std::to_string(pid) + '-' + std::to_string(tid) + ')';
}

bool StartsReport(std::string_view line) {
    return std::ranges::any_of(ReportStarts, [&](auto start) { return line.starts_with(start); });
}

bool StartsEntry(std::string_view text) {
    static_assert(TimeShape.size() <= StartLength && ReportStarts[0].size() <= StartLength);
    return HasShape(text, TimeShape) || StartsReport(text);
}

bool ParseHead(std::string_view line, LineHead& head) {
    if (!HasShape(line, TimeShape))
        return false;
    const std::string_view window = line.substr(0, MaxHead);
    std::string_view source;
    std::string_view filter;
    std::string_view process;
    unsigned long sourceLine = 0;
    unsigned long pid = 0;
    unsigned long tid = 0;
    const auto takeIds = [&](std::string_view& rest) {
        return Take(rest, "(") && TakeNumber(rest, IdWidth, pid) && Take(rest, "-") &&
               TakeNumber(rest, IdWidth, tid) && Take(rest, "), ");
    };
    const auto takeLine = [&](std::string_view& rest) {
        if (!Take(rest, "(") || !TakeNumber(rest, LineWidth, sourceLine) || !Take(rest, ") "))
            return false;
        filter = HasShape(rest, FilterShape) ? rest.substr(0, FilterShape.size()) : "";
        rest.remove_prefix(filter.size());
        return TakeName(rest, ProcessWidth, process, takeIds);
    };
    std::string_view rest = window.substr(TimeShape.size());
    if (!TakeName(rest, SourceWidth, source, takeLine))
        return false;

    head.time = line.substr(0, TimeShape.size() - 2);
    head.level = filter.empty() ? LineHead::NoLevel : (filter[1] - '0') * 10 + (filter[2] - '0');
    head.category = filter.empty() ? filter : filter.substr(4, 2);
    head.component = filter.empty() ? filter : filter.substr(7, 2);
    head.process = process;
    head.pid = pid;
    head.tid = tid;
    head.length = window.size() - rest.size();
    return true;
}
