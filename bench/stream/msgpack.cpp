// The order in MessagePack, as arrays, the smallest and fastest form that the library offers.
#include <benchmark/benchmark.h>

#include <msgpack.hpp>

#include <string>

#include "stream/order.h"
#include "support/bench.h"

namespace {

struct Cost {
    std::int32_t account;
    std::string center;
    bool isTaxed;
    MSGPACK_DEFINE(account, center, isTaxed)
};

struct Item {
    std::string name;
    std::int32_t count;
    double price;
    Cost cost;
    MSGPACK_DEFINE(name, count, price, cost)
};

struct Message {
    std::int32_t number = 0;
    double amount = 0;
    bool isUrgent = false;
    std::string process;
    std::string user;
    std::string signature;
    std::vector<Item> items;
    MSGPACK_DEFINE(number, amount, isUrgent, process, user, signature, items)
};

Message MakeMessage() {
    const bench::Order& order = bench::Sample();
    Message message{
        order.number, order.amount, order.isUrgent, order.process, order.user, order.signature, {}};
    for (const auto& item : order.items)
        message.items.push_back({item.name,
                                 item.count,
                                 item.price,
                                 {item.cost.account, item.cost.center, item.cost.isTaxed}});
    return message;
}

std::string Encoded() {
    msgpack::sbuffer bytes;
    msgpack::pack(bytes, MakeMessage());
    return {bytes.data(), bytes.size()};
}

void StreamEncodeMsgpack(benchmark::State& state) {
    const Message message = MakeMessage();
    msgpack::sbuffer bytes(2048);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&message);
        bytes.clear();
        msgpack::pack(bytes, message);
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = static_cast<double>(bytes.size());
}
BENCHMARK(StreamEncodeMsgpack);

// Texts stay in the received bytes until they are converted.
bool InPlace(msgpack::type::object_type /*type*/, std::size_t /*size*/, void* /*user*/) {
    return true;
}

void StreamDecodeReusedMsgpack(benchmark::State& state) {
    const std::string bytes = Encoded();
    msgpack::zone zone;
    Message message;
    for (auto _ : state) {
        zone.clear();
        msgpack::unpack(zone, bytes.data(), bytes.size(), InPlace).convert(message);
        benchmark::ClobberMemory();
    }
    msgpack::sbuffer again;
    msgpack::pack(again, message);
    bench::Require(bytes == std::string(again.data(), again.size()), "msgpack");
}
BENCHMARK(StreamDecodeReusedMsgpack);

void StreamDecodeFreshMsgpack(benchmark::State& state) {
    const std::string bytes = Encoded();
    for (auto _ : state) {
        Message message;
        msgpack::unpack(bytes.data(), bytes.size(), InPlace)->convert(message);
        benchmark::DoNotOptimize(&message);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StreamDecodeFreshMsgpack);

} // namespace
