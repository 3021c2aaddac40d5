#include "view.h"

#include <algorithm>
#include <string>

#include "tool.h"

namespace {

constexpr std::size_t IndentWidth = 2;
constexpr std::size_t MaxIndent = 64;

} // namespace

bool View::Begin(const Entry& entry) {
    // Lines that are left out tell the depth of the others.
    const std::size_t depth = _form.indent ? _flow.Follow(entry) : 0;
    if (entry.kind == Entry::Kind::Line && entry.head.level == LineHead::NoLevel)
        ++_tooShort;
    if (!_filters.Match(entry))
        return false;
    ++_shown;
    if (_form.summary)
        _summary.Begin(entry);
    else
        _output.Print(entry, std::min(depth * IndentWidth, MaxIndent));
    return true;
}

void View::Continue(const Entry& entry) {
    if (_form.summary)
        _summary.Continue(entry);
    else
        _output.Print(entry, 0);
}

bool View::End() {
    if (_form.summary)
        _output.Print(_summary.Text());
    FlushOut();
    // Else an empty result would look like a quiet program.
    if (_filters.NeedLongLines() && _tooShort > 0)
        Warn("left out because they don't show level, category and component: " +
             std::to_string(_tooShort) + " lines");
    return _shown > 0;
}
