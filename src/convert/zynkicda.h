// ZynIconvDescriptorArray: the open ICU converters, a pair of them for each two code pages that
// anybody has asked for.
//
// An ICU converter carries state and serves one thread at a time, so each pair has a lock; another
// one guards look-up and growth. No thread holds both. Opening goes on under the second one, so
// that all who look for a pair wait for it; this happens once for each pair.
//
// Slots are filled from 0 on and stay filled. They stand in blocks that are chained and never move,
// so an index is good for the life of the process, and who uses a slot needs not to know of growth.
//
//     const int index = descriptors.IconvDescriptorIndex(850, 1252);
//     UConverter* const source = descriptors.GetDescriptorSrc(index); // this thread's turn begins
//     UConverter* const target = descriptors.GetDescriptorTgt(index);
//     ...
//     descriptors.FreeDescriptor(index); // and ends
//
// Turn does the same for the extent of a scope.
#pragma once

#include <array>
#include <atomic>
#include <map>
#include <memory>

#include "zynksem.h"

struct UConverter; // ICU's

class ZYN_EXPORT ZynIconvDescriptorArray {
  public:
    class Turn;

    /// Eight slots, for any number of threads.
    ZynIconvDescriptorArray();
    ZynIconvDescriptorArray(const ZynIconvDescriptorArray&) = delete;
    ZynIconvDescriptorArray& operator=(const ZynIconvDescriptorArray&) = delete;
    /// Closes no converter: they are meant to stay open up to the end of the process.
    ~ZynIconvDescriptorArray();

    /// The slot of a pair, which is opened if nobody has asked for it so far. Equal code pages are
    /// a contract failure. ZynConverter::InvalidCodePage if ICU has no table for one of them,
    /// ZynOSException "ucnv_openCCSID: sourceCcsid" or "ucnv_openCCSID: targetCcsid" with ICU's
    /// code if it fails in another way; the next pair then gets the slot.
    int IconvDescriptorIndex(unsigned short sourceCcsid, unsigned short targetCcsid);

    /// @name One conversion, all in one thread
    /// An index that was never given out is a contract failure.
    /// @{
    /// Waits for this thread's turn; the converter of the source.
    UConverter* GetDescriptorSrc(int index) const;
    /// The converter of the target, in the turn of this thread.
    UConverter* GetDescriptorTgt(int index) const;
    /// Ends the turn.
    void FreeDescriptor(int index) const;
    /// @}

    /// Takes all locks away, for good. Only while no conversion runs.
    void SetSingleThreaded();

  private:
    struct Entry {
        std::atomic<unsigned short> _sourceCcsid{0}; ///< 0 marks the slot as free
        unsigned short _targetCcsid = 0;
        UConverter* _source = nullptr;
        UConverter* _target = nullptr;
        std::unique_ptr<ZynMutexSemaphore> _lock; ///< none in a single-threaded process
        mutable int _sentinelSize = 0;
    };
    static constexpr int BlockSize = 8;
    struct Block {
        std::array<Entry, BlockSize> entries;
        std::atomic<Block*> next{nullptr};
    };
    struct Opened;

    const Entry& EntryAt(int index) const;
    static void Begin(const Entry& entry);
    static void End(const Entry& entry);
    Entry* Find(unsigned short sourceCcsid, unsigned short targetCcsid, int& index);
    Opened Open(unsigned short ccsid);

    std::unique_ptr<ZynMutexSemaphore> _lock; ///< of look-up and growth; none in single-threaded
    Block _first;
    std::atomic<int> _size{BlockSize};
    bool _multiThreaded = true;
    /// Converters that were opened for a pair whose other one could not be, kept for the next pair
    /// with their code page.
    std::map<unsigned short, UConverter*> _spare;
};

/// A turn with the converters of a pair, for the extent of a scope.
class ZynIconvDescriptorArray::Turn {
  public:
    Turn(const ZynIconvDescriptorArray& descriptors, int index);
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn();

    UConverter* Source() const { return _entry._source; }
    UConverter* Target() const { return _entry._target; }
    /// A number of its user's that goes with the pair, at first 0.
    int& SentinelSize() const { return _entry._sentinelSize; }

  private:
    const Entry& _entry;
};

#include "zynkicda.inl"
