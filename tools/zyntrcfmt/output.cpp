#include "output.h"

#include <algorithm>

#include "output_text.h"

namespace {

constexpr std::string_view NoColor = "\x1b[0m";

std::string_view ColorOf(const Entry& entry) {
    if (entry.kind == Entry::Kind::Report)
        return "\x1b[1;31m"; // bold red
    if (entry.kind == Entry::Kind::Unparsed)
        return "";
    if (entry.head.category == "Er")
        return "\x1b[31m"; // red
    if (entry.head.category == "SC")
        return "\x1b[33m"; // yellow
    if (entry.head.category == "Ct")
        return "\x1b[36m"; // cyan
    if (entry.head.category == "Fl")
        return "\x1b[2m"; // faint
    return "";
}

} // namespace

void Output::Print(std::string_view text) {
    if (!_escapes) {
        WriteOut(text);
        return;
    }
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        _line.clear();
        AppendEscaped(_line, line);
        if (line.size() < text.size())
            _line += '\n';
        WriteOut(_line);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}

void Output::Print(const Entry& entry, std::size_t indent) {
    std::string_view text = entry.text;
    const std::string_view color = _colors ? ColorOf(entry) : "";
    // The head and what is put behind it come first.
    if (indent > 0) {
        const std::string_view head = text.substr(0, entry.head.length);
        WriteOut(color);
        Print(head);
        WriteOut(std::string(indent, ' '));
        text.remove_prefix(head.size());
    }
    if (color.empty()) {
        Print(text);
        return;
    }
    // Each line is painted by itself: a pager forgets colours at the end of a line.
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        WriteOut(color);
        Print(line);
        WriteOut(NoColor);
        Print(text.substr(line.size(), 1));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}
