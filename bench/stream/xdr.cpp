// The order in XDR by libtirpc: routines such as its compiler of interfaces writes, over records of
// C.
#include <benchmark/benchmark.h>

#include <rpc/rpc.h>

#include <cstring>
#include <string>

#include "stream/order.h"
#include "support/bench.h"

namespace {

constexpr unsigned int LongestText = 256;

struct Cost {
    std::int32_t account;
    char* center;
    bool_t isTaxed;
};

struct Item {
    char* name;
    std::int32_t count;
    double price;
    Cost cost;
};

struct Message {
    std::int32_t number;
    double amount;
    bool_t isUrgent;
    char* process;
    char* user;
    char* signature;
    unsigned int signatureSize;
    Item items[bench::ItemCount];
};

bool Xdr(XDR* xdr, Cost& cost) {
    return xdr_int32_t(xdr, &cost.account) != 0 &&
           xdr_string(xdr, &cost.center, LongestText) != 0 && xdr_bool(xdr, &cost.isTaxed) != 0;
}

bool Xdr(XDR* xdr, Item& item) {
    return xdr_string(xdr, &item.name, LongestText) != 0 && xdr_int32_t(xdr, &item.count) != 0 &&
           xdr_double(xdr, &item.price) != 0 && Xdr(xdr, item.cost);
}

bool Xdr(XDR* xdr, Message& message) {
    if (xdr_int32_t(xdr, &message.number) == 0 || xdr_double(xdr, &message.amount) == 0 ||
        xdr_bool(xdr, &message.isUrgent) == 0 ||
        xdr_string(xdr, &message.process, LongestText) == 0 ||
        xdr_string(xdr, &message.user, LongestText) == 0 ||
        xdr_bytes(xdr, &message.signature, &message.signatureSize, LongestText) == 0)
        return false;
    for (Item& item : message.items)
        if (!Xdr(xdr, item))
            return false;
    return true;
}

void Free(Message& message) {
    XDR xdr{};
    xdr.x_op = XDR_FREE;
    Xdr(&xdr, message);
}

// The bytes of the message at `to`; their number.
unsigned int Encode(Message& message, char* to, unsigned int room) {
    XDR xdr{};
    xdrmem_create(&xdr, to, room, XDR_ENCODE);
    bench::Require(Xdr(&xdr, message), "XDR encode");
    return xdr_getpos(&xdr);
}

// Texts for which the message has memory go there.
void Decode(Message& message, const std::string& bytes) {
    XDR xdr{};
    xdrmem_create(&xdr, const_cast<char*>(bytes.data()), static_cast<unsigned int>(bytes.size()),
                  XDR_DECODE);
    bench::Require(Xdr(&xdr, message), "XDR decode");
}

/// The sample, with texts that belong to it.
Message MakeMessage() {
    const bench::Order& order = bench::Sample();
    const auto text = [](const std::string& value) { return const_cast<char*>(value.c_str()); };
    Message message{
        order.number,     order.amount,          order.isUrgent ? 1 : 0, text(order.process),
        text(order.user), text(order.signature), bench::SignatureSize,   {}};
    for (unsigned long i = 0; i < bench::ItemCount; ++i) {
        const auto& item = order.items[i];
        message.items[i] = {text(item.name),
                            item.count,
                            item.price,
                            {item.cost.account, text(item.cost.center), item.cost.isTaxed ? 1 : 0}};
    }
    return message;
}

std::string Encoded() {
    Message message = MakeMessage();
    char bytes[2048];
    return {bytes, Encode(message, bytes, sizeof bytes)};
}

void StreamEncodeXdr(benchmark::State& state) {
    Message message = MakeMessage();
    char bytes[2048];
    unsigned int size = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&message);
        size = Encode(message, bytes, sizeof bytes);
        benchmark::DoNotOptimize(&bytes);
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = size;
}
BENCHMARK(StreamEncodeXdr);

void StreamDecodeReusedXdr(benchmark::State& state) {
    const std::string bytes = Encoded();
    Message message{};
    for (auto _ : state) {
        Decode(message, bytes);
        benchmark::DoNotOptimize(&message);
        benchmark::ClobberMemory();
    }
    char again[2048];
    bench::Require(bytes == std::string(again, Encode(message, again, sizeof again)), "XDR");
    Free(message);
}
BENCHMARK(StreamDecodeReusedXdr);

void StreamDecodeFreshXdr(benchmark::State& state) {
    const std::string bytes = Encoded();
    for (auto _ : state) {
        Message message{};
        Decode(message, bytes);
        benchmark::DoNotOptimize(&message);
        benchmark::ClobberMemory();
        Free(message);
    }
}
BENCHMARK(StreamDecodeFreshXdr);

} // namespace
