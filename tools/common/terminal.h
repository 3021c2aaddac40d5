// The terminal that a tool may write to.
#pragma once

#include "tool.h"

/// Whether standard output is one.
bool IsTerminal();
/// Whether to paint: "auto" does on a terminal that can, unless NO_COLOR is set.
bool WantColors(ColorWhen when);
/// A reader of the output that has gone ends the program without a word.
void EndOnBrokenPipe();
