#include "zynksemi_name.h"

#include <cerrno>
#include <memory>
#include <new>

namespace zynksem {

NamedLock* NamedLock::AddUser(const Path& path, int& error) {
    NamedLock* lock = _first;
    while (lock != nullptr && lock->_file.Name() != path)
        lock = lock->_next;
    if (lock == nullptr) {
        std::unique_ptr<NamedLock> opened(new (std::nothrow) NamedLock(path));
        error = opened == nullptr ? ENOMEM : opened->_file.Open();
        if (error != 0)
            return nullptr;
        lock = opened.release();
        lock->Enlist();
        lock->_next = _first;
        _first = lock;
    }
    ++lock->_users;
    return lock;
}

int NamedLock::RemoveUser() noexcept {
    if (--_users != 0)
        return 0;
    if (IsHeld())
        SetFree();
    else if (IsHeldHere())
        return EBUSY;
    // The system finds what an ended thread has left by its address, and so that has to stay until
    // then; the next user takes the lock over.
    const bool isLatest = _file->grants.load(std::memory_order_relaxed) == Grant();
    if (_hasEndedOwner && isLatest && !_file->IsLeft())
        return 0;
    NamedLock** link = &_first;
    while (*link != this)
        link = &(*link)->_next;
    *link = _next;
    Delist();
    // What was opened before a fork may be open in the child as well, which the system takes for
    // the same use of the file.
    const int error = _file.Close(_forks == Forks());
    delete this;
    return error;
}

int NamedLock::Request() {
    if (IsHeld()) {
        ++_depth;
        return 0;
    }
    if (currentThread == Stranger)
        if (const int error = EnrolThread(); error != 0)
            return error;
    if (const int error = _file->Lock(); error != 0)
        return error;
    const std::uint64_t grant = _file->grants.load(std::memory_order_relaxed) + 1;
    _file->grants.store(grant, std::memory_order_relaxed);
    _grant.store(grant, std::memory_order_relaxed);
    _owner.store(currentThread, std::memory_order_relaxed);
    _hasEndedOwner = false;
    _depth = 1;
    return 0;
}

int NamedLock::Release() noexcept {
    return --_depth == 0 ? SetFree() : 0;
}

int NamedLock::SetFree() noexcept {
    _owner.store(Nobody, std::memory_order_relaxed);
    return pthread_mutex_unlock(&_file->mutex);
}

void NamedLock::EndThread(Token thread) noexcept {
    if (_owner.load(std::memory_order_relaxed) != thread)
        return;
    _hasEndedOwner = true;
    _owner.store(Nobody, std::memory_order_relaxed);
}

// What the parent's threads hold is theirs.
void NamedLock::BeginChild(Token /*thread*/) noexcept {
    _owner.store(Nobody, std::memory_order_relaxed);
}

} // namespace zynksem
