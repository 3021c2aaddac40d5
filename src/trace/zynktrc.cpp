// ZynTrace: state, settings, load and unload. The lines and the file stand in the sources beside
// this one.
#include "zynktrc.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <utility>

#include "zynkplat.h"
#include "zynkprf.h"
#include "zynksem.h"
#include "zynktrc_codes.h"
#include "zynktrc_file.h"
#include "zynktrc_wait.h"
#include "zynktrcb.h"

// Constant, so that a line of a static object that is built before the library is loaded meets
// closed gates.
constinit ZynTrace::Gate ZynTrace::_gate;
constinit std::atomic<bool> ZynTrace::_Shorttrace{false};
constinit std::atomic<bool> ZynTrace::_Initializing{false};
constinit std::atomic<bool> ZynTrace::_Initialized{false};
constinit std::atomic<bool> ZynTrace::_FlipFlopTrace{false};
constinit std::atomic<unsigned long> ZynTrace::_TraceFileSize{0};
constinit std::atomic<unsigned long> ZynTrace::_TraceBufferSize{0};
constinit std::atomic<int (*)(ZynBinary&)> ZynTrace::_pExtFn{nullptr};
constinit std::atomic<void (*)()> ZynTrace::_pNotifyBufSwFn{nullptr};
constinit std::atomic<bool> ZynTrace::_dumped{false};
constinit std::atomic<ZynMutexSemaphore*> ZynTrace::_pSem{nullptr};
constinit std::atomic<ZynTraceBuffer*> ZynTrace::_pTrcb{nullptr};
constinit ZynTraceBuffer* ZynTrace::_retired = nullptr;
constinit std::atomic<bool> ZynTrace::_isChanging{false};

namespace {

constexpr unsigned long DefaultFileSize = 5;     // MiB
constexpr unsigned long DefaultBufferSize = 256; // KiB
constexpr unsigned long MinBufferSize = 65536;
constexpr unsigned long MaxBufferSize = 4194304;

std::string_view View(const ZynString& text) {
    return text.IsNull() ? std::string_view() : std::string_view(text.C_str(), text.Length());
}

// The number that a text of 1 to `maxDigits` digits is, held to 32 bits. False for any other text.
bool ParseNumber(unsigned long& out, std::string_view digits, std::size_t maxDigits, int base) {
    if (digits.empty() || digits.size() > maxDigits)
        return false;
    std::uint64_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [at, error] = std::from_chars(digits.data(), end, number, base);
    if (error != std::errc() || at != end)
        return false;
    out = static_cast<unsigned long>(std::min<std::uint64_t>(number, UINT32_MAX));
    return true;
}

bool ParseDecimal(unsigned long& out, std::string_view digits) {
    constexpr std::size_t MaxDigits = 10;
    return ParseNumber(out, digits, MaxDigits, 10);
}

bool ParseHexadecimal(unsigned long& out, std::string_view digits) {
    constexpr std::size_t MaxDigits = 8;
    return ParseNumber(out, digits, MaxDigits, 16);
}

// The number in a setting; `otherwise` if it is none.
unsigned long NumberSetting(const char* name, unsigned long otherwise) {
    unsigned long number = otherwise;
    ParseDecimal(number, View(ZynTrace::GetEnv(name)));
    return number;
}

// Takes the next field off a list as a tokenizer does that strips blanks and skips empty fields. It
// looks at bytes, so that criteria do not put the process into a locale, nor fail in one.
std::string_view NextField(std::string_view& list) {
    constexpr std::string_view Blank = " ";
    list.remove_prefix(std::min(list.find_first_not_of(" ,"), list.size()));
    const std::string_view field = list.substr(0, list.find(','));
    list.remove_prefix(field.size());
    return field.substr(0, field.find_last_not_of(Blank) + 1); // npos + 1 is 0
}

// In the place of a receiver that is null, so that one value tells both whether there is one and
// which: another thread may change it at any time.
int NoReceiver(ZynBinary& /*area*/) {
    zynkRequire("_Externalize == true && _pExtFn != 0", __FILE_NAME__, __LINE__);
}

} // namespace

// The extent in which one thread alone makes buffers or gives them up. The others wait, but not in
// a function of the host, which that one may wait for, nor in the child of a fork, where it is not.
class ZynTrace::Change {
  public:
    explicit Change(zynktrc::Patience patience)
        : _patience(IsForkedChild() ? zynktrc::None : patience),
          _isMine(zynktrc::WaitUntil([] { return !_isChanging.exchange(true); },
                                     ZynTraceBuffer::IsHandingOver() ? zynktrc::None : _patience)) {
    }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;
    ~Change() {
        if (_isMine)
            _isChanging = false;
    }

