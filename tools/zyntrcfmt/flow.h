// Which functions each thread is in, by the entry and exit lines.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "entries.h"

class Flow {
  public:
    /// Follows one entry, and answers how many functions enclose it. Entry and exit lines of a
    /// function stand outside it.
    std::size_t Follow(const Entry& entry);

    /// The functions that have not been left, outermost first, by thread.
    const std::unordered_map<std::string, std::vector<std::string>>& Open() const { return _open; }
    /// Entry lines without an exit line: those that are open, those whose exit
    /// line is missing, and those that are too many to be kept.
    unsigned long EntriesWithoutExit() const { return _count + _missing; }
    unsigned long ExitsWithoutEntry() const { return _exits; }

  private:
    std::unordered_map<std::string, std::vector<std::string>> _open; ///< no empty ones
    unsigned long _count = 0;                                        ///< functions in all of them
    unsigned long _missing = 0;
    unsigned long _exits = 0;
};
