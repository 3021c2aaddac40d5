#include "zynktrcb.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "zynkops.h"
#include "zynkplat.h"
#include "zynktrc_entry.h"
#include "zynktrcb_walk.h"

namespace {

// Of the process; the first area bears 2.
std::atomic<std::uint32_t> lastSequenceNumber{1};

// Offsets of the header's fields.
constexpr unsigned long SequenceOffset = 8;
constexpr unsigned long PlatformOffset = 16;
constexpr unsigned long ProcessOffset = 20;

constexpr char HeaderTemplate[] = "\x00\x00\x00\x1C\xFF\xFF\xFF\xFF\x00\x00\x00\x00\x00\x01\x00\x00"
                                  "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x1C";
static_assert(sizeof HeaderTemplate == zynktrcb::HeaderLength + 1);

// A line as it was handed in; zynktrc::Entry is another kind of it.
struct ReadyLine {
    std::string_view text;

    unsigned long Length() const { return text.size(); }
    void CopyTo(char* to) const { std::memcpy(to, text.data(), text.size()); }
};

template <class Line>
unsigned long RecordLength(const Line& line) {
    return line.Length() + zynktrcb::FrameLength + zynktrcb::EpilogLength;
}

// Those under way, and those of them that the calling thread is in.
constinit std::atomic<int> handOvers{0};
[[gnu::tls_model("initial-exec")]] constinit thread_local int ownHandOvers = 0;

// The extent of a switch with its calls of the host. It begins ahead of the turn, so that who has
// had a later turn and finds none under way knows that there will be none of the areas before.
class HandOver {
  public:
    HandOver() {
        ++handOvers;
        ++ownHandOvers;
    }
    HandOver(const HandOver&) = delete;
    HandOver& operator=(const HandOver&) = delete;
    ~HandOver() {
        --ownHandOvers;
        --handOvers;
    }
};

} // namespace

// The extent in which one thread alone changes what areas there are; others wait for the moment in
// which it clears them. A signal handler that has interrupted it can't: it gets no turn.
class ZynTraceBuffer::Turn {
  public:
    explicit Turn(std::atomic<unsigned long>& holder) : _holder(holder) {
        const unsigned long self = zynkplat::CurrentThreadId();
        unsigned long found = 0;
        while (!_holder.compare_exchange_weak(found, self, std::memory_order_acquire)) {
            if (found == self)
                return;
            found = 0;
            std::this_thread::yield();
        }
        _isMine = true;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        if (_isMine)
            _holder.store(0, std::memory_order_release);
    }

    bool IsMine() const { return _isMine; }

  private:
    std::atomic<unsigned long>& _holder;
    bool _isMine = false;
};

ZynTraceBuffer::ZynTraceBuffer(unsigned long size) : _size(std::max(size, zynktrcb::HeaderLength)) {
    for (unsigned long i = 0; i < Areas; ++i) {
        _areas[i] = ZynBinary(CreateEmpty, _size);
        _buf[i] = _areas[i].PreRead();
    }
    Restart();
}

// Three areas without a line. Another thread may be late with one for those before.
void ZynTraceBuffer::Restart() {
    const Turn turn(_switcher);
    _isClosed = false;
    for (unsigned long i = 0; i < Areas; ++i) {
        _areas[i].PostRead(_size);
        std::memset(_buf[i], 0, _size);
    }
    _pCurr = Init(0);
}

ZynTraceBuffer::~ZynTraceBuffer() {
    try {
        Switch(_size);
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
}

void ZynTraceBuffer::Flush() {
    if (!IsHandingOver())
        Switch(_size);
}

// Hands over the last area.
void ZynTraceBuffer::Close() {
    Switch(_size, true);
}

bool ZynTraceBuffer::IsHandingOver() {
    return ownHandOvers != 0;
}

bool ZynTraceBuffer::AreOthersHandingOver() {
    return handOvers > ownHandOvers;
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
    while (HasRoom(at, length))
        if (_pCurr.compare_exchange_weak(at, at + length, std::memory_order_acq_rel))
            return at;
    return nullptr;
}

void ZynTraceBuffer::Append(const ZynString& entry) {
    if (!entry.IsNull())
        Append(std::string_view(entry.C_str(), entry.Length()));
}

void ZynTraceBuffer::Append(std::string_view entry) {
    AppendLine(ReadyLine{entry});
}

void ZynTraceBuffer::Append(const zynktrc::Entry& entry) {
    AppendLine(entry);
}

template <class Line>
void ZynTraceBuffer::AppendLine(const Line& line) {
    if (!Store(line)) [[unlikely]]
        StoreInNext(line);
}

// Other threads may fill the next area as well before this one comes to it.
template <class Line>
void ZynTraceBuffer::StoreInNext(const Line& line) {
    const unsigned long length = RecordLength(line);
    const bool fits = zynktrcb::HeaderLength + length + SpareBytes <= _size;
    try {
        while (Switch(length) && !Store(line) && fits)
            ;
    } catch (...) {
        Store(line); // it has been the receiver's failure
        throw;
    }
}

// False if there is no room in the current area.
template <class Line>
bool ZynTraceBuffer::Store(const Line& line) {
    const unsigned long length = RecordLength(line);
    char* const to = Claim(length);
    if (to == nullptr)
        return false;
    const auto word = static_cast<std::uint32_t>(length);
    zynkxdr::StoreWord(to, word);
    zynkxdr::StoreWord(to + zynkxdr::WordSize, zynktrcb::LineType);
    line.CopyTo(to + zynktrcb::FrameLength);
    zynkxdr::StoreWord(to + length - zynktrcb::EpilogLength, word);
    return true;
}

// Makes the next area the current one, unless there is room for a record of `length` bytes by now.
// False if there will be none: the thread can't have its turn, or the areas are closed.
bool ZynTraceBuffer::Switch(unsigned long length, bool isLast) {
    const zynkplat::Uncancelled extent;
    const HandOver handOver;
    unsigned long full = 0;
    unsigned long used = 0;
    {
        const Turn turn(_switcher);
        if (!turn.IsMine() || _isClosed)
            return false;
        const char* at = _pCurr.load(std::memory_order_acquire);
        full = AreaOf(at);
        if (HasRoom(at, length))
            return true;
        at = _pCurr.exchange(Init((full + 1) % Areas), std::memory_order_acq_rel);
        used = static_cast<unsigned long>(at - _buf[full]);
        _areas[full].PostRead(used);
        _isClosed = isLast;
    }
    ZynTrace::NotifyBufferSwitch();
    PostProcess(full, used);
    return true;
}

// The receiver gets a value of its own, to keep or to change: late lines of other threads may still
// go into the area itself.
void ZynTraceBuffer::PostProcess(unsigned long index, unsigned long used) const {
    ZYN_ENSURE_TEXT(index < Areas, "\"Invalid Branch\" == 0");
    auto* const receiver = ZynTrace::Read(ZynTrace::_pExtFn);
    if (receiver == nullptr)
        return;
    ZynBinary handed(_buf[index], used);
    receiver(handed);
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
