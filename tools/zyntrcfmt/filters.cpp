#include "filters.h"

#include <algorithm>

namespace {

// No values are no filter.
template <class T, class Matches>
bool MatchOne(const std::vector<T>& values, const Matches& matches) {
    return values.empty() || std::ranges::any_of(values, matches);
}

} // namespace

bool Filters::Match(const Entry& entry) const {
    const LineHead& head = entry.head;
    const bool isLine = entry.kind == Entry::Kind::Line;
    const bool isReport = entry.kind == Entry::Kind::Report;
    const auto isIn = [](const std::string& text) {
        return [&](const std::string& value) { return value == text; };
    };

    if (NeedLongLines() && !isLine && !isReport)
        return false;
    if (levels && (head.level < levels->first || head.level > levels->second))
        return false;
    if (!MatchOne(categories, isIn(head.category)) || !MatchOne(components, isIn(head.component)))
        return false;
    // A report in front of all lines has no time.
    if ((since || until) && ((!isLine && !isReport) || head.time.empty()))
        return false;
    if ((since && since->Compare(head.time) < 0) || (until && until->Compare(head.time) > 0))
        return false;

    const bool needsProcess = !processes.empty() || !threads.empty();
    if (needsProcess && !isLine)
        return false;
    const std::string pid = processes.empty() ? "" : std::to_string(head.pid);
    if (!MatchOne(processes, [&](const std::string& p) { return p == head.process || p == pid; }) ||
        !MatchOne(threads, [&](unsigned long tid) { return tid == head.tid; }))
        return false;

    const std::string_view text = std::string_view(entry.text).substr(isLine ? head.length : 0);
    return MatchOne(texts, [&](const std::string& wanted) {
        return text.find(wanted) != std::string_view::npos;
    });
}
