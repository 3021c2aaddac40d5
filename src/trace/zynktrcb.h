// ZynTraceBuffer: three memory areas for trace lines, used in turn.
//
// With extended trace on, a process traces in full detail without touching a file, and a failed
// contract check can still show its recent past. Each area is filled with records that a tool on
// another machine can read (zynktrcb_walk.h tells their bytes). A full one is handed to the
// receiver of ZynTrace::SetExternalization.
//
// Any thread may append, without a lock: records do not overlap, but one that is written while
// another thread switches areas can be torn. A walk over an area ends at such a record.
#pragma once

#include <atomic>
#include <string_view>

#include "zynktrc.h"

class ZYN_EXPORT ZynTraceBuffer {
  public:
    /// @param size bytes of each area
    explicit ZynTraceBuffer(unsigned long size);
    ZynTraceBuffer(const ZynTraceBuffer&) = delete;
    ZynTraceBuffer& operator=(const ZynTraceBuffer&) = delete;
    /// Switches once more, so that the receiver gets the last lines.
    ~ZynTraceBuffer();

    /// Stores one line. One that is too long for an area is dropped, and so is one that does not
    /// fit if a signal handler has it while its own thread switches. Does not allocate.
    void Append(const ZynString& entry);
    void Append(std::string_view entry);
    /// Hands over the current area and goes on with the next one. Nothing happens in the calling
    /// thread's own notify function and receiver.
    void Flush();
    /// The text of the lines in each area, in the order in which the areas were filled. What a
    /// reused area has got since its last turn may lack its end.
    void DumpBuffers(ZynBinary& oldest, ZynBinary& middle, ZynBinary& newest);

    /// Where the areas are.
    ZynTraceBufReg Register() const { return {_size, _buf[0], _buf[1], _buf[2]}; }

  private:
    friend class ZynTrace;
    static constexpr unsigned long Areas = 3;
    static constexpr unsigned long SpareBytes = 2; ///< an area is never filled to its last bytes

    class Turn;

    void Restart();
    void Close();
    static bool IsHandingOver();
    static bool AreOthersHandingOver();
    unsigned long AreaOf(const char* at) const;
    bool HasRoom(const char* at, unsigned long length) const {
        return length + SpareBytes <= static_cast<unsigned long>(_buf[AreaOf(at)] + _size - at);
    }
    char* Claim(unsigned long length);
    void Append(const zynktrc::Entry& entry);
    template <class Line>
    void AppendLine(const Line& line);
    template <class Line>
    bool Store(const Line& line);
    template <class Line>
    void StoreInNext(const Line& line);
    char* Init(unsigned long index);
    bool Switch(unsigned long length, bool isLast = false);
    void PostProcess(unsigned long index, unsigned long used) const;
    void DumpBuf(ZynBinary& out, unsigned long index) const;

    unsigned long _size;
    std::atomic<char*> _pCurr{nullptr};      ///< next free byte; it tells the current area as well
    std::atomic<unsigned long> _switcher{0}; ///< the thread that has the turn; 0 is none
    bool _isClosed = false;                  ///< of the turn: nothing is handed over any more
    char* _buf[Areas];
    ZynBinary _areas[Areas];          ///< the owners
    ZynTraceBuffer* _older = nullptr; ///< the next one that was given up
};
