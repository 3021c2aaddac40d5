// Standard output.
#pragma once

#include <string>
#include <string_view>

#include "entries.h"

/// Failures to write raise std::runtime_error.
class Output {
  public:
    /// @param escapes shows control characters, and bytes that are none of the locale's characters,
    ///                as "\x1B", so that a text can't play with the terminal
    /// @param colors  paints an entry by its category
    Output(bool escapes, bool colors) : _escapes(escapes), _colors(colors) {}

    /// A part of an entry.
    /// @param indent blanks that are put in front of its function
    void Print(const Entry& entry, std::size_t indent);
    void Print(std::string_view text);

  private:
    bool _escapes;
    bool _colors;
    std::string _line;
};
