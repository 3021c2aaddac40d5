// The functions of a program whose calls can fail. In the place of the runtime's own they serve all
// code of the process. A sanitizer must keep its allocator: then the linker gives the calls of the
// program's objects to these (--wrap), and `new` comes here, also that of the runtime.
#include "faults/faults.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef ZYNKERN_WRAPPED
#define REPLACEMENT(function) __wrap_##function
#define ORIGINAL(function) __real_##function
#define REPLACED_MMAP __wrap_mmap // it needs that one ahead of all else
#define ORIGINAL_MMAP __real_mmap
#else
#define REPLACEMENT(function) function
#define ORIGINAL(function) __libc_##function
#define REPLACED_MMAP mmap
#define ORIGINAL_MMAP mmap64 // another name of it
#endif

namespace {

constinit thread_local Fault fault = {};
constinit thread_local long untilFailure = 0; // 0 if none is to fail
constinit thread_local bool hasFailed = false;

bool Fails(bool isAllocation) {
    if (untilFailure == 0 || isAllocation != (fault.error == ENOMEM) || --untilFailure > 0)
        return false;
    untilFailure = fault.andAllBehind ? 1 : 0;
    hasFailed = true;
    errno = fault.error;
    return true;
}

bool AllocationFails() {
    return Fails(true);
}

// A call that can't be short is not counted where that is what is wanted.
bool CallFails() {
    return fault.error != Fault::ShortWrite && Fails(false);
}

// How many bytes go out of `n`; -1 if none.
ssize_t Writable(std::size_t n) {
    if (!Fails(false))
        return static_cast<ssize_t>(n);
    return fault.error == Fault::ShortWrite ? static_cast<ssize_t>(n / 2) : -1;
}

// SQLite, once it has written, keeps a shared lock of the bytes that it had for itself.
bool TakesLock(int command, const void* argument) {
    static constinit thread_local bool isWritten = false;
    if (command != F_SETLK && command != F_SETLKW && command != F_OFD_SETLK)
        return false;
    const auto* const lock = static_cast<const struct flock*>(argument);
    const bool isReturned = lock->l_type == F_UNLCK || (lock->l_type == F_RDLCK && isWritten);
    isWritten = lock->l_type == F_WRLCK;
    return !isReturned;
}

/// The runtime's function, or the sanitizer's.
template <class Function>
Function* Next(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

Failing::Failing(const Fault& wanted, long n) {
    fault = wanted;
    hasFailed = false;
    untilFailure = n;
}

Failing::~Failing() {
    Stop();
}

bool Failing::Stop() {
    untilFailure = 0;
    return hasFailed;
}

// NOLINTBEGIN: names and forms are the linker's and the runtime's
extern "C" {
void* ORIGINAL(malloc)(std::size_t);
void* ORIGINAL(calloc)(std::size_t, std::size_t);
void* ORIGINAL(realloc)(void*, std::size_t);

void* REPLACEMENT(malloc)(std::size_t n) {
    return AllocationFails() ? nullptr : ORIGINAL(malloc)(n);
}

void* REPLACEMENT(calloc)(std::size_t count, std::size_t size) {
    return AllocationFails() ? nullptr : ORIGINAL(calloc)(count, size);
}

void* REPLACEMENT(realloc)(void* memory, std::size_t n) {
    return AllocationFails() ? nullptr : ORIGINAL(realloc)(memory, n);
}
}

#ifdef ZYNKERN_WRAPPED
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    return REPLACEMENT(malloc)(n);
}

void* operator new(std::size_t n) {
    if (void* const memory = REPLACEMENT(malloc)(n); memory != nullptr)
        return memory;
    throw std::bad_alloc();
}

void* operator new[](std::size_t n) {
    return operator new(n);
}

void* operator new[](std::size_t n, const std::nothrow_t& tag) noexcept {
    return operator new(n, tag);
}

#define DELETE(...)                                                                                \
    void operator delete(void* memory __VA_ARGS__) noexcept {                                      \
        std::free(memory);                                                                         \
    }                                                                                              \
    void operator delete[](void* memory __VA_ARGS__) noexcept {                                    \
        std::free(memory);                                                                         \
    }
DELETE()
DELETE(, std::size_t)
DELETE(, const std::nothrow_t&)
#endif

// Both names that each has: the headers take the one, SQLite is compiled with the other.
#define NEXT(name, function) static const auto next = Next(name, &function)

#define OPEN(name)                                                                                 \
    int name(const char* path, int flags, ...) {                                                   \
        NEXT(#name, ::open);                                                                       \
        va_list rest;                                                                              \
        va_start(rest, flags);                                                                     \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;       \
        va_end(rest);                                                                              \
        return CallFails() ? -1 : next(path, flags, mode);                                         \
    }

// Locks and copies of descriptors fail; what gives a lock back, or some of it, doesn't.
#define FCNTL(name)                                                                                \
    int name(int file, int command, ...) {                                                         \
        NEXT(#name, ::fcntl);                                                                      \
        va_list rest;                                                                              \
        va_start(rest, command);                                                                   \
        void* const argument = va_arg(rest, void*);                                                \
        va_end(rest);                                                                              \
        const bool mayFail = TakesLock(command, argument) || command == F_DUPFD_CLOEXEC;           \
        return mayFail && CallFails() ? -1 : next(file, command, argument);                        \
    }

#define CALL(result, failure, name, parameters, ...)                                               \
    result name parameters {                                                                       \
        NEXT(#name, ::name);                                                                       \
        return CallFails() ? failure : next(__VA_ARGS__);                                          \
    }

extern "C" {
OPEN(open)
OPEN(open64)
FCNTL(fcntl)
FCNTL(fcntl64)

ssize_t write(int file, const void* bytes, std::size_t n) {
    NEXT("write", ::write);
    const ssize_t writable = Writable(n);
    return writable < 0 ? -1 : next(file, bytes, static_cast<std::size_t>(writable));
}

ssize_t pwrite64(int file, const void* bytes, std::size_t n, off64_t offset) {
    NEXT("pwrite64", ::pwrite64);
    const ssize_t writable = Writable(n);
    return writable < 0 ? -1 : next(file, bytes, static_cast<std::size_t>(writable), offset);
}

ssize_t pwrite(int file, const void* bytes, std::size_t n, off_t offset) {
    return pwrite64(file, bytes, n, offset);
}

CALL(int, -1, fsync, (int file), file)
CALL(int, -1, fdatasync, (int file), file)
CALL(int, -1, ftruncate, (int file, off_t size) noexcept, file, size)
CALL(int, -1, ftruncate64, (int file, off64_t size) noexcept, file, size)
CALL(int, -1, rename, (const char* from, const char* to) noexcept, from, to)
CALL(int, -1, unlink, (const char* path) noexcept, path)
CALL(int, -1, mkdir, (const char* path, mode_t mode) noexcept, path, mode)
CALL(int, -1, flock, (int file, int operation) noexcept, file, operation)

void* ORIGINAL_MMAP(void*, std::size_t, int, int, int, off_t) noexcept;
void* REPLACED_MMAP(void* at, std::size_t n, int protection, int flags, int file,
                    off_t offset) noexcept {
    return CallFails() ? MAP_FAILED : ORIGINAL_MMAP(at, n, protection, flags, file, offset);
}
}
// NOLINTEND
