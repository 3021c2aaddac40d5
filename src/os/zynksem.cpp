#include "zynksem.h"

#include <new>
#include <utility>

#include "zynksem_impl.h"

ZynMutexSemaphore::ZynMutexSemaphore() : _pImpl(new (std::nothrow) ZynMutexSemaphoreImpl) {
    ZYN_ENSURE_TEXT(_pImpl != nullptr, "_pImpl != 0");
}

ZynMutexSemaphore::ZynMutexSemaphore(const ZynString& name) : _pImpl(nullptr) {
    ZYN_REQUIRE(!name.IsNull() && name.Length() > 0);
    _pImpl = new (std::nothrow) ZynMutexSemaphoreImpl(name);
    ZYN_ENSURE_TEXT(_pImpl != nullptr, "_pImpl != 0");
}

ZynMutexSemaphore::~ZynMutexSemaphore() noexcept(false) {
    ZYN_REQUIRE_TEXT(_pImpl != nullptr, "_pImpl != 0");
    try {
        while (_count > 0 && _pImpl->HasHolds())
            GiveUp();
    } catch (...) {
        delete std::exchange(_pImpl, nullptr);
        throw;
    }
    delete std::exchange(_pImpl, nullptr);
}

void ZynMutexSemaphore::Request() {
    Take();
}

void ZynMutexSemaphore::Release() {
    GiveUp();
}

void ZynMutexSemaphore::Take() const {
    ZYN_REQUIRE_TEXT(_pImpl != nullptr, "_pImpl != 0");
    _pImpl->Request();
    // What a thread has left behind that ended while it held the lock is no hold any more.
    if (_pImpl->IsFirstHold())
        _count = 0;
    ++_count;
}

void ZynMutexSemaphore::GiveUp() const {
    ZYN_REQUIRE_TEXT(_pImpl != nullptr, "_pImpl != 0");
    // To any other thread the count may change at any time, and so it may to this one once the lock
    // is free.
    if (_pImpl->IsHeld())
        --_count;
    _pImpl->Release();
}

ZynMutexSemaphoreAssumption::ZynMutexSemaphoreAssumption(const ZynMutexSemaphore& semaphore)
    : _semaphore(semaphore) {
    _semaphore.Take();
}

ZynMutexSemaphoreAssumption::~ZynMutexSemaphoreAssumption() noexcept(false) {
    _semaphore.GiveUp();
}
