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

    /// Waits for who holds the semaphore, and takes it away from those that come later. It is
    /// destroyed if no thread uses it any more.
    static void Retire(std::atomic<ZynMutexSemaphore*>& semaphore) noexcept;

  private:
    static std::atomic<int> _users;

    ZynMutexSemaphore* _held = nullptr;
};

} // namespace zynktrc
