// Named locks as one process has them open.
#pragma once

#include "zynksemi_file.h"
#include "zynksemi_process.h"

namespace zynksem {

/// A named lock in this process: one for all handles with its name, as what a thread holds is known
/// to the system by its address. The recursion is kept here, and the file knows nothing of it.
class NamedLock final : public Lock {
  public:
    /// The lock of this file, which has one user more; else null and the error number. LocksMutex
    /// is held, as for RemoveUser.
    static NamedLock* AddUser(const Path& path, int& error);
    /// What the calling thread holds is released with the last user. While another thread of this
    /// process holds the lock that is EBUSY, and the lock stays for whoever opens it next. 0 or the
    /// error number.
    int RemoveUser() noexcept;

    /// 0 or the error number.
    int Request();
    /// Only for the owner.
    int Release() noexcept;

    bool IsHeld() const { return _owner.load(std::memory_order_relaxed) == currentThread; }
    /// Whether a thread of this process that has not ended holds it.
    bool IsHeldHere() const { return _owner.load(std::memory_order_relaxed) != Nobody; }
    /// Which of all grants of the lock, to whatever process, was the latest to this one; 0 if none
    /// was.
    std::uint64_t Grant() const { return _grant.load(std::memory_order_relaxed); }

    /// The system grants to others what an ended thread holds; here it is no hold any more.
    void EndThread(Token thread) noexcept override;
    void BeginChild(Token thread) noexcept override;

  private:
    explicit NamedLock(const Path& path) : _file(path) {}

    int SetFree() noexcept;

    static inline constinit NamedLock* _first = nullptr;

    NamedLock* _next = nullptr;
    unsigned long _users = 0;
    const unsigned long _forks = Forks(); ///< when it was opened
    MutexFile _file;
    // Written by who holds the lock.
    std::atomic<Token> _owner = Nobody;
    std::atomic<std::uint64_t> _grant = 0;
    unsigned long _depth = 0;
    std::atomic<bool> _hasEndedOwner = false;
};

} // namespace zynksem
