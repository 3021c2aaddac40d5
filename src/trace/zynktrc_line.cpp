// Lines of ZynTrace: their text, their form and where they go.
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "zynkops.h"
#include "zynkplat.h"
#include "zynktrc.h"
#include "zynktrc_codes.h"
#include "zynktrc_entry.h"
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

// The smallest number of each count of digits, 1 to 20, ahead of which stands that of one less.
constexpr auto LeastOfDigits = [] {
    std::array<unsigned long long, MaxDigits> least{};
    for (std::size_t i = 1; i < MaxDigits; ++i)
        least[i] = i == 1 ? 10 : 10 * least[i - 1];
    return least;
}();

std::size_t CountDigits(unsigned long long number) {
    // 1233 / 4096 is a little more than the logarithm of 2: it may be one too many.
    const auto atMost = static_cast<std::size_t>(std::bit_width(number)) * 1233 / 4096;
    return atMost + (number >= LeastOfDigits[atMost] ? 1 : 0);
}

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
    char digits[MaxDigits];
    PutRight({digits, static_cast<std::size_t>(CopyNumber(digits, number) - digits)}, width);
}

// Right where they are to stand: what is read just behind its being written in smaller pieces has
// to wait for them.
char* CopyNumber(char* to, unsigned long long number) {
    const std::size_t count = CountDigits(number);
    char* const end = to + count;
    for (to = end; number >= 10; number /= 100) {
        to -= 2;
        std::memcpy(to, &TwoDigits[2 * (number % 100)], 2);
    }
    if (count % 2 != 0)
        *--to = static_cast<char>('0' + number);
    return end;
}

std::string_view ProcessName(std::string_view path, char separator) {
    std::string_view name = path.substr(path.rfind(separator) + 1);
    name = name.substr(0, name.rfind('.'));
    return name.empty() ? UnknownProcess : name;
}

namespace {

// Columns of a thread's lines that stay for a while, as its last line had them. The time is that of
// a whole second, which takes longer to break down than all the rest of a line, with the
// milliseconds of that line put in.
struct Kept {
    long long second = -1;
    unsigned int milli = 0;
    char time[26] = {};
    unsigned long process = 0; ///< whose thread it is
    std::uint8_t threadSize = 0;
    char threadText[24] = {};
};
[[gnu::tls_model("initial-exec")]] constinit thread_local Kept kept;

// The same of the process. What was in use stays for good, for another thread may be at it.
struct Process {
    unsigned long id;
    std::string text;
};
constinit std::atomic<const Process*> lastProcess{nullptr};

[[gnu::cold]] void KeepSecond(long long second) {
    const zynkplat::CivilTime time = zynkplat::LocalTime(second);
    Line line;
    line.PutTwo(time.year / 100);
    for (const auto& [number, separator] :
         {std::pair(time.year, "-"), std::pair(time.month, "-"), std::pair(time.day, ", "),
          std::pair(time.hour, ":"), std::pair(time.minute, ":"), std::pair(time.second, ".")}) {
        line.PutTwo(number);
        line.Put(separator);
    }
    line.Put("000, ");
    line.View().copy(kept.time, sizeof kept.time);
    kept.second = second;
    kept.milli = 0;
}

void KeepMilli(unsigned int milli) {
    constexpr std::size_t At = sizeof "YYYY-MM-DD, HH:MM:SS." - 1;
    kept.time[At] = static_cast<char>('0' + milli / 100);
    std::memcpy(kept.time + At + 1, &TwoDigits[2UL * (milli % 100)], 2);
    kept.milli = milli;
}

[[gnu::cold]] void KeepThread() {
    Line line;
    line.PutNumber(ZynOpSys::ThreadID(), 4);
    line.Put("), ");
    kept.threadSize = static_cast<std::uint8_t>(line.View().copy(kept.threadText, 24));
    kept.process = ZynOpSys::_pid;
}

[[gnu::cold]] const Process& MakeProcess() {
    Line line;
    const ZynString& name = ZynTrace::ProcessNameAsString();
    line.PutRight({name.C_str(), name.Length()}, 8);
    line.Put("(");
    line.PutNumber(ZynOpSys::ProcessID(), 4);
    line.Put("-");
    const auto* const process = new Process{ZynOpSys::_pid, std::string(line.View())};
    lastProcess = process;
    return *process;
}

std::string_view ProcessColumns() {
    const Process* const process = lastProcess.load(std::memory_order_acquire);
    return process != nullptr && process->id == ZynOpSys::_pid ? process->text : MakeProcess().text;
}

std::string_view ThreadColumns() {
    if (kept.process != ZynOpSys::_pid) [[unlikely]]
        KeepThread();
    return {kept.threadText, kept.threadSize};
}

} // namespace

