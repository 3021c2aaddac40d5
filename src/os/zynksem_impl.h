// The platform's side of the semaphore.
//
// An unnamed lock is one word: who owns it. Taking a free one and giving it up while nobody waits
// is here and inline, as that is nearly all that ever happens to a lock; the platform's folder has
// the rest.
#pragma once

#include <atomic>
#include <cstdint>

#include "zynkstr.h"

class ZynMutexSemaphoreImpl;

namespace zynksem {

/// Tells a thread of this process from all others, also from those that have ended, whose numbers
/// the system gives to new ones: an even number that is never used again. A fork's child goes on
/// with that of the thread that forked.
using Token = std::uint64_t;

constexpr Token Nobody = 0;
/// Beside an owner's token: others sleep until the lock is free.
constexpr Token Contended = 1;
/// Of a thread that has not used a lock yet. No owner is equal to it.
constexpr Token Stranger = 1;
/// Stands in the word of a lock that is not kept in a word. No thread is equal to it.
constexpr Token Elsewhere = ~Nobody;

/// The calling thread's token. Reading it costs one load in this model, which takes its eight bytes
/// from the room that a loader has left for libraries that come late.
[[gnu::tls_model("initial-exec")]] extern thread_local constinit Token currentThread;

/// Wakes a thread that sleeps over `word`. The lock may be gone by now: whoever took it after its
/// release may have destroyed it. So this does not look at it.
void Wake(const std::atomic<Token>* word) noexcept;

/// An open handle of a lock: the lock itself if it has no name.
class Handle {
  public:
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    Token Owner() const { return _word.load(std::memory_order_relaxed) & ~Contended; }

    /// What is left to do where the inline part gives up. The result is 0 or the error number.
    virtual int Request() = 0;
    virtual int Release() = 0;
    virtual bool IsHeld() const = 0;
    /// Whether a thread of this process that still runs holds the lock through this handle.
    virtual bool HasHolds() = 0;
    /// Closes and deletes it; what the calling thread holds is released. EBUSY if another thread of
    /// this process still holds the lock.
    virtual int Close() noexcept = 0;

  protected:
    explicit Handle(Token word) : _word(word) {}
    virtual ~Handle() = default;

    std::atomic<Token> _word;
    /// Holds through this handle since the lock was granted. Belongs to the owner.
    long _depth = 0;

    friend class ::ZynMutexSemaphoreImpl;
};

} // namespace zynksem

/// A mutex of the platform. The exceptions are ZynOSException with the name of the service that
/// failed, its result and the error number.
class ZynMutexSemaphoreImpl {
  public:
    ZynMutexSemaphoreImpl();
    /// A name of 260 bytes or more is a contract failure.
    explicit ZynMutexSemaphoreImpl(const ZynString& name);
    ZynMutexSemaphoreImpl(const ZynMutexSemaphoreImpl&) = delete;
    ZynMutexSemaphoreImpl& operator=(const ZynMutexSemaphoreImpl&) = delete;
    ~ZynMutexSemaphoreImpl();

    void Request() {
        const zynksem::Token self = zynksem::currentThread;
        if (_handle->Owner() == self) {
            ++_handle->_depth;
            return;
        }
        zynksem::Token owner = zynksem::Nobody;
        if (self == zynksem::Stranger ||
            !_handle->_word.compare_exchange_strong(owner, self, std::memory_order_acquire,
                                                    std::memory_order_relaxed)) [[unlikely]]
            return RequestSlowly();
        _handle->_depth = 1;
    }

    void Release() {
        if (_handle->Owner() != zynksem::currentThread) [[unlikely]]
            return ReleaseSlowly();
        if (--_handle->_depth != 0)
            return;
        std::atomic<zynksem::Token>& word = _handle->_word;
        const zynksem::Token before = word.exchange(zynksem::Nobody, std::memory_order_release);
        if ((before & zynksem::Contended) != 0) [[unlikely]]
            zynksem::Wake(&word);
    }

    /// Whether the calling thread holds the lock, through whatever handle.
    bool IsHeld() const { return _handle->Owner() == zynksem::currentThread || _handle->IsHeld(); }
    /// For the owner: whether its latest request made the first hold through this object since the
    /// lock was granted to it.
    bool IsFirstHold() const { return _handle->_depth == 1; }
    /// Whether a thread of this process that still runs holds the lock through this object.
    bool HasHolds() { return _handle->HasHolds(); }

  private:
    void RequestSlowly();
    void ReleaseSlowly();

    zynksem::Handle* _handle;
};
