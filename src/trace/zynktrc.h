// ZynTrace: the one tracing facility of every process that loads the library.
//
// A line passes a gate at its site or is not composed at all: its level, its category and its
// component are compared with the process's filters, which costs a few loads and no call. A line
// that passes goes to the trace file, or to memory buffers while extended trace is on
// (zynktrcb.h). With nothing set all gates are closed.
//
//     ZYN_TRACE(3, ZynTrace::General, ZynTrace::Kernel, "Language is: " << language);
//     ZYN_FLOW("ZynProfile::Find", 9, ZynTrace::Kernel);
//
// Settings come from the environment, and where a variable is not set from the value of its name
// under the current configuration in the store (zynkprf.h). They are read when the library is
// loaded, and anew when the current configuration changes:
//
//     ZYN_TRACE_CRITERIA      level,categories,components: decimal, 4 and 8 hexadecimal digits
//     ZYN_TRACE_FILE          base of the file name, "zyntrc." if there is none
//     ZYN_SPLIT_TRACES        a file for each program
//     ZYN_FLIP_FLOP_TRACES    with ZYN_SPLIT_TRACES: a file for each process, rotated at its limit
//     ZYN_TRACE_FILE_SIZE     the limit in MiB, 5 if there is none
//     ZYN_TRACE_BUFFER_SIZE   size of a memory buffer in KiB, 256 if there is none; 64 to 4096
//     ZYN_SHORT_TRACES        lines without level, category and component
//
// Which functions write their entry and exit: those at which a reader of a trace sees what a
// program was about. These are the facilities (profiles, catalogs, modules, files, locks of
// others), the handles of identifiers, the beginning and end of a stream and of its parameters,
// conversions and checks. The values that are put and got and the operations of strings and
// binaries do not: they would bury the rest, and their cost is in the few loads as well. Nor do the
// functions that the trace itself is made of.
//
// The trace never fails its host: what can't be written is lost, and nothing is thrown. A process
// with more than one thread calls SetMultiThreaded before its second one begins; the filters may be
// changed by any thread at any time, and the memory buffers are for processes that accept a torn
// record. In the child of a fork lines are lost.
#pragma once

#include <atomic>
#include <cstdint>
#include <ostream>
#include <string_view>
#include <type_traits>

#include "zynkstr.h"
#include "zynktrc_site.h"
#include "zynktrc_stream.h"

class ZynMutexSemaphore;
class ZynTraceBuffer;
namespace zynktrc {
class Entry;
} // namespace zynktrc

/// Where the memory buffers are, for a dump facility: all 0 if there are none.
struct ZynTraceBufReg {
    unsigned long size; ///< bytes of each
    char* buffer0;
    char* buffer1;
    char* buffer2;
};

class ZYN_EXPORT ZynTrace {
  public:
    ZynTrace() = delete;
    class ZynCtrFlow;
    class Text;
    struct Site;

    /// What a line is about; it has exactly one. There are more of both, which are the modules'
    /// above: any bit may be given.
    enum Category : unsigned int {
        Flow = 0x1,       ///< function entry and exit
        Error = 0x2,      ///< throw lines and contract failures
        SystemCall = 0x4, ///< results of operating system calls
        Context = 0x10,   ///< changes of the trace context
        General = 0x40
    };
    /// The part of the system that wrote it.
    enum Component : unsigned int {
        Kernel = 0x1,
        Message = 0x4,
        Stream = 0x40,
        CachedProfile = 0x80
    };
    /// Of errors.
    static constexpr unsigned long ErrorLevel = 0;
    /// Of function entries and exits.
    static constexpr unsigned long FlowLevel = 9;