    bool IsMine() const { return _isMine; }
    /// For the calls of the host in other threads.
    void AwaitOthers() const {
        zynktrc::WaitUntil([] { return !ZynTraceBuffer::AreOthersHandingOver(); }, _patience);
    }

  private:
    zynktrc::Patience _patience;
    bool _isMine;
};

// To find the current configuration is to read the settings, for both are read anew whenever it
// changes. A process that has none, or whose store can't be read, has those of the environment.
void ZynTrace::Load() {
    try {
        ZynProfile::CurrentConfig();
    } catch (...) {
        Init();
    }
    WriteBanner();
}

// A store that can't be read is told here, whatever is traced: without the facts of the
// installation no program of the system is to run.
void ZynTrace::WriteBanner() {
    const auto line = [](const char* text, const char* value = "") {
        ZYN_TRACE_IN("ZynTrace::ZynTrace", 1, General, Kernel, text << value);
    };
    ZynProfile installation;
    installation.OpenInstall(false);
    line("Installation settings:");
    for (const char* const key : {"VRM", "ServiceLevel", "Language", "InstalledComponents"})
        ZYN_TRACE_IN("ZynTrace::ZynTrace", 1, General, Kernel,
                     "  " << key << ": " << installation.Find(key, false));
    line("Code setting:");
    line("  TVL_VERSION: v350");
    line("  TVL_CSD from current library: 1");
    line("  Platform: ", zynkplat::TracePlatform);
}

// Code that runs in the rest of the unload meets closed gates. The lock of the file is not held
// while the last area is handed over, as other threads may need it, and is the last to go. Threads
// that are at the buffers are not waited for without end: they may be no more.
void ZynTrace::Unload() noexcept {
    constexpr zynktrc::Patience Bounded{1000};
    SetFilter(0, 0, 0);
    Stop();
    {
        const Change change(Bounded);
        if (change.IsMine()) {
            RetireBuffers();
            change.AwaitOthers();
        }
        Write(_gate._Xt, false);
    }
    zynktrc::FileLock::Retire(_pSem);
    zynkplat::ForgetThreadEnds();
}

void ZynTrace::Init() noexcept {
    Write(_Initializing, true);
    SetCriteria(GetEnv("ZYN_TRACE_CRITERIA"));
    Write(_Shorttrace, !GetEnv("ZYN_SHORT_TRACES").IsNull());
    try {
        OpenAnew();
    } catch (...) { // NOLINT(bugprone-empty-catch): the file stays the one it was
    }
    if (Read(_FlipFlopTrace))
        Write(_TraceFileSize, NumberSetting("ZYN_TRACE_FILE_SIZE", DefaultFileSize) << 20U);
    Write(_TraceBufferSize,
          std::clamp(NumberSetting("ZYN_TRACE_BUFFER_SIZE", DefaultBufferSize) << 10U,
                     MinBufferSize, MaxBufferSize));
    Write(_Initializing, false);
    Write(_Initialized, true);
}

// Lines of other threads are lost ahead of that, so that none of these comes to read the settings
// as well, with a lock in its hands that this one may wait for.
void ZynTrace::ReInit() noexcept {
    Write(_Initializing, true);
    _Initialized = false;
    Init();
}

ZynString ZynTrace::GetEnv(const char* name) noexcept {
    try {
        ZynString setting(std::getenv(name));
        if (setting.IsNull()) {
            ZynProfile profile;
            profile.OpenConfig(ZynProfile::CurrentConfig(), false);
            setting = profile.Find(name, false);
        }
        if (setting.Length() == 0)
            setting.SetNull();
        return setting;
    } catch (...) {
        return {};
    }
}

void ZynTrace::SetLevel(unsigned long level) {
    Write(_gate._Level, static_cast<std::uint32_t>(level));
}

void ZynTrace::SetCategories(unsigned long categories) {
    Write(_gate._Categories, static_cast<std::uint32_t>(categories));
}

void ZynTrace::SetComponents(unsigned long components) {
    Write(_gate._Components, static_cast<std::uint32_t>(components));
}

void ZynTrace::SetFilter(unsigned long level, unsigned long categories, unsigned long components) {
    SetLevel(level);
    SetCategories(categories);
    SetComponents(components);
}

