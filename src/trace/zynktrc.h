// ZynTrace: the gates that decide which trace lines pass, and the sites that write them.
//
// A site's gate is tested in line; the items of a line are evaluated and composed only behind an
// open gate, so that a closed one costs a few loads. All gates are closed until the trace has been
// set up.
#pragma once

#include <cstdint>
#include <sstream>

#include "zynkdbg.h"

class ZYN_EXPORT ZynTrace {
  public:
    /// Levels, categories and components of the lines written for failures.
    static constexpr unsigned long ErrorLevel = 0;
    static constexpr int ErrorCategory = 2;
    static constexpr int KernelComponent = 1;

    /// Sets the trace up. Called once, when the library is loaded.
    static void Init() noexcept;

    /// The gate of an ordinary line.
    static bool IsOpen(unsigned long level, int category, int component) {
        return _Level >= static_cast<std::int32_t>(level) && (_Components & component) != 0 &&
               (_Categories & category) != 0 && _On;
    }
    /// The gate of an error line at level 0, which extended trace opens by itself.
    static bool IsErrorOpen(int category, int component) {
        return _Xt || IsOpen(ErrorLevel, category, component);
    }

    /// Writes one line; the text is that of `items`. Does not test a gate itself.
    static void Trace(const char* file, unsigned long line, const char* function,
                      unsigned long level, int category, int component,
                      const std::ostringstream& items);
    /// The same with the fields of the process's trace context that `contextMask` names in front of
    /// the text.
    static void TraceCtx(const char* file, unsigned long line, const char* function,
                         unsigned long level, int category, int component, int contextMask,
                         const std::ostringstream& items);

    /// Whether this process has dumped its trace buffers after a failed contract check.
    static bool AlreadyDumped() { return _dumped; }

  private:
    friend void ZynDumpTraceBufs();

    static std::int32_t _Level; ///< levels are compared as signed 32-bit numbers
    static int _Components;
    static int _Categories;
    static bool _On;
    static bool _Xt;
    static bool _dumped;
};

/// A line at `level` of 1 or more. `items` is what stands behind a stream's first "<<".
#define ZYN_TRACE(level, category, component, items)                                               \
    ZYN_TRACE_LINE_(ZynTrace::IsOpen(level, category, component), level, category, component, items)
/// An error line at level 0.
#define ZYN_TRACE_ERROR(category, component, items)                                                \
    ZYN_TRACE_LINE_(ZynTrace::IsErrorOpen(category, component), ZynTrace::ErrorLevel, category,    \
                    component, items)

#define ZYN_TRACE_LINE_(gate, level, category, component, items)                                   \
    do {                                                                                           \
        if (gate) [[unlikely]] {                                                                   \
            std::ostringstream zynkItems_;                                                         \
            zynkItems_ << items;                                                                   \
            ZynTrace::Trace(__FILE_NAME__, __LINE__, __PRETTY_FUNCTION__, level, category,         \
                            component, zynkItems_);                                                \
        }                                                                                          \
    } while (false)
