// Contract checks.
//
// Every class states its preconditions, postconditions, invariants and internal assertions where
// they must hold, and the checks stay active in every build. A check that holds costs one
// comparison; one that fails ends in a routine that never returns.
//
// This header stands below all others: it includes nothing and speaks `const char*`.
#pragma once

/// Marks what the shared library offers to its users; everything else is hidden.
#define ZYN_EXPORT [[gnu::visibility("default")]]

/// A condition that is expected to hold, so that the failing road is laid out of the way.
#define ZYN_LIKELY(cond) (__builtin_expect(static_cast<bool>(cond), true))

/// Precondition of a function. On failure the condition's own source text is the diagnostic.
#define ZYN_REQUIRE(cond) ZYN_REQUIRE_TEXT(cond, #cond)
/// Postcondition of a function.
#define ZYN_ENSURE(cond) ZYN_ENSURE_TEXT(cond, #cond)
/// Anything else that must hold.
#define ZYN_ASSERT(cond) ZYN_ASSERT_TEXT(cond, #cond)
/// Invariant of `object`, whose class answers `_assert_invariant()`.
#define ZYN_INVARIANT(object)                                                                      \
    do {                                                                                           \
        if (const char* zynkBroken_ = (object)._assert_invariant(); zynkBroken_ != nullptr)        \
            [[unlikely]]                                                                           \
            zynkInvariant(zynkBroken_, __FILE_NAME__, __LINE__);                                   \
    } while (false)

/// The same checks where the stated text differs from the code.
#define ZYN_REQUIRE_TEXT(cond, text) ZYN_CHECK_(zynkRequire, cond, text)
#define ZYN_ENSURE_TEXT(cond, text) ZYN_CHECK_(zynkEnsure, cond, text)
#define ZYN_ASSERT_TEXT(cond, text) ZYN_CHECK_(zynkAssert, cond, text)

#define ZYN_CHECK_(routine, cond, text)                                                            \
    (ZYN_LIKELY(cond) ? static_cast<void>(0) : routine(text, __FILE_NAME__, __LINE__))

/// The routines that a failed check calls. Each composes its text with the failing site, traces it,
/// dumps the trace buffers where these are in use, and throws ZynAssertionException, whose
/// condition is the whole composed text, cut at 511 bytes, and whose origin names the routine.
///
/// @param condition source text of the condition that failed
/// @param file      source file of the check
/// @param line      its line
[[noreturn]] ZYN_EXPORT void zynkRequire(const char* condition, const char* file,
                                         unsigned int line);
[[noreturn]] ZYN_EXPORT void zynkEnsure(const char* condition, const char* file, unsigned int line);
[[noreturn]] ZYN_EXPORT void zynkInvariant(const char* condition, const char* file,
                                           unsigned int line);
[[noreturn]] ZYN_EXPORT void zynkAssert(const char* condition, const char* file, unsigned int line);

/// Appends the in-memory trace buffers to the trace file, at the first call with extended trace on.
/// Best effort: no failure of it is ever reported.
extern "C" ZYN_EXPORT void ZynDumpTraceBufs();
