// Spaces, for all indentation of printed forms.
#pragma once

#include "zynkdbg.h"

/// A text of `n` spaces, 0 to 128, that lives as long as the process; more is a contract failure.
/// It needs no copy and no allocation.
ZYN_EXPORT const char* spaces(unsigned long n);
