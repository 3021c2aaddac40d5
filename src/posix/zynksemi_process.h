// The locks of this process, as far as the ends of its threads and its forks concern them.
#pragma once

#include <mutex>

#include "zynksem_impl.h"

namespace zynksem {

/// A lock in the list of this process.
class Lock {
  public:
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    /// Puts it into the list or takes it out; LocksMutex is held.
    void Enlist() noexcept;
    void Delist() noexcept;

    /// `thread`, which is the calling one, ends.
    virtual void EndThread(Token thread) noexcept = 0;
    /// This process is the child of a fork, and `thread`, which forked, all there is of it.
    virtual void BeginChild(Token thread) noexcept = 0;

  protected:
    Lock() = default;
    virtual ~Lock() = default;

  private:
    friend class Locks;

    Lock* _next = nullptr;
    Lock** _link = nullptr; ///< what points to this one
};

/// Guards the list, and the opening and closing of named locks. No thread forks while another one
/// holds it, so that no child inherits what is half done.
std::mutex& LocksMutex() noexcept;

/// Sets the process up at the first call, which is at load; 0 or the error number of that.
int PrepareProcess();
/// How often it was about to fork, and the same for its parents.
unsigned long Forks() noexcept;

/// Gives the calling thread its token and sees to its end; 0 or the error number.
int EnrolThread();

} // namespace zynksem
