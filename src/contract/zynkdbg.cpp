#include "zynkdbg.h"

#include <cstdio>

#include "zynktrc.h"
#include "zynkxcp.h"

namespace {

// The text of the most recent contract failure, read again by the dump. It has no lock: two
// failures at once can overwrite each other's text. The byte behind the area is never written, so
// that the text is ended even then.
constexpr std::size_t FailureTextSize = 512;
char failureText[FailureTextSize + 1];

[[noreturn]] void Fail(const char* format, const char* routine, const char* condition,
                       const char* file, unsigned int line) {
    std::snprintf(failureText, FailureTextSize, format, file, line, condition);
    if (ZynTrace::IsErrorOpen(ZynTrace::ErrorCategory, ZynTrace::KernelComponent)) {
        std::ostringstream items;
        items << "Assertion fired";
        ZynTrace::TraceCtx("zynkdbg", __LINE__, routine, ZynTrace::ErrorLevel,
                           ZynTrace::ErrorCategory, ZynTrace::KernelComponent, -1, items);
    }
    ZynDumpTraceBufs();
    // The origin names the routine; the failing site stands in the text.
    ZYN_THROW_INT(ZynAssertionException(ZYN_ORIGIN(routine), failureText));
}

} // namespace

void zynkRequire(const char* condition, const char* file, unsigned int line) {
    Fail("*** Pre-condition failed in %s(%d): %s", "zynkRequire", condition, file, line);
}

void zynkEnsure(const char* condition, const char* file, unsigned int line) {
    Fail("*** Post-condition failed in %s(%d): %s", "zynkEnsure", condition, file, line);
}

void zynkInvariant(const char* condition, const char* file, unsigned int line) {
    Fail("*** Invariant failed in %s(%d): %s", "zynkInvariant", condition, file, line);
}

void zynkAssert(const char* condition, const char* file, unsigned int line) {
    Fail("*** Assertion failed in %s(%d): %s", "zynkAssert", condition, file, line);
}

void ZynDumpTraceBufs() {
    if (!ZynTrace::_Xt || ZynTrace::_dumped)
        return;
    ZYN_TRACE_ERROR(ZynTrace::ErrorCategory, ZynTrace::KernelComponent, failureText);
    ZynTrace::_dumped = true;
}
