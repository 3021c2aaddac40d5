// What a reader wants to see.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "entries.h"

/// A time, or the part of one that was given: "2004-05" has a whole month, "14:03" a minute of any
/// day.
struct TimeBound {
    std::size_t at = 0; ///< where the part stands in a time
    std::string text;

    int Compare(const std::string& time) const { return time.compare(at, text.size(), text); }
};

/// An entry has to match each that is set, and of its values one. What an entry does not have
/// matches nothing.
struct Filters {
    std::optional<std::pair<int, int>> levels; ///< both included
    std::vector<std::string> categories;
    std::vector<std::string> components;
    std::vector<std::string> processes; ///< names or process ids
    std::vector<unsigned long> threads;
    std::vector<std::string> texts; ///< in the function or the text, whatever their encoding
    std::optional<TimeBound> since;
    std::optional<TimeBound> until;

    bool Match(const Entry& entry) const;
    /// Whether short lines have no chance.
    bool NeedLongLines() const { return levels || !categories.empty() || !components.empty(); }
};
