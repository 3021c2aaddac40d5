// ZynTrace: state, settings, load and unload. The lines and the file stand in the sources beside
// this one.
#include "zynktrc.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>

#include "zynkplat.h"
#include "zynksem.h"
#include "zynktrc_codes.h"
#include "zynktrc_file.h"
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
constinit std::atomic<bool> ZynTrace::_Externalize{false};
constinit std::atomic<int (*)(ZynBinary&)> ZynTrace::_pExtFn{nullptr};
constinit std::atomic<void (*)()> ZynTrace::_pNotifyBufSwFn{nullptr};
constinit std::atomic<bool> ZynTrace::_dumped{false};
constinit std::atomic<ZynMutexSemaphore*> ZynTrace::_pSem{nullptr};
constinit std::atomic<ZynTraceBuffer*> ZynTrace::_pTrcb{nullptr};

namespace {

constexpr unsigned long DefaultFileSize = 5;     // MiB
constexpr unsigned long DefaultBufferSize = 256; // KiB
constexpr unsigned long MinBufferSize = 65536;
constexpr unsigned long MaxBufferSize = 4194304;

// The number in a setting; `otherwise` if it is none.
unsigned long NumberSetting(const char* name, unsigned long otherwise) {
    unsigned long number = otherwise;
    ZynTrace::LongFromString(number, ZynTrace::GetEnv(name));
    return number;
}

template <class IsDigit>
bool IsNumber(const ZynString& text, unsigned long maxDigits, IsDigit isDigit) {
    if (text.IsNull() || text.Length() == 0 || text.Length() > maxDigits)
        return false;
    const std::string_view digits(text.C_str(), text.Length());
    return std::all_of(digits.begin(), digits.end(), isDigit);
}

} // namespace

// The store will bring settings of the current configuration here, once it has landed.
void ZynTrace::Load() {
    Init();
    WriteBanner();
}

// The values of the installation are null as long as there is no store that has them.
void ZynTrace::WriteBanner() {
    const auto line = [](const char* text, const char* key = "", const char* value = "") {
        ZYN_TRACE(1, General, Kernel, text << key << value);
    };
    line("Installation settings:");
    for (const char* const key : {"VRM", "ServiceLevel", "Language", "InstalledComponents"})
        line("  ", key, ": <null>");
    line("Code setting:");
    line("  TVL_VERSION: v350");
    line("  TVL_CSD from current library: 1");
    line("  Platform: ", zynkplat::TracePlatform);
}

// Code that runs in the rest of the unload meets closed gates.
void ZynTrace::Unload() noexcept {
    zynktrc::FileLock::Retire(_pSem, [] {
        SetFilter(0, 0, 0);
        Stop();
        if (Xt())
            delete _pTrcb.exchange(nullptr);
    });
}

void ZynTrace::Init() {
    Write(_Initializing, true);
    SetCriteria(GetEnv("ZYN_TRACE_CRITERIA"));
    Write(_Shorttrace, !GetEnv("ZYN_SHORT_TRACES").IsNull());
    OpenAnew();
    if (Read(_FlipFlopTrace))
        Write(_TraceFileSize, NumberSetting("ZYN_TRACE_FILE_SIZE", DefaultFileSize) << 20U);
    Write(_TraceBufferSize,
          std::clamp(NumberSetting("ZYN_TRACE_BUFFER_SIZE", DefaultBufferSize) << 10U,
                     MinBufferSize, MaxBufferSize));
    Write(_Initializing, false);
    Write(_Initialized, true);
}

void ZynTrace::ReInit() {
    Write(_Initialized, false);
    Init();
}

ZynString ZynTrace::GetEnv(const char* name) {
    ZynString value(std::getenv(name));
    if (!value.IsNull() && value.Length() == 0)
        value.SetNull();
    return value;
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
void ZynTrace::SetCriteria(const ZynString& criteria) {
    constexpr unsigned long CategoryDigits = 4;
    constexpr unsigned long ComponentDigits = 8;
    if (criteria.IsNull())
        return;
    const ZynString::Tokenizer fields(criteria, ',', true, true);
    unsigned long number = 0;
    if (LongFromString(number, fields.Next()))
        SetLevel(number);
    if (const ZynString mask = fields.Next();
        LongFromHexString(number, mask) && mask.Length() == CategoryDigits)
        SetCategories(number);
    if (const ZynString mask = fields.Next();
        LongFromHexString(number, mask) && mask.Length() == ComponentDigits)
        SetComponents(number);
}

bool ZynTrace::LongFromString(unsigned long& out, const ZynString& text) {
    constexpr unsigned long MaxDigits = 10;
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (!IsNumber(text, MaxDigits, isDigit))
        return false;
    out = text.AsUlong();
    return true;
}

bool ZynTrace::LongFromHexString(unsigned long& out, const ZynString& text) {
    constexpr unsigned long MaxDigits = 8;
    const auto isDigit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    if (!IsNumber(text, MaxDigits, isDigit))
        return false;
    out = std::strtoul(text.C_str(), nullptr, 16);
    return true;
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

void ZynTrace::SetXt(bool on, void (*notify)(), ZynTraceBufReg* reg) {
    if (!Read(_Initialized))
        return;
    Write(_pNotifyBufSwFn, notify);
    if (!Xt() && on) {
        CloseFile();
        try {
            _pTrcb.store(new ZynTraceBuffer(Read(_TraceBufferSize)));
        } catch (...) {
            on = false; // without memory lines go on into the file
        }
    } else if (Xt() && !on) {
        Write(_pNotifyBufSwFn, static_cast<void (*)()>(nullptr));
        CloseFile();
        delete _pTrcb.load();
        _pTrcb.store(nullptr);
    }
    if (reg != nullptr) {
        const ZynTraceBuffer* const buffers = _pTrcb.load();
        *reg = buffers != nullptr ? buffers->Register() : ZynTraceBufReg{};
    }
    Write(_gate._Xt, on);
}

void ZynTrace::SetExternalization(bool on, int (*fn)(ZynBinary&)) {
    if (!Read(_Initialized))
        return;
    Write(_pExtFn, on ? fn : nullptr);
    Write(_Externalize, on);
}

int ZynTrace::Externalize(ZynBinary& area) {
    auto* const receiver = Read(_pExtFn);
    ZYN_REQUIRE_TEXT(ShouldExternalize() && receiver != nullptr,
                     "_Externalize == true && _pExtFn != 0");
    return receiver(area);
}

void ZynTrace::NotifyBufferSwitch() {
    if (auto* const notify = Read(_pNotifyBufSwFn); notify != nullptr)
        notify();
}

void ZynTrace::Flush() {
    ZynTraceBuffer* const buffers = _pTrcb.load();
    if (Xt() && buffers != nullptr)
        buffers->Flush();
}

void ZynTrace::DumpBuffers(ZynBinary& oldest, ZynBinary& middle, ZynBinary& newest) {
    ZynTraceBuffer* const buffers = _pTrcb.load();
    if (!Xt() || buffers == nullptr)
        return;
    buffers->DumpBuffers(oldest, middle, newest);
    Write(_dumped, true);
}