    /// @name Filters
    /// 32 bits. A level with the top bit set closes the gates of ordinary lines.
    /// @{
    static bool On() { return Read(_gate._On); }
    static void Start() { Write(_gate._On, true); }
    static void Stop() { Write(_gate._On, false); }
    static unsigned long Level() { return Read(_gate._Level); }
    static unsigned long Categories() { return Read(_gate._Categories); }
    static unsigned long Components() { return Read(_gate._Components); }
    static void SetLevel(unsigned long level);
    static void SetCategories(unsigned long categories);
    static void SetComponents(unsigned long components);
    static void SetFilter(unsigned long level, unsigned long categories, unsigned long components);
    /// From a text as in ZYN_TRACE_CRITERIA. A field that is not of its form leaves its filter as
    /// it was, and the others are applied all the same; null does nothing.
    static void SetCriteria(const ZynString& criteria) noexcept;
    /// @}

    /// @name Gates
    /// The tests at a site, which the macros below contain.
    /// @{
    /// Of an ordinary line, and of the line at a function's entry.
    static bool IsOpen(unsigned long level, unsigned int category, unsigned int component) {
        return static_cast<std::int32_t>(Read(_gate._Level)) >= static_cast<std::int32_t>(level) &&
               PassesMasks(category, component);
    }
    /// Of an error line at level 0, which extended trace opens by itself.
    static bool IsErrorOpen(unsigned int category, unsigned int component) {
        return Read(_gate._Xt) || IsOpen(ErrorLevel, category, component);
    }
    /// Of the line at a function's exit and of one with context. The level is compared as an
    /// unsigned number here.
    static bool IsExitOpen(unsigned long level, unsigned int category, unsigned int component) {
        return (level == 0 && Read(_gate._Xt)) ||
               (level <= Read(_gate._Level) && PassesMasks(category, component));
    }
    /// Whether the level alone closes both lines of a function at `level`: one load for a function
    /// that is too short for two tests.
    static bool IsFlowClosed(unsigned long level) { return Read(_gate._Level) < level; }
    /// @}

    /// @name Lines
    /// @{
    /// Writes one line. Does not test a gate.
    ///
    /// @param file     source file; a path before it is not shown
    /// @param line     its line
    /// @param function with its class; what stands behind "(" is not shown
    /// @param text     taken over whole
    static void Trace(const char* file, unsigned long line, const char* function,
                      unsigned long level, unsigned int category, unsigned int component,
                      std::string_view text) noexcept;
    /// The same for a site that the compiler has laid out.
    static void Trace(const Site& site, unsigned long level, unsigned int category,
                      unsigned int component, const Text& text) noexcept;
    /// The same, behind its gate, with the fields of the process's trace context that `contextMask`
    /// names in front of the text.
    static void TraceCtx(const char* file, unsigned long line, const char* function,
                         unsigned long level, unsigned int category, unsigned int component,
                         int contextMask, std::string_view text) noexcept;
    /// For a site whose items have thrown, in its handler: a failure of the trace is never
    /// reported.
    static void LoseLine();
    /// Hands over the current memory buffer, if extended trace is on. The file needs none. Nothing
    /// happens in the calling thread's own notify function and receiver.
    static void Flush() noexcept;
    /// Name of the trace file.
    static const ZynString& GetTraceFile();
    /// @}

    /// @name Settings
    /// @{
    /// Reads all of them. A criterion that has gone leaves its filter as it was.
    static void Init() noexcept;
    static void ReInit() noexcept;
    /// One setting: of the environment, or else of the current configuration. Null if it is empty,
    /// is not set or can't be read.
    static ZynString GetEnv(const char* name) noexcept;
    /// From now on lines are written to the file one at a time. There is no way back.
    static void SetMultiThreaded();
    /// @}

