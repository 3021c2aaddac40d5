// The fields of a stream's header, in words.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "header.h"

/// Receives a field: its offset, its name and value, its bytes.
using FieldReceiver =
    std::function<void(std::size_t at, const std::string& text, std::string_view bytes)>;

/// Those of the work header that are there in full.
void ForWorkFields(std::string_view bytes, const Stream& stream, const FieldReceiver& receive);
/// Those of the header proper.
void ForHeaderFields(std::string_view bytes, const Stream& stream, const FieldReceiver& receive);