inline Entry::Entry(std::string_view place, std::string_view function, std::string_view text)
    : _place(place), _process(ProcessColumns()), _thread(ThreadColumns()), _function(function),
      _text(text) {
    constexpr std::uint32_t NanosecondsOfMilli = 1000000;
    const zynkplat::Moment now = zynkplat::Now();
    if (const auto milli = now.nanosecond / NanosecondsOfMilli;
        kept.milli != milli || kept.second != now.second) {
        if (kept.second != now.second)
            KeepSecond(now.second);
        KeepMilli(milli);
    }
    std::memcpy(_time, kept.time, sizeof _time);
}

// A filter column is of one width.
inline void Entry::SetFilter(unsigned long level, unsigned int category, unsigned int component) {
    std::memcpy(_filter, "(  ,  ,  ), ", sizeof _filter);
    std::memcpy(_filter + 1, &TwoDigits[2 * (level % 100)], 2);
    std::memcpy(_filter + 4, CategoryCode(category), 2);
    std::memcpy(_filter + 7, ComponentCode(component), 2);
    _filterSize = sizeof _filter;
}

// A name is shown up to its parameters. One that would take the line over its columns is not shown.
inline void Entry::EndHead() {
    const bool hasBracket = _function.ends_with('(');
    _separator = hasBracket ? "), " : ", ";
    if (_function.empty() ||
        FunctionColumn() + _function.size() + (hasBracket ? 1 : 0) >= Line::Columns) [[unlikely]] {
        _function = "n/a()";
        _separator = ", ";
    }
}

} // namespace zynktrc

namespace {

// A line that the composing of another one causes is written too, but this has an end.
constexpr int MaxNesting = 3;
[[gnu::tls_model("initial-exec")]] constinit thread_local int nesting = 0;

// The extent of a line. Those who trace an error may look at `errno` afterwards.
class Nesting {
  public:
    Nesting() : _pErrno(&errno), _errno(*_pErrno) { ++nesting; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() {
        --nesting;
        *_pErrno = _errno;
    }

  private:
    int* _pErrno; ///< the thread's own: asked for once
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

void ZynTrace::Trace(const char* file, unsigned long line, const char* function,
                     unsigned long level, unsigned int category, unsigned int component,
                     std::string_view text) noexcept {
    try {
        zynktrc::Line place;
        place.PutRight(zynktrc::FileName(file != nullptr ? file : ""), 12);
        place.Put("(");
        place.PutNumber(line, 5);
        place.Put(") ");
        Write({place.View(), zynktrc::FunctionName(function != nullptr ? function : "")}, level,
              category, component, text);
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
}

void ZynTrace::Write(const Site& site, unsigned long level, unsigned int category,
                     unsigned int component, std::string_view text) noexcept {
    const bool isInitialized = _Initialized; // ahead of the other one, which ReInit sets first
    if (Read(_Initializing) || nesting >= MaxNesting || IsForkedChild()) [[unlikely]]
        return;
    const Nesting nested;
    try {
        if (!isInitialized) [[unlikely]]
            Init();
        zynktrc::Entry entry(site.place, site.function, text);
        if (!Read(_Shorttrace) && Level() != 0)
            entry.SetFilter(level, category, component);
        entry.EndHead();
        ZynTraceBuffer* const buffers = _pTrcb.load(std::memory_order_acquire);
        if (Xt() && buffers != nullptr)
            buffers->Append(entry);
        else
            WriteToFile(entry);
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
}

void ZynTrace::LoseLine() {
    zynkplat::PassThreadEnd();
}

// Most lines are put together on the stack.
void ZynTrace::WriteToFile(const zynktrc::Entry& entry) {
    constexpr std::size_t ShortSize = 900;
    char area[ShortSize];
    if (const std::size_t length = entry.Length(); length > sizeof area) [[unlikely]] {
        std::string line(length, '\0');
        entry.CopyTo(line.data());
        WriteToFile(line);
    } else {
        entry.CopyTo(area);
        WriteToFile(std::string_view(area, length));
    }
}

// The fields of the trace context will go in front of the text once it has landed.
void ZynTrace::TraceCtx(const char* file, unsigned long line, const char* function,
                        unsigned long level, unsigned int category, unsigned int component,
                        int /*contextMask*/, std::string_view text) noexcept {
    if (IsExitOpen(level, category, component))
        Trace(file, line, function, level, category, component, text);
}
