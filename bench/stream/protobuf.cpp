// The order as a protobuf message. Encoding begins with a message that is filled in already.
#include <benchmark/benchmark.h>

#include <string>

#include "order.pb.h"
#include "stream/order.h"
#include "support/bench.h"

namespace {

bench::proto::Order Message() {
    const bench::Order& order = bench::Sample();
    bench::proto::Order message;
    message.set_number(order.number);
    message.set_amount(order.amount);
    message.set_is_urgent(order.isUrgent);
    message.set_process(order.process);
    message.set_user(order.user);
    message.set_signature(order.signature);
    for (const auto& item : order.items) {
        bench::proto::Item& to = *message.add_items();
        to.set_name(item.name);
        to.set_count(item.count);
        to.set_price(item.price);
        to.mutable_cost()->set_account(item.cost.account);
        to.mutable_cost()->set_center(item.cost.center);
        to.mutable_cost()->set_is_taxed(item.cost.isTaxed);
    }
    return message;
}

void StreamEncodeProtobuf(benchmark::State& state) {
    const bench::proto::Order message = Message();
    std::string bytes(2048, '\0');
    std::size_t size = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&message);
        size = message.ByteSizeLong();
        message.SerializeWithCachedSizesToArray(reinterpret_cast<std::uint8_t*>(bytes.data()));
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = static_cast<double>(size);
}
BENCHMARK(StreamEncodeProtobuf);

void StreamDecodeReusedProtobuf(benchmark::State& state) {
    const std::string bytes = Message().SerializeAsString();
    bench::proto::Order message;
    for (auto _ : state) {
        benchmark::DoNotOptimize(message.ParseFromString(bytes));
        benchmark::ClobberMemory();
    }
    bench::Require(message.SerializeAsString() == bytes && message.items_size() == 8, "protobuf");
}
BENCHMARK(StreamDecodeReusedProtobuf);

void StreamDecodeFreshProtobuf(benchmark::State& state) {
    const std::string bytes = Message().SerializeAsString();
    for (auto _ : state) {
        bench::proto::Order message;
        benchmark::DoNotOptimize(message.ParseFromString(bytes));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StreamDecodeFreshProtobuf);

} // namespace
