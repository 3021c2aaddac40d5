#include "summary.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace {

constexpr std::size_t MaxWords = 10000;
constexpr int NumberWidth = 10;

// Names are of any length, so the numbers stand in front.
std::string Row(unsigned long number, const std::string& what) {
    std::ostringstream row;
    row << std::setw(NumberWidth) << number << "  " << what << '\n';
    return row.str();
}

} // namespace

void Summary::Counts::Add(const std::string& word) {
    if (_counts.size() < MaxWords || _counts.contains(word))
        ++_counts[word];
    else
        ++_others;
}

std::string Summary::Counts::Text(const std::string& title) const {
    std::string text;
    for (const auto& [word, count] : _counts)
        text += Row(count, word);
    if (_others > 0)
        text += Row(_others, "(others)");
    return text.empty() ? "" : title + '\n' + text;
}

void Summary::Begin(const Entry& entry) {
    const LineHead& head = entry.head;
    // The line feed of its own line is no continuation.
    _continuations += static_cast<unsigned long>(std::ranges::count(entry.text, '\n')) - 1;
    _flow.Follow(entry);
    if (entry.kind == Entry::Kind::Unparsed) {
        ++_unparsed;
        return;
    }
    if (entry.kind == Entry::Kind::Report) {
        ++_reports;
        return;
    }
    ++_lines;
    if (_lines == 1)
        _first = head.time;
    // Dumped buffers tell of what was before.
    _first = std::min(_first, head.time);
    _last = std::max(_last, head.time);
    _threads.Add(head.Thread());
    if (head.level == LineHead::NoLevel) {
        ++_short;
        return;
    }
    _levels.Add((head.level < 10 ? "0" : "") + std::to_string(head.level));
    _categories.Add(head.category);
    _components.Add(head.component);
}

void Summary::Continue(const Entry& entry) {
    _continuations += static_cast<unsigned long>(std::ranges::count(entry.text, '\n'));
}

std::string Summary::Text() const {
    std::string text = Row(_lines, "lines") + Row(_short, "of them without level") +
                       Row(_continuations, "continuation lines") + Row(_reports, "reports") +
                       Row(_unparsed, "unparsed lines") +
                       Row(_flow.EntriesWithoutExit(), "entries without exit") +
                       Row(_flow.ExitsWithoutEntry(), "exits without entry");
    if (_lines > 0)
        text += "from " + _first + "\nto   " + _last + '\n';
    text += _levels.Text("level") + _categories.Text("category") + _components.Text("component") +
            _threads.Text("thread");

    const std::map open(_flow.Open().begin(), _flow.Open().end());
    for (const auto& [thread, functions] : open) {
        text += "still in, " + thread + '\n';
        for (const std::string& function : functions)
            text += "  " + function + '\n';
    }
    return text;
}
