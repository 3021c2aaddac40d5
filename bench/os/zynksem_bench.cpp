// The lock, free and held already, beside that of the standard library; one without a name and one
// that all processes share.
#include <benchmark/benchmark.h>

#include <atomic>
#include <mutex>

#include <zynkern/zynkern.h>

namespace {

void LockFree(benchmark::State& state) {
    ZynMutexSemaphore lock;
    for (auto _ : state) {
        lock.Request();
        lock.Release();
    }
}
BENCHMARK(LockFree);

void LockNested(benchmark::State& state) {
    ZynMutexSemaphore lock;
    const ZynMutexSemaphoreAssumption outer(lock);
    for (auto _ : state) {
        lock.Request();
        lock.Release();
    }
}
BENCHMARK(LockNested);

void LockNamed(benchmark::State& state) {
    ZynMutexSemaphore lock("zynkern benchmark");
    for (auto _ : state) {
        lock.Request();
        lock.Release();
    }
}
BENCHMARK(LockNamed);

void LockFreeStd(benchmark::State& state) {
    std::recursive_mutex lock;
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
    }
}
BENCHMARK(LockFreeStd);

void LockNestedStd(benchmark::State& state) {
    std::recursive_mutex lock;
    const std::scoped_lock outer(lock);
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
    }
}
BENCHMARK(LockNestedStd);

// The floor: two operations that lock the bus.
void LockOperations(benchmark::State& state) {
    std::atomic<int> word{0};
    for (auto _ : state) {
        int expected = 0;
        word.compare_exchange_strong(expected, 1, std::memory_order_acquire);
        benchmark::DoNotOptimize(expected);
        benchmark::DoNotOptimize(word.exchange(0, std::memory_order_release));
    }
}
BENCHMARK(LockOperations);

void ThreadId(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(ZynOpSys::ThreadID());
}
BENCHMARK(ThreadId);

} // namespace
