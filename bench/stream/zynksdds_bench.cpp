// An order through a stream: into one that is used again, and out of its bytes as they were
// received into its block.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include <zynkern/zynkern.h>

#include "stream/order.h"
#include "support/bench.h"

namespace bench {

using OwnOrder = OrderOf<ZynString, ZynBinary>;

template <class Value>
static void PutField(ZynStream& out, unsigned long id, const Value& value) {
    out.StartParmEnc(id) << value;
    out.EndParmEnc();
}

template <class Value>
static void GetField(ZynStream& in, unsigned long id, Value& value) {
    in.StartParmDec(id) >> value;
    in.EndParmDec();
}

static ZynStream& operator<<(ZynStream& out, const CostOf<ZynString>& cost) {
    PutField(out, field::Account, cost.account);
    PutField(out, field::Center, cost.center);
    PutField(out, field::IsTaxed, cost.isTaxed);
    return out;
}

static ZynStream& operator>>(ZynStream& in, CostOf<ZynString>& cost) {
    GetField(in, field::Account, cost.account);
    GetField(in, field::Center, cost.center);
    GetField(in, field::IsTaxed, cost.isTaxed);
    return in;
}

static ZynStream& operator<<(ZynStream& out, const ItemOf<ZynString>& item) {
    PutField(out, field::Name, item.name);
    PutField(out, field::Count, item.count);
    PutField(out, field::Price, item.price);
    PutField(out, field::Cost, item.cost);
    return out;
}

static ZynStream& operator>>(ZynStream& in, ItemOf<ZynString>& item) {
    GetField(in, field::Name, item.name);
    GetField(in, field::Count, item.count);
    GetField(in, field::Price, item.price);
    GetField(in, field::Cost, item.cost);
    return in;
}

namespace {

void Encode(ZynStream& out, const OwnOrder& order) {
    out.Clear();
    PutField(out, field::Number, order.number);
    PutField(out, field::Amount, order.amount);
    PutField(out, field::IsUrgent, order.isUrgent);
    PutField(out, field::Process, order.process);
    PutField(out, field::User, order.user);
    PutField(out, field::Signature, order.signature);
    for (const auto& item : order.items)
        PutField(out, field::Item, item);
    out.Close();
}

void Decode(ZynStream& in, unsigned long length, OwnOrder& order) {
    in.PostRead(length);
    GetField(in, field::Number, order.number);
    GetField(in, field::Amount, order.amount);
    GetField(in, field::IsUrgent, order.isUrgent);
    GetField(in, field::Process, order.process);
    GetField(in, field::User, order.user);
    GetField(in, field::Signature, order.signature);
    for (auto& item : order.items)
        GetField(in, field::Item, item);
}

OwnOrder OwnSample() {
    return SampleOf<ZynString, ZynBinary>();
}

std::string Encoded() {
    ZynStream out(2048);
    Encode(out, OwnSample());
    return {out.PreWrite(), out.Length()};
}

/// A stream with the encoded order in its block.
ZynStream Received(unsigned long length) {
    ZynStream in(length, ZynStream::Unknown);
    std::memcpy(in.PreRead(length), Encoded().data(), length);
    return in;
}

void StreamEncode(benchmark::State& state) {
    const OwnOrder order = OwnSample();
    ZynStream out(2048);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&order);
        Encode(out, order);
        benchmark::DoNotOptimize(out.PreWrite());
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = static_cast<double>(out.Length());
}
BENCHMARK(StreamEncode);

void StreamDecodeReused(benchmark::State& state) {
    const unsigned long length = Encoded().size();
    ZynStream in = Received(length);
    OwnOrder order;
    for (auto _ : state) {
        Decode(in, length, order);
        benchmark::DoNotOptimize(&order);
        benchmark::ClobberMemory();
    }
    Require(order == OwnSample(), "stream");
}
BENCHMARK(StreamDecodeReused);

void StreamDecodeFresh(benchmark::State& state) {
    const unsigned long length = Encoded().size();
    ZynStream in = Received(length);
    for (auto _ : state) {
        OwnOrder order;
        Decode(in, length, order);
        benchmark::DoNotOptimize(&order);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StreamDecodeFresh);

// The floor under all encoders: what a copy of the finished bytes takes.
void StreamCopy(benchmark::State& state) {
    const std::string bytes = Encoded();
    std::string copy(bytes.size(), '\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(bytes.data());
        std::memcpy(copy.data(), bytes.data(), bytes.size());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StreamCopy);

} // namespace
} // namespace bench
