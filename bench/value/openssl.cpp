// Base64 and MD5 by OpenSSL.
#include <benchmark/benchmark.h>

#include <openssl/evp.h>

#include <string>
#include <vector>

#include <zynkern/zynkern.h>

#include "support/bench.h"
#include "value/samples.h"

namespace bench {
namespace {

const unsigned char* BytesIn(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string Encoded() {
    const std::string bytes = BytesOf(Base64Size);
    std::vector<unsigned char> text(Base64Size / 3 * 4 + 1);
    const int n = EVP_EncodeBlock(text.data(), BytesIn(bytes), static_cast<int>(bytes.size()));
    return {text.begin(), text.begin() + n};
}

void Base64EncodeOpenssl(benchmark::State& state) {
    const std::string bytes = BytesOf(Base64Size);
    std::vector<unsigned char> text(Base64Size / 3 * 4 + 1);
    Require(Encoded() == ZynString::Base64Encode(ZynBinary(bytes.data(), bytes.size())).C_str(),
            "Base64 of OpenSSL");
    for (auto _ : state) {
        EVP_EncodeBlock(text.data(), BytesIn(bytes), static_cast<int>(bytes.size()));
        benchmark::DoNotOptimize(text.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Base64EncodeOpenssl);

void Base64DecodeOpenssl(benchmark::State& state) {
    const std::string text = Encoded();
    std::vector<unsigned char> bytes(Base64Size);
    for (auto _ : state) {
        EVP_DecodeBlock(bytes.data(), BytesIn(text), static_cast<int>(text.size()));
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
    Require(BytesOf(Base64Size) == std::string(bytes.begin(), bytes.end()), "Base64 of OpenSSL");
}
BENCHMARK(Base64DecodeOpenssl);

void Md5Openssl(benchmark::State& state) {
    const std::string bytes = BytesOf(static_cast<std::size_t>(state.range(0)));
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    for (auto _ : state) {
        EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_md5(), nullptr);
        benchmark::DoNotOptimize(&digest);
        benchmark::ClobberMemory();
    }
    Require(ZynBinary(bytes.data(), bytes.size()).ToMD5() == ZynBinary(digest, size), "MD5");
}
BENCHMARK(Md5Openssl)->Arg(16)->Arg(65536);

} // namespace
} // namespace bench
