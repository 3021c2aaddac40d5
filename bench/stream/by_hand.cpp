// The floor: the order with big-endian numbers and tags of two bytes, written by hand for this one
// message into a buffer that is large enough, and read without a look at its end.
#include <benchmark/benchmark.h>

#include <bit>
#include <cstring>
#include <string>

#include "stream/order.h"
#include "support/bench.h"

namespace bench {
namespace {

// Each writes or reads one value and answers the place behind it: places are passed by value, so
// that they stay in registers.
template <class Word>
char* Store(char* to, Word word) {
    std::memcpy(to, &word, sizeof word);
    return to + sizeof word;
}

char* PutTag(char* to, int tag) {
    return Store(to, __builtin_bswap16(static_cast<std::uint16_t>(tag)));
}

char* Put(char* to, std::int32_t value) {
    return Store(to, __builtin_bswap32(static_cast<std::uint32_t>(value)));
}

char* Put(char* to, bool value) {
    return Put(to, static_cast<std::int32_t>(value));
}

char* Put(char* to, double value) {
    return Store(to, __builtin_bswap64(std::bit_cast<std::uint64_t>(value)));
}

char* Put(char* to, const std::string& value) {
    to = Put(to, static_cast<std::int32_t>(value.size()));
    return to + value.copy(to, value.size());
}

template <class Word>
Word Load(const char* from) {
    Word word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

const char* GetTag(const char* from, int tag) {
    Require(__builtin_bswap16(Load<std::uint16_t>(from)) == tag, "tag");
    return from + sizeof(std::uint16_t);
}

const char* Get(const char* from, std::int32_t& value) {
    value = static_cast<std::int32_t>(__builtin_bswap32(Load<std::uint32_t>(from)));
    return from + sizeof value;
}

const char* Get(const char* from, bool& value) {
    value = Load<std::uint32_t>(from) != 0;
    return from + sizeof(std::uint32_t);
}

const char* Get(const char* from, double& value) {
    value = std::bit_cast<double>(__builtin_bswap64(Load<std::uint64_t>(from)));
    return from + sizeof value;
}

const char* Get(const char* from, std::string& value) {
    std::int32_t size = 0;
    from = Get(from, size);
    value.assign(from, static_cast<std::size_t>(size));
    return from + size;
}

// The fields in their order; `pass` writes or reads one at `at`.
template <class Place, class Message, class Pass>
Place PassFields(Place at, Message& order, Pass pass) {
    at = pass(at, field::Number, order.number);
    at = pass(at, field::Amount, order.amount);
    at = pass(at, field::IsUrgent, order.isUrgent);
    at = pass(at, field::Process, order.process);
    at = pass(at, field::User, order.user);
    at = pass(at, field::Signature, order.signature);
    for (auto& item : order.items) {
        at = pass(at, field::Item);
        at = pass(at, field::Name, item.name);
        at = pass(at, field::Count, item.count);
        at = pass(at, field::Price, item.price);
        at = pass(at, field::Cost);
        at = pass(at, field::Account, item.cost.account);
        at = pass(at, field::Center, item.cost.center);
        at = pass(at, field::IsTaxed, item.cost.isTaxed);
    }
    return at;
}

unsigned long Encode(const Order& order, char* to) {
    const char* const end = PassFields(to, order, [](char* at, int tag, const auto&... value) {
        at = PutTag(at, tag);
        ((at = Put(at, value)), ...);
        return at;
    });
    return static_cast<unsigned long>(end - to);
}

void Decode(const char* from, Order& order) {
    PassFields(from, order, [](const char* at, int tag, auto&... value) {
        at = GetTag(at, tag);
        ((at = Get(at, value)), ...);
        return at;
    });
}

std::string Encoded() {
    char bytes[2048];
    return {bytes, Encode(Sample(), bytes)};
}

void StreamEncodeByHand(benchmark::State& state) {
    char bytes[2048];
    unsigned long size = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&Sample());
        size = Encode(Sample(), bytes);
        benchmark::DoNotOptimize(&bytes);
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = static_cast<double>(size);
}
BENCHMARK(StreamEncodeByHand);

void StreamDecodeReusedByHand(benchmark::State& state) {
    const std::string bytes = Encoded();
    Order order;
    for (auto _ : state) {
        Decode(bytes.data(), order);
        benchmark::DoNotOptimize(&order);
        benchmark::ClobberMemory();
    }
    Require(order == Sample(), "by hand");
}
BENCHMARK(StreamDecodeReusedByHand);

void StreamDecodeFreshByHand(benchmark::State& state) {
    const std::string bytes = Encoded();
    for (auto _ : state) {
        Order order;
        Decode(bytes.data(), order);
        benchmark::DoNotOptimize(&order);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StreamDecodeFreshByHand);

} // namespace
} // namespace bench
