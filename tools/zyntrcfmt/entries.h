// Puts lines together to the entries that a program wrote.
#pragma once

#include <string>
#include <string_view>

#include "head.h"

class View;

/// What a program wrote with one call: a line with a head and the lines that its text goes on with,
/// or the report that a failed check or a fault leaves in a trace file.
struct Entry {
    enum class Kind {
        None,
        Line,
        /// Has no head of its own. It counts as an error of the kernel at level 0, at the time of
        /// the line before it.
        Report,
        Unparsed ///< a line that belongs to nothing
    };

    Kind kind = Kind::None;
    LineHead head;
    std::string text; ///< the whole lines, or what is at hand of them
};

/// Collects the entries of one input and hands them to the view, which decides about each as a
/// whole. Only a bounded part is held: of an entry longer than that, the first part decides.
class Entries {
  public:
    explicit Entries(View& view) : _view(view) {}

    /// A line of a text, or a piece of a long one.
    /// @param opens  it begins here
    /// @param closes it ends here; its line feed is not part of it
    void Line(std::string_view piece, bool opens, bool closes);
    /// The text of a buffer's record, which is an entry by itself.
    void Record(std::string_view text);
    /// Nothing more is there for now: shows what is known to be shown, so that a reader who waits
    /// sees it. More lines of the same entry may follow.
    void Pause();
    /// The entry is complete.
    void End();

  private:
    void Open(std::string_view line);
    void HandOver();

    View& _view;
    Entry _entry;
    LineHead _next;
    bool _isBegun = false; ///< the view has decided about the entry
    bool _isShown = false;
};
