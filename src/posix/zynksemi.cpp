// The semaphore's implementation on a POSIX host that has futexes.
#include "zynksem_impl.h"

#include <bit>
#include <cerrno>
#include <new>
#include <utility>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "zynksemi_name.h"
#include "zynktrc.h"
#include "zynkxcp.h"

namespace zynksem {

namespace {

constexpr unsigned long MaxPath = 260;

/// The system looks at 32 bits of the word: those with the mark.
const std::uint32_t* MarkedHalf(const std::atomic<Token>* word) {
    static_assert(sizeof *word == 2 * sizeof(std::uint32_t));
    return reinterpret_cast<const std::uint32_t*>(word) +
           (std::endian::native == std::endian::little ? 0 : 1);
}

/// Calls the system. A caller may not have looked at its own error number yet.
void Futex(const std::atomic<Token>* word, int operation, std::uint32_t value) noexcept {
    const int error = errno;
    syscall(SYS_futex, MarkedHalf(word), operation, value, nullptr);
    errno = error;
}

/// Sleeps until woken, or not at all if the word is not `token` any more.
void Sleep(const std::atomic<Token>* word, Token token) noexcept {
    Futex(word, FUTEX_WAIT_PRIVATE, static_cast<std::uint32_t>(token));
}

/// A lock without a name. What it has in common with a mutex of the runtime library it does with
/// fewer steps; its owner's end, which that one has the system watch at each turn, is told to it.
class UnnamedHandle final : public Handle, public Lock {
  public:
    UnnamedHandle() : Handle(Nobody) {
        const std::lock_guard guard(LocksMutex());
        Enlist();
    }

    int Request() override;
    /// Comes here if it is not the owner that releases.
    int Release() override { return EPERM; }
    bool IsHeld() const override { return false; }
    bool HasHolds() override { return Owner() != Nobody; }
    int Close() noexcept override;

    void EndThread(Token thread) noexcept override;
    void BeginChild(Token thread) noexcept override;
};

int UnnamedHandle::Request() {
    if (currentThread == Stranger)
        if (const int error = EnrolThread(); error != 0)
            return error;
    // Who has slept does not know whether others do, and so leaves the mark.
    Token mark = 0;
    Token found = _word.load(std::memory_order_relaxed);
    for (;;) {
        if (found == Nobody) {
            if (_word.compare_exchange_weak(found, currentThread | mark, std::memory_order_acquire,
                                            std::memory_order_relaxed))
                break;
        } else if ((found & Contended) != 0 ||
                   _word.compare_exchange_weak(found, found | Contended,
                                               std::memory_order_relaxed)) {
            Sleep(&_word, found | Contended);
            mark = Contended;
            found = _word.load(std::memory_order_relaxed);
        }
    }
    _depth = 1;
    return 0;
}

int UnnamedHandle::Close() noexcept {
    {
        const std::lock_guard guard(LocksMutex());
        const Token owner = Owner();
        // It stays in the list: its owner may still come back to it.
        if (owner != Nobody && owner != currentThread)
            return EBUSY;
        Delist();
    }
    delete this;
    return 0;
}

void UnnamedHandle::EndThread(Token thread) noexcept {
    if (Owner() == thread && (_word.exchange(Nobody, std::memory_order_release) & Contended) != 0)
        Wake(&_word);
}

void UnnamedHandle::BeginChild(Token thread) noexcept {
    if (Owner() != thread)
        _word.store(Nobody, std::memory_order_relaxed);
}

/// One of the handles of a named lock.
class NamedHandle final : public Handle {
  public:
    explicit NamedHandle(NamedLock& lock) : Handle(Elsewhere), _lock(lock) {}

