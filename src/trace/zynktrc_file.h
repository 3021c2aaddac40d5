// The lock over the trace file.
#pragma once

#include <atomic>

#include "zynksem.h"

namespace zynktrc {

/// Holds a semaphore that comes into being once, and goes when the library is unloaded, for the
/// extent of a scope; nothing if there is none.
class FileLock {
  public:
    explicit FileLock(const std::atomic<ZynMutexSemaphore*>& semaphore);
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    /// Takes the semaphore away from those that come later, and runs `last` while it is held. It is
    /// destroyed if no thread uses it any more.
    static void Retire(std::atomic<ZynMutexSemaphore*>& semaphore, void (*last)()) noexcept;

  private:
    static std::atomic<int> _users;

    ZynMutexSemaphore* _held = nullptr;
};

} // namespace zynktrc
