// The message that all encoders of the stream's benchmark carry: an order of eight items, each with
// a sub-record, and a signature. 70 fields are numbered, the records among them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace bench {

template <class Text>
struct CostOf {
    std::int32_t account = 0;
    Text center;
    bool isTaxed = false;

    bool operator==(const CostOf&) const = default;
};

template <class Text>
struct ItemOf {
    Text name;
    std::int32_t count = 0;
    double price = 0;
    CostOf<Text> cost;

    bool operator==(const ItemOf&) const = default;
};

constexpr unsigned long ItemCount = 8;
constexpr unsigned long SignatureSize = 64;

template <class Text, class Bytes>
struct OrderOf {
    std::int32_t number = 0;
    double amount = 0;
    bool isUrgent = false;
    Text process;
    Text user;
    Bytes signature;
    std::array<ItemOf<Text>, ItemCount> items;

    bool operator==(const OrderOf&) const = default;
};

/// The peers' order.
using Order = OrderOf<std::string, std::string>;

/// The same values for each type of text and bytes.
template <class Text, class Bytes>
OrderOf<Text, Bytes> SampleOf() {
    static constexpr const char* Names[ItemCount] = {"Hotel",   "Railway",   "Taxi",      "Meals",
                                                     "Parking", "Telephone", "Visa fees", "Other"};
    OrderOf<Text, Bytes> order;
    order.number = 20240117;
    order.amount = 1284.5;
    order.isUrgent = true;
    order.process = "Travel expenses";
    order.user = "MILLER";
    std::string signature;
    for (unsigned long i = 0; i < SignatureSize; ++i)
        signature += static_cast<char>(i * 37);
    order.signature = Bytes(signature.data(), signature.size());
    std::int32_t n = 0;
    for (ItemOf<Text>& item : order.items) {
        item.name = Names[n];
        item.count = ++n;
        item.price = 12.25 * n;
        item.cost = {4711 + n, "CC-1042", n % 2 == 0};
    }
    return order;
}

inline const Order& Sample() {
    static const auto& order = *new Order(SampleOf<std::string, std::string>());
    return order;
}

/// The numbers of the fields.
namespace field {
enum Order { Number = 1, Amount, IsUrgent, Process, User, Signature, Item };
enum Item { Name = 1, Count, Price, Cost };
enum Cost { Account = 1, Center, IsTaxed };
} // namespace field

} // namespace bench
