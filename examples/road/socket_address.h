// Where the road begins and ends.
#pragma once

#include <sys/socket.h>

#include <string>

/// Throws ChannelError for a call of the system that failed.
[[noreturn]] void FailCall(const std::string& service, int reason);

/// Place of a socket: a path of a Unix domain socket, or HOST:PORT for TCP. What travels is neither
/// encrypted nor does anybody say who he is, so of TCP there is only the loopback interface.
class SocketAddress {
  public:
    /// @param text a path if it has no ":" or has a "/"; else HOST is "localhost" or 127.x.x.x, and
    ///             PORT a number, where 0 lets the system choose when a server listens there
    /// Throws ChannelError for a text that is none of these.
    explicit SocketAddress(const std::string& text);
    /// The one that a socket is bound to.
    static SocketAddress Of(int socket);

    bool IsTcp() const { return _storage.ss_family == AF_INET; }
    int Family() const { return _storage.ss_family; }
    const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&_storage); }
    socklen_t Size() const { return _size; }
    /// As the constructor takes it.
    std::string Text() const;

  private:
    SocketAddress() = default;

    template <class Address>
    void Set(const Address& address);

    sockaddr_storage _storage{};
    socklen_t _size = sizeof _storage;
};
