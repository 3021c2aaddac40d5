// Lines of ZynTrace: their text, their form and where they go.
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>

#include "zynkops.h"
#include "zynkplat.h"
#include "zynktrc.h"
#include "zynktrc_codes.h"
#include "zynktrc_line.h"
#include "zynktrcb.h"

namespace zynktrc {

namespace {

// All numbers of two digits, one behind the other.
constexpr auto TwoDigits = [] {
    std::array<char, 200> digits{};
    for (std::size_t i = 0; i < 100; ++i) {
        digits[2 * i] = static_cast<char>('0' + i / 10);
        digits[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return digits;
}();

constexpr std::string_view UnknownProcess = "unknown";

} // namespace

void Line::PutLong(std::string_view text) {
    if (!_isLong) {
        const std::string_view soFar = View();
        _long.reserve(soFar.size() + text.size() + 1);
        _long = soFar;
        _isLong = true;
        _room = 0;
    }
    _long.append(text);
}

void Line::PutTwo(unsigned long number) {
    Put({&TwoDigits[2 * (number % 100)], 2});
}

void Line::PutNumber(unsigned long number, std::size_t width) {
    char digits[20];
    char* at = digits + sizeof digits;
    for (; number >= 10; number /= 100) {
        at -= 2;
        std::memcpy(at, &TwoDigits[2 * (number % 100)], 2);
    }
    if (number != 0 || at == digits + sizeof digits)
        *--at = static_cast<char>('0' + number);
    PutRight({at, static_cast<std::size_t>(digits + sizeof digits - at)}, width);
}

// The date and the time up to the second are kept until the next one: breaking them down is most of
// what a line costs.
void Line::PutTime() {
    using std::chrono::milliseconds;
    using std::chrono::seconds;
    const auto now = std::chrono::duration_cast<milliseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    const auto second = std::chrono::floor<seconds>(now);
    struct Kept {
        long long second = -1;
        char text[22];
    };
    thread_local Kept kept;
    if (kept.second != second.count()) {
        const zynkplat::CivilTime time = zynkplat::LocalTime(second.count());
        Line line;
        line.PutTwo(time.year / 100);
        for (const auto& [number, separator] :
             {std::pair(time.year, "-"), std::pair(time.month, "-"), std::pair(time.day, ", "),
              std::pair(time.hour, ":"), std::pair(time.minute, ":"),
              std::pair(time.second, ".")}) {
            line.PutTwo(number);
            line.Put(separator);
        }
        line.View().copy(kept.text, sizeof kept.text);
        kept.second = second.count();
    }
    const auto milli = static_cast<unsigned long>((now - second).count());
    const char digit = static_cast<char>('0' + milli / 100);
    Put({kept.text, 21});
    Put({&digit, 1});
    PutTwo(milli);
    Put(", ");
}

// A name is shown up to its parameters. One that would take the line over its columns is not shown.
void Line::PutFunction(std::string_view function) {
    const std::size_t bracket = function.find('(');
    const bool hasBracket = bracket != std::string_view::npos;
    const std::size_t length = hasBracket ? bracket + 2 : function.size();
    if (function.empty() || View().size() + length >= Columns) {
        Put("n/a()");
        return;
    }
    Put(function.substr(0, bracket));
    if (hasBracket)
        Put("()");
}

std::string_view FileName(std::string_view path) {
    std::size_t start = path.size();
    while (start > 0 && path[start - 1] != '/' && path[start - 1] != '\\')
        --start;
    return path.substr(start);
}

std::string_view ProcessName(std::string_view path, char separator) {
    std::string_view name = path.substr(path.rfind(separator) + 1);
    name = name.substr(0, name.rfind('.'));
    return name.empty() ? UnknownProcess : name;
}

} // namespace zynktrc

namespace {

// A line that the composing of another one causes is written too, but this has an end.
constexpr int MaxNesting = 3;
thread_local int nesting = 0;

// The extent of a line. Those who trace an error may look at `errno` afterwards.
class Nesting {
  public:
    Nesting() : _errno(errno) { ++nesting; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() {
        --nesting;
        errno = _errno;
    }

  private:
    int _errno;
};

} // namespace

// The check of the process's id would fail at each line there, and be a line itself.
bool ZynTrace::IsForkedChild() {
    return ZynOpSys::_pid != zynkplat::CurrentProcessId();
}

const ZynString& ZynTrace::ProcessNameAsString() {
    // Never destroyed: there are lines up to the end. The platform is asked, not ZynOpSys: a failed
    // check would be a line of its own.
    static const ZynString& name = *[] {
        constexpr std::size_t MaxPath = 4096;
        char path[MaxPath + 1] = {};
        if (!zynkplat::ExeFileName(path, sizeof path))
            path[0] = '\0';
        const std::string_view found = zynktrc::ProcessName(path, zynkplat::DirectorySeparator);
        return new ZynString(found.data(), static_cast<long>(found.size()));
    }();
    return name;
}

void ZynTrace::FormatEntry(zynktrc::Line& entry, const char* file, unsigned long line,
                           const char* function, unsigned long level, unsigned int category,
                           unsigned int component, std::string_view text) {
    entry.PutTime();
    entry.PutRight(zynktrc::FileName(file), 12);
    entry.Put("(");
    entry.PutNumber(line, 5);
    entry.Put(") ");
    if (!Read(_Shorttrace) && Level() != 0) {
        entry.Put("(");
        entry.PutTwo(level);
        entry.Put(",");
        entry.Put(zynktrc::CategoryCode(category));
        entry.Put(",");
        entry.Put(zynktrc::ComponentCode(component));
        entry.Put("), ");
    }
    const ZynString& process = ProcessNameAsString();
    entry.PutRight({process.C_str(), process.Length()}, 8);
    entry.Put("(");
    entry.PutNumber(ZynOpSys::ProcessID(), 4);
    entry.Put("-");
    entry.PutNumber(ZynOpSys::ThreadID(), 4);
    entry.Put("), ");
    entry.PutFunction(function);
    entry.Put(", ");
    entry.Put(text);
    entry.Put("\n");
}

void ZynTrace::Trace(const char* file, unsigned long line, const char* function,
                     unsigned long level, unsigned int category, unsigned int component,
                     std::string_view text) noexcept {
    const bool isInitialized = _Initialized; // ahead of the other one, which ReInit sets first
    if (Read(_Initializing) || nesting >= MaxNesting || IsForkedChild())
        return;
    const Nesting nested;
    try {
        if (!isInitialized)
            Init();
        zynktrc::Line entry;
        FormatEntry(entry, file != nullptr ? file : "", line, function != nullptr ? function : "",
                    level, category, component, text.empty() ? "" : text);
        ZynTraceBuffer* const buffers = _pTrcb.load(std::memory_order_acquire);
        if (Xt() && buffers != nullptr)
            buffers->Append(entry.View());
        else
            WriteToFile(entry.View());
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
}

void ZynTrace::LoseLine() {
    zynkplat::PassThreadEnd();
}

// The fields of the trace context will go in front of the text once it has landed.
void ZynTrace::TraceCtx(const char* file, unsigned long line, const char* function,
                        unsigned long level, unsigned int category, unsigned int component,
                        int /*contextMask*/, std::string_view text) noexcept {
    if (IsExitOpen(level, category, component))
        Trace(file, line, function, level, category, component, text);
}
