#include "socket_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <system_error>

#include "channel.h"

namespace {

sockaddr_un PathAddress(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        FailCall(path, path.empty() ? ENOENT : ENAMETOOLONG);
    std::ranges::copy(path, address.sun_path);
    return address;
}

sockaddr_in TcpAddress(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const std::string host = text.substr(0, colon);
    const std::string_view port = std::string_view(text).substr(colon + 1);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (error != std::errc() || end != port.data() + port.size())
        throw ChannelError(text + ": the port is not a number from 0 to 65535");
    address.sin_port = htons(number);
    const char* const numeric = host == "localhost" ? "127.0.0.1" : host.c_str();
    if (inet_pton(AF_INET, numeric, &address.sin_addr) != 1 ||
        ntohl(address.sin_addr.s_addr) >> 24U != IN_LOOPBACKNET)
        throw ChannelError(text + ": the host is not this machine's loopback interface");
    return address;
}

template <class Address>
Address As(const sockaddr_storage& storage) {
    Address address;
    std::memcpy(&address, &storage, sizeof address);
    return address;
}

} // namespace

void FailCall(const std::string& service, int reason) {
    throw ChannelError(service + ": " + std::generic_category().message(reason));
}

template <class Address>
void SocketAddress::Set(const Address& address) {
    std::memcpy(&_storage, &address, sizeof address);
    _size = sizeof address;
}

SocketAddress::SocketAddress(const std::string& text) {
    if (text.find('/') == std::string::npos && text.find(':') != std::string::npos)
        Set(TcpAddress(text));
    else
        Set(PathAddress(text));
}

SocketAddress SocketAddress::Of(int socket) {
    SocketAddress address;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address._storage), &address._size) != 0)
        FailCall("getsockname", errno);
    return address;
}

std::string SocketAddress::Text() const {
    if (!IsTcp())
        return As<sockaddr_un>(_storage).sun_path;
    const auto address = As<sockaddr_in>(_storage);
    std::array<char, INET_ADDRSTRLEN> host{};
    inet_ntop(AF_INET, &address.sin_addr, host.data(), host.size());
    return std::string(host.data()) + ':' + std::to_string(ntohs(address.sin_port));
}