    /// @name Extended trace: memory buffers instead of the file
    /// @{
    static bool Xt() { return Read(_gate._Xt); }
    /// Switches it on or off.
    ///
    /// When it returns from switching off, `notify` and the receiver have returned in all threads
    /// and are not called again; the caller must not hold what they wait for. They may switch off
    /// as well, and are not waited for then; while another thread is at it, that changes nothing.
    ///
    /// @param notify called, if not null, when a buffer is full, in the thread that filled it; that
    ///               can't be cancelled meanwhile
    /// @param reg    filled, if not null
    static void SetXt(bool on, void (*notify)(), ZynTraceBufReg* reg);
    /// `fn` gets each buffer that is full or flushed, in the thread that filled it, and may keep
    /// it. Null and `on` are the caller's fault.
    static void SetExternalization(bool on, int (*fn)(ZynBinary&));
    static bool ShouldExternalize() { return Read(_pExtFn) != nullptr; }
    /// Passes a buffer to the receiver, whose result it returns. Without one it is a contract
    /// failure.
    static int Externalize(ZynBinary& area);
    static void NotifyBufferSwitch();
    /// The lines in the buffers, oldest first. Nothing happens unless extended trace is on.
    static void DumpBuffers(ZynBinary& oldest, ZynBinary& middle, ZynBinary& newest);
    /// Whether this process has dumped its trace buffers after a failed contract check.
    static bool AlreadyDumped() { return Read(_dumped); }
    /// @}

    /// @name Words
    /// @{
    /// Codes of a category and a component, such as "Fl,Kr"; "??" for what is not one bit with a
    /// code.
    static ZynString CatnCompAsString(int category, int component);
    /// The program's name, without its folder and its ending; "unknown" if it has none.
    static const ZynString& ProcessNameAsString();
    /// Decimal of 1 to 10 digits, and hexadecimal of 1 to 8. False, and `out` stays, for any other
    /// text.
    static bool LongFromString(unsigned long& out, const ZynString& text);
    static bool LongFromHexString(unsigned long& out, const ZynString& text);
    /// @}

    /// What happens when the library is loaded and unloaded; for its loader alone.
    static void Load();
    static void Unload() noexcept;

  private:
    friend void ZynDumpTraceBufs();
    friend class ZynTraceBuffer;
    class Change;

    /// What the gates read, in one place.
    struct Gate {
        std::atomic<std::uint32_t> _Level{0};
        std::atomic<std::uint32_t> _Categories{0};
        std::atomic<std::uint32_t> _Components{0};
        std::atomic<bool> _On{true};
        std::atomic<bool> _Xt{false};
    };

    // Reader and writer need not agree in time: an old value costs a line more or less.
    template <class Value>
    static Value Read(const std::atomic<Value>& value) {
        return value.load(std::memory_order_relaxed);
    }
    template <class Value>
    static void Write(std::atomic<Value>& value, Value to) {
        value.store(to, std::memory_order_relaxed);
    }
    static bool PassesMasks(unsigned int category, unsigned int component) {
        return (Read(_gate._Components) & component) != 0 &&
               (Read(_gate._Categories) & category) != 0 && Read(_gate._On);
    }

    static bool IsForkedChild();
    static void WriteBanner();
    static bool MakeBuffers() noexcept;
    static void RetireBuffers() noexcept;
    static void Write(const Site& site, unsigned long level, unsigned int category,
                      unsigned int component, std::string_view text) noexcept;
    static void WriteToFile(const zynktrc::Entry& entry);
    static ZynString TraceFileName();
    static void OpenAnew();
    static bool IsOwnFile();
    static void LookAtFile();
    static void CloseFile();
    static void WriteToFile(std::string_view entry);
    static void Rotate();

    static Gate _gate;
    static std::atomic<bool> _Shorttrace;
    static std::atomic<bool> _Initializing;
    static std::atomic<bool> _Initialized;
    static std::atomic<bool> _FlipFlopTrace;
    static std::atomic<const ZynString*> _TraceFileName;
    static std::atomic<unsigned long> _TraceFileSize;
    static unsigned long _TraceFileWrittenBytes;
    static int _fdesc;
    static unsigned long _opentries;
    static std::atomic<unsigned long> _TraceBufferSize;
    static std::atomic<int (*)(ZynBinary&)> _pExtFn;
    static std::atomic<void (*)()> _pNotifyBufSwFn;
    static std::atomic<bool> _dumped;
    static std::atomic<ZynMutexSemaphore*> _pSem;
    static std::atomic<ZynTraceBuffer*> _pTrcb;
    static ZynTraceBuffer* _retired;
    static std::atomic<bool> _isChanging;
};

/// Where a line comes from: its columns, and the function's name with the bracket that begins its
/// parameters.
struct ZynTrace::Site {
    std::string_view place;
    std::string_view function;
};

