// The allocating functions of a program whose allocations can fail. In the place of the runtime's
// own they serve all code of the process. A sanitizer must keep its own: then the linker gives the
// calls of the program's objects to these (--wrap), and `new` comes here, also that of the runtime.
#include "faults/allocations.h"

#include <cerrno>
#include <cstdlib>

#ifdef ZYNKERN_WRAPPED
#define REPLACEMENT(function) __wrap_##function
#define ORIGINAL(function) __real_##function
#else
#define REPLACEMENT(function) function
#define ORIGINAL(function) __libc_##function
#endif

namespace {

constinit thread_local long untilFailure = 0; // 0 if none is to fail
constinit thread_local bool staysFailing = false;
constinit thread_local bool hasFailed = false;

bool Fails() {
    if (untilFailure == 0 || --untilFailure > 0)
        return false;
    untilFailure = staysFailing ? 1 : 0;
    hasFailed = true;
    errno = ENOMEM;
    return true;
}

} // namespace

FailingAllocation::FailingAllocation(long n, bool andAllBehind) {
    staysFailing = andAllBehind;
    hasFailed = false;
    untilFailure = n;
}

FailingAllocation::~FailingAllocation() {
    Stop();
}

bool FailingAllocation::Stop() {
    untilFailure = 0;
    return hasFailed;
}

// NOLINTBEGIN: names and forms are the linker's and the runtime's
extern "C" {
void* ORIGINAL(malloc)(std::size_t);
void* ORIGINAL(calloc)(std::size_t, std::size_t);
void* ORIGINAL(realloc)(void*, std::size_t);

void* REPLACEMENT(malloc)(std::size_t n) {
    return Fails() ? nullptr : ORIGINAL(malloc)(n);
}

void* REPLACEMENT(calloc)(std::size_t count, std::size_t size) {
    return Fails() ? nullptr : ORIGINAL(calloc)(count, size);
}

void* REPLACEMENT(realloc)(void* memory, std::size_t n) {
    return Fails() ? nullptr : ORIGINAL(realloc)(memory, n);
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

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
#endif
// NOLINTEND
