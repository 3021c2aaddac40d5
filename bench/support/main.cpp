// The benchmark programs' main.
#include <benchmark/benchmark.h>

#include <clocale>
#include <thread>

int main(int argc, char* argv[]) {
    // Some libraries leave their atomics out in a process that never had a second thread.
    std::thread([] {}).join();
    // The library puts the process into the user's locale; its peers run in the same one.
    std::setlocale(LC_ALL, "");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    // No row, no result: a filter that fits nothing is a mistake.
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
