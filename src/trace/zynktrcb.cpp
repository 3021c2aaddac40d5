#include "zynktrcb.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "zynkops.h"
#include "zynktrcb_walk.h"

namespace {

// Of the process; the first area bears 2.
std::atomic<std::uint32_t> lastSequenceNumber{1};

// An area is never filled to its last bytes.
constexpr unsigned long SpareBytes = 2;

// Offsets of the header's fields.
constexpr unsigned long SequenceOffset = 8;
constexpr unsigned long PlatformOffset = 16;
constexpr unsigned long ProcessOffset = 20;

constexpr char HeaderTemplate[] = "\x00\x00\x00\x1C\xFF\xFF\xFF\xFF\x00\x00\x00\x00\x00\x01\x00\x00"
                                  "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x1C";
static_assert(sizeof HeaderTemplate == zynktrcb::HeaderLength + 1);

} // namespace

ZynTraceBuffer::ZynTraceBuffer(unsigned long size) : _size(std::max(size, zynktrcb::HeaderLength)) {
    for (unsigned long i = 0; i < Areas; ++i) {
        _areas[i] = ZynBinary(CreateEmpty, _size);
        _buf[i] = _areas[i].PreRead();
    }
    Restart();
}

// Three areas without a line.
void ZynTraceBuffer::Restart() {
    for (unsigned long i = 0; i < Areas; ++i) {
        _areas[i].PostRead(_size);
        std::memset(_buf[i], 0, _size);
    }
    _pCurr = Init(0);
}

ZynTraceBuffer::~ZynTraceBuffer() {
    try {
        Switch();
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
}

// Asserts as well that the position is in one.
unsigned long ZynTraceBuffer::AreaOf(const char* at) const {
    for (unsigned long i = 0; i < Areas; ++i)
        if (at >= _buf[i] && at <= _buf[i] + _size)
            return i;
    zynkAssert("_pCurr - _buf[_i] <= (long)_size", __FILE_NAME__, __LINE__);
}

// Makes an area a fresh one; the place of its first record.
char* ZynTraceBuffer::Init(unsigned long index) {
    char* const area = _buf[index];
    std::memset(area, 0, _size);
    std::memcpy(area, HeaderTemplate, zynktrcb::HeaderLength);
    zynkxdr::StoreWord(area + ProcessOffset, static_cast<std::uint32_t>(ZynOpSys::_pid));
    zynkxdr::StoreWord(area + PlatformOffset, static_cast<std::uint32_t>(ZynOpSys::Platform()));
    zynkxdr::StoreWord(area + SequenceOffset,
                       lastSequenceNumber.fetch_add(1, std::memory_order_relaxed) + 1);
    return area + zynktrcb::HeaderLength;
}

// Room for a record of `length` bytes in the current area, or null. It belongs to the thread that
// has moved the position over it.
char* ZynTraceBuffer::Claim(unsigned long length) {
    char* at = _pCurr.load(std::memory_order_acquire);
    for (;;) {
        const char* const end = _buf[AreaOf(at)] + _size;
        if (length + SpareBytes > static_cast<unsigned long>(end - at))
            return nullptr;
        if (_pCurr.compare_exchange_weak(at, at + length, std::memory_order_acq_rel))
            return at;
    }
}

void ZynTraceBuffer::Append(const ZynString& entry) {
    if (!entry.IsNull())
        Append(std::string_view(entry.C_str(), entry.Length()));
}

void ZynTraceBuffer::Append(std::string_view entry) {
    if (Store(entry))
        return;
    try {
        Switch();
    } catch (...) {
        Store(entry); // it has been the receiver's failure
        throw;
    }
    Store(entry);
}

// False if there is no room in the current area.
bool ZynTraceBuffer::Store(std::string_view entry) {
    const unsigned long length = entry.size() + zynktrcb::FrameLength + zynktrcb::EpilogLength;
    char* const to = Claim(length);
    if (to == nullptr)
        return false;
    const auto word = static_cast<std::uint32_t>(length);
    zynkxdr::StoreWord(to, word);
    zynkxdr::StoreWord(to + zynkxdr::WordSize, zynktrcb::LineType);
    std::memcpy(to + zynktrcb::FrameLength, entry.data(), entry.size());
    zynkxdr::StoreWord(to + length - zynktrcb::EpilogLength, word);
    return true;
}

// One thread switches; others that found no room wait for the moment in which it clears the next
// area.
void ZynTraceBuffer::Switch() {
    const unsigned long full = AreaOf(_pCurr.load(std::memory_order_acquire));
    if (_isSwitching.exchange(true, std::memory_order_acquire)) {
        while (_isSwitching.load(std::memory_order_acquire))
            std::this_thread::yield();
        return;
    }
    char* at = _pCurr.load(std::memory_order_acquire);
    const bool isStillFull = at >= _buf[full] && at <= _buf[full] + _size;
    if (isStillFull)
        at = _pCurr.exchange(Init((full + 1) % Areas), std::memory_order_acq_rel);
    _isSwitching.store(false, std::memory_order_release);
    if (!isStillFull)
        return;
    ZynTrace::NotifyBufferSwitch();
    PostProcess(full, static_cast<unsigned long>(at - _buf[full]));
}

// The receiver gets a value of its own, to keep or to change: late lines of other threads may still
// go into the area itself.
void ZynTraceBuffer::PostProcess(unsigned long index, unsigned long used) {
    ZYN_ENSURE_TEXT(index < Areas, "\"Invalid Branch\" == 0");
    _areas[index].PostRead(used);
    if (!ZynTrace::ShouldExternalize())
        return;
    ZynBinary handed(_buf[index], used);
    ZynTrace::Externalize(handed);
}

void ZynTraceBuffer::DumpBuffers(ZynBinary& oldest, ZynBinary& middle, ZynBinary& newest) {
    for (ZynBinary* const area : {&oldest, &middle, &newest}) {
        *area = ZynBinary(CreateEmpty, _size);
        area->PostRead(0);
    }
    const unsigned long current = AreaOf(_pCurr.load(std::memory_order_acquire));
    DumpBuf(newest, current);
    DumpBuf(middle, (current + 2) % Areas);
    DumpBuf(oldest, (current + 1) % Areas);
}

void ZynTraceBuffer::DumpBuf(ZynBinary& out, unsigned long index) const {
    if (index >= Areas || _areas[index].Length() == 0)
        return;
    char* const start = out.PreRead();
    char* to = start;
    zynktrcb::AreaWalk walk(_buf[index], _areas[index].Length());
    while (const auto line = walk.Next()) {
        std::memcpy(to, line->data(), line->size());
        to += line->size();
    }
    out.PostRead(static_cast<unsigned long>(to - start));
}