// Masks are given in their full width, so that a mistaken order of the fields is noticed.
void ZynTrace::SetCriteria(const ZynString& criteria) noexcept {
    constexpr std::size_t CategoryDigits = 4;
    constexpr std::size_t ComponentDigits = 8;
    std::string_view rest = View(criteria);
    unsigned long number = 0;
    if (ParseDecimal(number, NextField(rest)))
        SetLevel(number);
    if (const std::string_view mask = NextField(rest);
        mask.size() == CategoryDigits && ParseHexadecimal(number, mask))
        SetCategories(number);
    if (const std::string_view mask = NextField(rest);
        mask.size() == ComponentDigits && ParseHexadecimal(number, mask))
        SetComponents(number);
}

bool ZynTrace::LongFromString(unsigned long& out, const ZynString& text) {
    return ParseDecimal(out, View(text));
}

bool ZynTrace::LongFromHexString(unsigned long& out, const ZynString& text) {
    return ParseHexadecimal(out, View(text));
}

ZynString ZynTrace::CatnCompAsString(int category, int component) {
    return ZynString(zynktrc::CategoryCode(static_cast<unsigned int>(category))) | "," |
           zynktrc::ComponentCode(static_cast<unsigned int>(component));
}

void ZynTrace::SetMultiThreaded() {
    if (_pSem.load() != nullptr)
        return;
    try {
        auto semaphore = std::make_unique<ZynMutexSemaphore>();
        ZynMutexSemaphore* none = nullptr;
        if (_pSem.compare_exchange_strong(none, semaphore.get()))
            semaphore.release(); // NOLINT(bugprone-unused-return-value): _pSem has it now
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
}

// Buffers that are given up stay in memory, for another thread may be at a line for them; the next
// ones of their size are these.
bool ZynTrace::MakeBuffers() noexcept {
    try {
        const unsigned long size = Read(_TraceBufferSize);
        for (ZynTraceBuffer** at = &_retired; *at != nullptr; at = &(*at)->_older)
            if ((*at)->_size == size) {
                ZynTraceBuffer* const buffers = *at;
                buffers->Restart();
                *at = buffers->_older;
                _pTrcb.store(buffers);
                return true;
            }
        _pTrcb.store(new ZynTraceBuffer(size));
        return true;
    } catch (...) {
        return false;
    }
}

// The child of a fork has but a copy of them, which are its parent's to hand over.
void ZynTrace::RetireBuffers() noexcept {
    ZynTraceBuffer* const buffers = _pTrcb.load();
    if (buffers == nullptr)
        return;
    try {
        if (!IsForkedChild())
            buffers->Close();
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
    _pTrcb.store(nullptr);
    buffers->_older = std::exchange(_retired, buffers);
}

void ZynTrace::SetXt(bool on, void (*notify)(), ZynTraceBufReg* reg) {
    if (!Read(_Initialized))
        return;
    const Change change(zynktrc::Endless);
    if (change.IsMine()) {
        Write(_pNotifyBufSwFn, notify);
        if (!Xt() && on) {
            CloseFile();
            on = MakeBuffers(); // without memory lines go on into the file
        } else if (Xt() && !on) {
            Write(_pNotifyBufSwFn, static_cast<void (*)()>(nullptr));
            CloseFile();
            RetireBuffers();
        }
        if (!on)
            change.AwaitOthers();
        Write(_gate._Xt, on);
    }
    if (reg != nullptr) {
        const ZynTraceBuffer* const buffers = _pTrcb.load();
        *reg = buffers != nullptr ? buffers->Register() : ZynTraceBufReg{};
    }
}

void ZynTrace::SetExternalization(bool on, int (*fn)(ZynBinary&)) {
    if (!Read(_Initialized))
        return;
    if (on)
        Write(_pExtFn, fn != nullptr ? fn : NoReceiver);
    else
        Write(_pExtFn, static_cast<int (*)(ZynBinary&)>(nullptr));
}

int ZynTrace::Externalize(ZynBinary& area) {
    auto* const receiver = Read(_pExtFn);
    return receiver != nullptr ? receiver(area) : NoReceiver(area);
}

void ZynTrace::NotifyBufferSwitch() {
    if (auto* const notify = Read(_pNotifyBufSwFn); notify != nullptr)
        notify();
}

void ZynTrace::Flush() noexcept {
    ZynTraceBuffer* const buffers = _pTrcb.load();
    if (!Xt() || buffers == nullptr || IsForkedChild())
        return;
    try {
        buffers->Flush();
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
}

void ZynTrace::DumpBuffers(ZynBinary& oldest, ZynBinary& middle, ZynBinary& newest) {
    ZynTraceBuffer* const buffers = _pTrcb.load();
    if (!Xt() || buffers == nullptr)
        return;
    buffers->DumpBuffers(oldest, middle, newest);
    Write(_dumped, true);
}
