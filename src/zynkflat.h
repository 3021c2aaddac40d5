// The flat functions: what a program can call that doesn't use the classes, be it in C (C11) or in
// C++. All others of this library are for C++ alone.
//
// Texts are bytes in the process's code page with a NUL behind them.
#pragma once

/// A function of the shared library that C can call.
#ifdef __cplusplus
#define ZYN_FLAT extern "C" __attribute__((visibility("default")))
#else
#define ZYN_FLAT extern __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#include "zynkdbg.h" // has the same for C++
#else
/// Appends the in-memory trace buffers to the trace file, at the first call with extended trace on.
/// Best effort: no failure of it is ever reported.
ZYN_FLAT void ZynDumpTraceBufs(void);
#endif

/// Full path of the program file, as a text that lives as long as the process. One of more than
/// 1023 bytes, or that can't be told, is a contract failure, which a program in C does not survive.
ZYN_FLAT const char* ZynOpSysExeFileNameAsString(void);

/// @name Configuration
/// No exception passes these; the trace tells what failed.
/// @{
/// Sets the configuration that the process runs under. 0, or -1 if there is none of that name, in
/// any case of letters, or if it is null or empty.
ZYN_FLAT long ZynPrfCurrentConfig(const char* cfg);
/// The installation's language, three letters.
///
/// @param buffer gets up to `size` bytes of it and a NUL behind them
/// @param size   room of the buffer without the NUL: it has `size` + 1 bytes. A negative one counts
///               as 0
/// @return       the length of the language; more than `size` if it was cut, and 0 without a buffer
///               or if there is none to be had
ZYN_FLAT long ZynPrfLanguage(char* buffer, long size);
/// @}
