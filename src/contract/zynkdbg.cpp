#include "zynkdbg.h"

#include <atomic>
#include <cstdio>
#include <string_view>
#include <utility>

#include "zynkplat.h"
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
    if (ZynTrace::IsErrorOpen(ZynTrace::Error, ZynTrace::Kernel))
        ZynTrace::TraceCtx("zynkdbg", __LINE__, routine, ZynTrace::ErrorLevel, ZynTrace::Error,
                           ZynTrace::Kernel, -1, "Assertion fired");
    ZynDumpTraceBufs();
    // The origin names the routine; the failing site stands in the text.
    ZYN_THROW_INT(ZynAssertionException(ZYN_ORIGIN(routine), failureText));
}

void AppendDump(int file) {
    const bool isLimited = zynkplat::HasFileSizeLimit();
    const auto append = [file, isLimited](std::string_view piece) {
        zynkplat::Append(file, piece.data(), piece.size(), isLimited);
    };
    append("------------------- Assertion occurred.  --------------------------------\n");
    append("    ");
    append(failureText);
    append("\n");
    append("------------------- Extended trace buffers follow "
           "--------------------------------\n");
    ZynBinary areas[3];
    ZynTrace::DumpBuffers(areas[0], areas[1], areas[2]);
    for (const ZynBinary& area : areas)
        if (!area.IsNull() && area.Length() != 0 && *std::as_const(area).Data() != '\0')
            append({area.Data(), area.Length()});
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

// A file that can't be opened gives -1, which is not looked at: the writes then fail unnoticed.
void ZynDumpTraceBufs() {
    static std::atomic<bool> isUnderWay{false}; // a check may fail in the dump itself
    if (!ZynTrace::Xt() || ZynTrace::AlreadyDumped() || ZynTrace::IsForkedChild() ||
        isUnderWay.exchange(true))
        return;
    int file = 0;
    try {
        file = zynkplat::OpenForAppending(ZynTrace::GetTraceFile().C_str());
        if (file != 0) {
            if (ZynTrace::IsErrorOpen(ZynTrace::Error, ZynTrace::Kernel))
                ZynTrace::Trace(__FILE_NAME__, __LINE__, "ZynDumpTraceBufs", ZynTrace::ErrorLevel,
                                ZynTrace::Error, ZynTrace::Kernel, failureText);
            AppendDump(file);
        }
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the dump is never reported
    }
    if (file != 0) {
        ZynTrace::_dumped = true;
        zynkplat::Close(file);
    }
    isUnderWay = false;
}
