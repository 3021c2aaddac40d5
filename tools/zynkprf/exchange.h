// The text form of the store: sections of values.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store.h"

struct Section {
    Place place;
    std::vector<std::pair<std::string, Value>> values;
};

/// "[config FMT]", with what is below it behind.
std::string HeadingOf(const Place& place);

/// The sections of a text. What is wrong is told by Warn with `name` and the line; if anything is,
/// std::runtime_error ends it.
std::vector<Section> ReadSections(const std::string& name, std::string_view text);