    int Request() override {
        if (const int error = _lock.Request(); error != 0)
            return error;
        const std::uint64_t before = std::exchange(_grant, _lock.Grant());
        _depth = _grant == before ? _depth + 1 : 1;
        return 0;
    }
    int Release() override {
        if (!_lock.IsHeld())
            return EPERM;
        --_depth;
        return _lock.Release();
    }
    bool IsHeld() const override { return _lock.IsHeld(); }
    bool HasHolds() override { return _grant == _lock.Grant() && _lock.IsHeldHere(); }
    int Close() noexcept override {
        const std::lock_guard guard(LocksMutex());
        const int error = _lock.RemoveUser();
        delete this;
        return error;
    }

  private:
    NamedLock& _lock;
    std::uint64_t _grant = 0; ///< in which this handle was last requested
};

Handle* OpenUnnamed(int& error) {
    error = PrepareProcess();
    if (error != 0)
        return nullptr;
    Handle* const handle = new (std::nothrow) UnnamedHandle;
    error = handle == nullptr ? ENOMEM : 0;
    return handle;
}

Handle* OpenNamed(const Path& path, int& error) {
    error = PrepareProcess();
    if (error != 0)
        return nullptr;
    const std::lock_guard guard(LocksMutex());
    NamedLock* const lock = NamedLock::AddUser(path, error);
    if (lock == nullptr)
        return nullptr;
    Handle* const handle = new (std::nothrow) NamedHandle(*lock);
    if (handle == nullptr) {
        error = ENOMEM;
        lock->RemoveUser();
    }
    return handle;
}

// Locks serve the trace as well, whose error lines go out at level 0 whatever it is set to: theirs
// do not.
[[noreturn]] void Throw(const ZynOrigin& origin, const char* service, long returnCode, int error) {
    constexpr unsigned long Level = 1;
    const ZynOSException exception(origin, service, returnCode, error);
    zynkTraceThrow("THROW_INT, ", exception, Level);
    throw exception;
}

} // namespace

void Wake(const std::atomic<Token>* word) noexcept {
    Futex(word, FUTEX_WAKE_PRIVATE, 1);
}

} // namespace zynksem

ZynMutexSemaphoreImpl::ZynMutexSemaphoreImpl() {
    int error = 0;
    _handle = zynksem::OpenUnnamed(error);
    if (error != 0)
        zynksem::Throw(ZYN_ORIGIN("ZynMutexSemaphoreImpl::ZynMutexSemaphoreImpl"), "CreateMutex", 0,
                       error);
}

ZynMutexSemaphoreImpl::ZynMutexSemaphoreImpl(const ZynString& name) {
    ZYN_REQUIRE_TEXT(name.Length() > 0 && name.Length() < zynksem::MaxPath,
                     "name.Length() > 0 && name.Length() < MAX_PATH");
    const zynksem::Path path = zynksem::PathOfLock(name);
    int error = 0;
    _handle = zynksem::OpenNamed(path, error);
    if (error != 0)
        zynksem::Throw(ZYN_ORIGIN("ZynMutexSemaphoreImpl::ZynMutexSemaphoreImpl"),
                       zynksem::Exists(path) ? "OpenMutex" : "CreateMutex", 0, error);
}

ZynMutexSemaphoreImpl::~ZynMutexSemaphoreImpl() {
    const void* const id = _handle;
    if (const int error = _handle->Close(); error != 0)
        ZYN_TRACE(1, ZynTrace::SystemCall, ZynTrace::Kernel,
                  "CloseHandle"
                      << "() , RetCode = " << 0 << " , ReasonCode = " << error << " , "
                      << " Id=" << id);
}

void ZynMutexSemaphoreImpl::RequestSlowly() {
    if (const int error = _handle->Request(); error != 0)
        zynksem::Throw(ZYN_ORIGIN("ZynMutexSemaphoreImpl::Request"), "WaitForSingleObject", -1,
                       error);
}

void ZynMutexSemaphoreImpl::ReleaseSlowly() {
    if (const int error = _handle->Release(); error != 0)
        zynksem::Throw(ZYN_ORIGIN("ZynMutexSemaphoreImpl::Release"), "ReleaseMutex", 0, error);
}
