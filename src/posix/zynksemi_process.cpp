#include "zynksemi_process.h"

#include <atomic>
#include <climits>
#include <pthread.h>

#include "zynkplat.h"

namespace zynksem {

thread_local constinit Token currentThread = Stranger;

/// The list. It is constant at first and has no end, so that it serves other objects of the process
/// whenever these are built and destroyed.
class Locks {
  public:
    static void EndThread() noexcept;

    static void PrepareFork() noexcept;
    static void ContinueParent() noexcept { mutex.unlock(); }
    static void BeginChild() noexcept;

    static inline constinit std::mutex mutex;
    static inline constinit Lock* first = nullptr;
    static inline constinit unsigned long forks = 0;
};

void Lock::Enlist() noexcept {
    _next = Locks::first;
    if (_next != nullptr)
        _next->_link = &_next;
    _link = &Locks::first;
    Locks::first = this;
}

void Lock::Delist() noexcept {
    *_link = _next;
    if (_next != nullptr)
        _next->_link = _link;
}

std::mutex& LocksMutex() noexcept {
    return Locks::mutex;
}

unsigned long Forks() noexcept {
    return Locks::forks;
}

void Locks::EndThread() noexcept {
    const std::lock_guard guard(mutex);
    for (Lock* lock = first; lock != nullptr; lock = lock->_next)
        lock->EndThread(currentThread);
}

void Locks::PrepareFork() noexcept {
    mutex.lock();
    ++forks;
}

void Locks::BeginChild() noexcept {
    for (Lock* lock = first; lock != nullptr; lock = lock->_next)
        lock->BeginChild(currentThread);
    mutex.unlock();
}

namespace {

// A thread may still use its locks while the values that others keep for it are destroyed. Those
// destructors run in rounds, and so their end is awaited; only the last round is left out, in which
// tools that watch a thread take their leave of it. A thread that uses its first lock in one of
// these rounds is awaited for as many more, which it may not have.
constexpr int LastRound = PTHREAD_DESTRUCTOR_ITERATIONS - 1;
constinit char rounds[LastRound + 1] = {};

// The key whose destructor tells the end of a thread.
constinit pthread_key_t endOfThread = 0;
constinit std::atomic<bool> endIsTold = false;

// Begins to wait for the end of the calling thread, or waits for one round more.
int AwaitEnd(char* round) {
    return endIsTold ? pthread_setspecific(endOfThread, round) : 0;
}

void OnEnd(void* value) {
    char* const round = static_cast<char*>(value);
    if (round != rounds + LastRound)
        AwaitEnd(round + 1);
    else
        Locks::EndThread();
}

// The key goes when the library is unloaded: a thread that ends later would call what is no longer
// there. At the end of the process this comes behind the destructors of objects, which may still
// wait for threads.
[[gnu::destructor]] void ForgetKey() {
    if (endIsTold.exchange(false))
        pthread_key_delete(endOfThread);
}

int Prepare() {
    if (const int error = pthread_key_create(&endOfThread, &OnEnd); error != 0)
        return error;
    endIsTold = true;
    return pthread_atfork(&Locks::PrepareFork, &Locks::ContinueParent, &Locks::BeginChild);
}

} // namespace

int PrepareProcess() {
    static const int error = Prepare();
    return error;
}

int EnrolThread() {
    if (const int error = AwaitEnd(rounds + 1); error != 0)
        return error;
    static constinit std::atomic<Token> latest = Nobody;
    currentThread = latest += 2;
    return 0;
}

} // namespace zynksem

void zynkplat::PrepareLocks() {
    zynksem::PrepareProcess();
}
