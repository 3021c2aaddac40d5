// A handle as a program would make it with standard strings and OpenSSL's Base64.
#include <benchmark/benchmark.h>

#include <openssl/evp.h>

#include <string>
#include <vector>

#include <zynkern/zynkern.h>

#include "ident/samples.h"
#include "support/bench.h"

namespace {

constexpr char Prefix = IdPrefix::PIID;
constexpr std::size_t IdSize = 16;

const unsigned char* BytesIn(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* BytesIn(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

std::string Handle(const std::string& instance, const std::string& processTemplate) {
    const std::string frame = Prefix + instance + processTemplate + Prefix;
    std::string text((frame.size() + 2) / 3 * 4 + 1, '\0');
    text.resize(static_cast<std::size_t>(
        EVP_EncodeBlock(BytesIn(text), BytesIn(frame), static_cast<int>(frame.size()))));
    return text;
}

bool Read(const std::string& handle, std::string& instance, std::string& processTemplate) {
    std::string frame(handle.size() / 4 * 3, '\0');
    const int size =
        EVP_DecodeBlock(BytesIn(frame), BytesIn(handle), static_cast<int>(handle.size()));
    if (size < static_cast<int>(PIID_BIN_LENGTH) || frame[0] != Prefix ||
        frame[PIID_BIN_LENGTH - 1] != Prefix)
        return false;
    instance = frame.substr(1, IdSize);
    processTemplate = frame.substr(1 + IdSize, IdSize);
    return true;
}

void HandleOutOpenssl(benchmark::State& state) {
    const std::string instance = bench::IdBytes('i');
    const std::string processTemplate = bench::IdBytes('t');
    const auto bytes = [](const std::string& id) { return ZynBinary(id.data(), id.size()); };
    bench::Require(ZynBIID(bytes(instance), bytes(processTemplate)).AsExternalObjectHandle() ==
                       Handle(instance, processTemplate).c_str(),
                   "handle by OpenSSL");
    for (auto _ : state) {
        benchmark::DoNotOptimize(&instance);
        const std::string handle = Handle(instance, processTemplate);
        benchmark::DoNotOptimize(&handle);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(HandleOutOpenssl);

void HandleBackOpenssl(benchmark::State& state) {
    const std::string handle = Handle(bench::IdBytes('i'), bench::IdBytes('t'));
    std::string instance;
    std::string processTemplate;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&handle);
        bench::Require(Read(handle, instance, processTemplate), "handle by OpenSSL");
        benchmark::ClobberMemory();
    }
    bench::Require(instance == bench::IdBytes('i'), "handle by OpenSSL");
}
BENCHMARK(HandleBackOpenssl);

} // namespace
