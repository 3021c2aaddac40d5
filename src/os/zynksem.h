// ZynMutexSemaphore: mutual exclusion between the threads of a process, or, by a name, between all
// processes of the machine.
//
// A lock belongs to the thread that holds it, which may request it again and must release it as
// often. Nobody waits for the dead: what a thread held that has ended, or whose process has ended
// in whatever way, is granted to the next one as normal and with one hold, so that the data behind
// the lock may be half changed. There is no time-out and no detection of deadlocks. One exception:
// who waits for a thread that becomes another program (exec) while it holds a named lock, without
// being its process's first thread, waits for good; who comes later does not.
//
// In the child of a fork an unnamed lock is a copy, which the forking thread holds as often as in
// the parent; what other threads held is free. A named lock stays the same one, and what the
// parent's threads hold of it the child does not.
//
//     ZynMutexSemaphore lock("accounts");
//     {
//         ZynMutexSemaphoreAssumption held(lock);
//         ... // one thread of the machine at a time
//     }
#pragma once

#include "zynkstr.h"

class ZynMutexSemaphoreImpl;

/// Any thread may request and release it. Its construction is over before others use it, and their
/// use is over before its destruction.
class ZYN_EXPORT ZynMutexSemaphore {
  public:
    /// Unnamed: whoever uses it needs this object.
    ZynMutexSemaphore();
    /// The lock of all objects with this name, in this process and in others, of all users. A name
    /// is of 1 to 259 bytes, whatever they are; more, less or null is a contract failure. A lock
    /// that can't be had, for want of memory or because something else stands in its place, is
    /// ZynOSException "CreateMutex" or "OpenMutex".
    explicit ZynMutexSemaphore(const ZynString& name);
    ZynMutexSemaphore(const ZynMutexSemaphore&) = delete;
    ZynMutexSemaphore& operator=(const ZynMutexSemaphore&) = delete;
    /// Releases what this thread holds through this object. While another thread holds it, that
    /// fails with ZynOSException "ReleaseMutex"; the object is gone all the same. Holds that ended
    /// with their thread, or that are a forked process's parent's, do not count.
    ~ZynMutexSemaphore() noexcept(false);

    /// Blocks until the calling thread holds the lock. ZynOSException "WaitForSingleObject" if it
    /// can't.
    void Request();
    /// Gives it up once. By a thread that does not hold it, it fails with ZynOSException
    /// "ReleaseMutex" and changes nothing.
    void Release();

  private:
    friend class ZynMutexSemaphoreAssumption;

    [[gnu::visibility("hidden")]] void Take() const;
    [[gnu::visibility("hidden")]] void GiveUp() const;

    ZynMutexSemaphoreImpl* _pImpl;
    mutable long _count = 0; ///< holds through this object; changed by who holds the lock only
};

/// Holds a semaphore, which must outlive it, for the extent of a scope.
class ZYN_EXPORT ZynMutexSemaphoreAssumption {
  public:
    /// Requests it.
    explicit ZynMutexSemaphoreAssumption(const ZynMutexSemaphore& semaphore);
    ZynMutexSemaphoreAssumption(const ZynMutexSemaphoreAssumption&) = delete;
    ZynMutexSemaphoreAssumption& operator=(const ZynMutexSemaphoreAssumption&) = delete;
    /// Releases it, also while an exception passes, and fails as Release does.
    ~ZynMutexSemaphoreAssumption() noexcept(false);

  private:
    const ZynMutexSemaphore& _semaphore;
};
