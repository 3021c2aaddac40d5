// The configurations of the store.
#pragma once

#include <optional>
#include <string>

#include "store.h"

/// Raises Missing.
[[noreturn]] void NoSuchConfig(const std::string& name);
/// The key of a configuration, which may be missing.
Place ConfigPlace(const std::string& name, bool ofUser);
bool IsThere(const Place& place);
/// The one that the library runs under. Raises Missing if there is none.
std::string CurrentConfig();
