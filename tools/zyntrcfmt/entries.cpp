#include "entries.h"

#include <utility>

#include "view.h"

namespace {

constexpr std::size_t MaxHeld = 1UL << 20U;

} // namespace

void Entries::Open(std::string_view line) {
    if (ParseHead(line, _next)) {
        End();
        _entry.kind = Entry::Kind::Line;
        std::swap(_entry.head, _next);
    } else if (StartsReport(line)) {
        End();
        _entry.kind = Entry::Kind::Report;
        LineHead head;
        head.time = std::move(_entry.head.time);
        head.level = 0;
        head.category = "Er";
        head.component = "Kr";
        _entry.head = std::move(head);
    } else if (_entry.kind == Entry::Kind::None || _entry.kind == Entry::Kind::Unparsed) {
        End();
        _entry.kind = Entry::Kind::Unparsed;
    }
}

void Entries::Line(std::string_view piece, bool opens, bool closes) {
    if (opens)
        Open(piece);
    // A file of a platform that ends its lines with both.
    if (closes && piece.ends_with('\r'))
        piece.remove_suffix(1);
    _entry.text += piece;
    if (closes)
        _entry.text += '\n';
    if (_entry.text.size() > MaxHeld)
        HandOver();
}

void Entries::Record(std::string_view text) {
    End();
    _entry.kind = Entry::Kind::Unparsed;
    if (ParseHead(text.substr(0, text.find('\n')), _entry.head))
        _entry.kind = Entry::Kind::Line;
    _entry.text = text;
    if (!text.ends_with('\n'))
        _entry.text += '\n';
    End();
}

void Entries::Pause() {
    // Whether an entry is left out is not known before its end.
    if (_isBegun || (!_entry.text.empty() && _view.Matches(_entry)))
        HandOver();
}

void Entries::End() {
    HandOver();
    _entry.kind = Entry::Kind::None;
    _isBegun = false;
}

void Entries::HandOver() {
    if (_entry.text.empty())
        return;
    if (!_isBegun)
        _isShown = _view.Begin(_entry);
    else if (_isShown)
        _view.Continue(_entry);
    _isBegun = true;
    _entry.text.clear();
}