/// A character stream for the text of one line. It is lent by the calling thread, so that a line
/// costs no stream of its own; its numbers are in the "C" locale.
class ZYN_EXPORT ZynTrace::Text {
  public:
    Text() noexcept;
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text();

    ZynTraceStream& Stream() { return _stream; }
    /// What was written so far, up to a NUL at its end.
    std::string_view View() const;

  private:
    class Lent;

    Lent* _lent;
    ZynTraceStream& _stream;
};

/// Writes the exit line of a function, on every way out; the entry line is the macro's.
class ZynTrace::ZynCtrFlow {
  public:
    ZynCtrFlow(const char* file, unsigned long line, const char* function, unsigned long level,
               unsigned int component)
        : _file(file), _line(line), _function(function), _level(level), _component(component) {}
    ZynCtrFlow(const ZynCtrFlow&) = delete;
    ZynCtrFlow& operator=(const ZynCtrFlow&) = delete;
    ~ZynCtrFlow() {
        if (IsExitOpen(_level, Flow, _component)) [[unlikely]]
            Trace(_file, _line, _function, _level, Flow, _component, " <exit");
    }

    /// Writes the entry line if its gate is open.
    void Enter() const {
        if (IsOpen(_level, Flow, _component)) [[unlikely]]
            Trace(_file, _line, _function, _level, Flow, _component, " >entry");
    }

  private:
    const char* _file;
    unsigned long _line;
    const char* _function;
    unsigned long _level;
    unsigned int _component;
};

/// A name that the modules above read; the trace itself does not.
ZYN_EXPORT extern ZynString _trcfile;

/// The entry and exit lines of the function that it is the first statement of.
#define ZYN_FLOW(function, level, component)                                                       \
    const ZynTrace::ZynCtrFlow zynkFlow_(__FILE_NAME__, __LINE__, function, level, component);     \
    zynkFlow_.Enter()
/// A line at `level` of 1 or more. `items` is what stands behind a stream's first "<<", and is not
/// evaluated behind a closed gate.
#define ZYN_TRACE(level, category, component, items)                                               \
    ZYN_TRACE_SITE_(ZynTrace::IsOpen(level, category, component), level, category, component, items)
/// The same under the name of another function, for one that does the work of several.
#define ZYN_TRACE_IN(function, level, category, component, items)                                  \
    ZYN_TRACE_LINE_(ZynTrace::IsOpen(level, category, component), items,                           \
                    ZynTrace::Trace(__FILE_NAME__, __LINE__, function, level, category, component, \
                                    zynkText_.View()))
/// An error line at level 0.
#define ZYN_TRACE_ERROR(category, component, items)                                                \
    ZYN_TRACE_SITE_(ZynTrace::IsErrorOpen(category, component), ZynTrace::ErrorLevel, category,    \
                    component, items)

#define ZYN_TRACE_SITE_(gate, level, category, component, items)                                   \
    ZYN_TRACE_LINE_(gate, items, ZYN_TRACE_HERE_(level, category, component))
#define ZYN_TRACE_HERE_(level, category, component)                                                \
    static constexpr zynktrc::Place zynkPlace_(__FILE_NAME__, __LINE__);                           \
    static constexpr ZynTrace::Site zynkSite_(                                                     \
        {zynkPlace_,                                                                               \
         zynktrc::FunctionName(__PRETTY_FUNCTION__ + zynkFunctionName(__PRETTY_FUNCTION__))});     \
    ZynTrace::Trace(zynkSite_, level, category, component, zynkText_)
#define ZYN_TRACE_LINE_(gate, items, write)                                                        \
    do {                                                                                           \
        if (gate) [[unlikely]] {                                                                   \
            try {                                                                                  \
                ZynTrace::Text zynkText_;                                                          \
                zynkText_.Stream() << items;                                                       \
                write;                                                                             \
            } catch (...) {                                                                        \
                ZynTrace::LoseLine();                                                              \
            }                                                                                      \
        }                                                                                          \
    } while (false)
