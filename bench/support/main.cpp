// The benchmark programs' main.
#include <benchmark/benchmark.h>

#include <thread>

int main(int argc, char* argv[]) {
    // Some libraries leave their atomics out in a process that never had a second thread.
    std::thread([] {}).join();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
