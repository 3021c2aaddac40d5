#include "stream_socket.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace {

// Room is made for this many bytes more than have arrived, whatever length was announced.
constexpr std::size_t PieceSize = 64UL * 1024;

FileDescriptor NewSocket(const SocketAddress& address, int flags) {
    return {socket(address.Family(), SOCK_STREAM | SOCK_CLOEXEC | flags, 0), "socket"};
}

FileDescriptor Connected(const SocketAddress& address) {
    FileDescriptor connection = NewSocket(address, 0);
    while (connect(connection.Get(), address.Get(), address.Size()) != 0)
        if (errno != EINTR)
            FailCall(address.Text(), errno);
    return connection;
}

// Only a socket that nobody listens at is removed; about anything else bind complains.
void RemoveStaleSocket(const SocketAddress& address) {
    const std::string path = address.Text();
    struct stat file {};
    if (lstat(path.c_str(), &file) != 0 || !S_ISSOCK(file.st_mode))
        return;
    const FileDescriptor probe = NewSocket(address, SOCK_NONBLOCK);
    if (connect(probe.Get(), address.Get(), address.Size()) != 0 && errno == ECONNREFUSED)
        unlink(path.c_str());
}

FileDescriptor Listening(const SocketAddress& address) {
    if (!address.IsTcp())
        RemoveStaleSocket(address);
    FileDescriptor listener = NewSocket(address, SOCK_NONBLOCK);
    // A port whose last connections have not timed out yet is as free as a stale socket.
    const int on = 1;
    if (address.IsTcp())
        setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener.Get(), address.Get(), address.Size()) != 0)
        FailCall(address.Text(), errno);
    if (listen(listener.Get(), SOMAXCONN) != 0)
        FailCall(address.Text(), errno);
    return listener;
}

// Whether a call that failed may be made again once the connection is ready.
bool IsTransient(int reason) {
    return reason == EINTR || reason == EAGAIN;
}

} // namespace

FileDescriptor::FileDescriptor(int fd, const std::string& service) : _fd(fd) {
    if (fd < 0)
        FailCall(service, errno);
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : _fd(std::exchange(other._fd, -1)) {}

FileDescriptor::~FileDescriptor() {
    if (_fd >= 0)
        close(_fd);
}

StreamSocket::StreamSocket(FileDescriptor connection, std::chrono::milliseconds timeout)
    : _connection(std::move(connection)), _timeout(timeout) {}

StreamSocket::StreamSocket(const SocketAddress& address, std::chrono::milliseconds timeout)
    : StreamSocket(Connected(address), timeout) {}

void StreamSocket::Await(short event, Deadline deadline) const {
    pollfd wait{.fd = _connection.Get(), .events = event, .revents = 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const int ready = poll(&wait, 1, std::max(0, static_cast<int>(left.count())));
        if (ready > 0)
            return;
        if (ready == 0)
            throw ChannelError("the peer was silent for too long");
        if (errno != EINTR)
            FailCall("poll", errno);
    }
}

void StreamSocket::SendAll(std::span<const char> bytes, Deadline deadline) const {
    while (!bytes.empty()) {
        Await(POLLOUT, deadline);
        // Without the signal a peer that has gone is an error like any other.
        const ssize_t n =
            send(_connection.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n >= 0)
            bytes = bytes.subspan(static_cast<std::size_t>(n));
        else if (!IsTransient(errno))
            FailCall("send", errno);
    }
}

void StreamSocket::ReceiveAll(std::span<char> bytes, Deadline deadline) const {
    while (!bytes.empty()) {
        Await(POLLIN, deadline);
        const ssize_t n = recv(_connection.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (n == 0)
            throw ChannelError("the peer closed the connection");
        if (n > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(n));
        else if (!IsTransient(errno))
            FailCall("recv", errno);
    }
}

void StreamSocket::Send(std::span<const char> message) {
    if (message.size() > MaxMessage)
        throw ChannelError("a message of " + std::to_string(message.size()) + " bytes is too long");
    const auto length = static_cast<std::uint32_t>(message.size());
    // In one go, so that a short message is one packet.
    Bytes bytes = {static_cast<char>(length >> 24U), static_cast<char>(length >> 16U),
                   static_cast<char>(length >> 8U), static_cast<char>(length)};
    bytes.insert(bytes.end(), message.begin(), message.end());
    SendAll(bytes, FromNow());
}

Bytes StreamSocket::Receive() {
    const Deadline deadline = FromNow();
    std::array<char, 4> head{};
    ReceiveAll(head, deadline);
    std::size_t length = 0;
    for (const char byte : head)
        length = length << 8U | static_cast<unsigned char>(byte);
    if (length > MaxMessage)
        throw ChannelError("a message of " + std::to_string(length) + " bytes is too long");

    Bytes message;
    while (message.size() < length) {
        const std::size_t have = message.size();
        message.resize(have + std::min(PieceSize, length - have));
        ReceiveAll(std::span(message).subspan(have), deadline);
    }
    return message;
}

StreamListener::StreamListener(const SocketAddress& address)
    : _listener(Listening(address)), _address(SocketAddress::Of(_listener.Get())) {}

StreamListener::~StreamListener() {
    if (!_address.IsTcp())
        unlink(_address.Text().c_str());
}

std::unique_ptr<Channel> StreamListener::Accept(const sigset_t& signals,
                                                std::chrono::milliseconds timeout) {
    for (;;) {
        pollfd wait{.fd = _listener.Get(), .events = POLLIN, .revents = 0};
        if (ppoll(&wait, 1, nullptr, &signals) < 0) {
            if (errno == EINTR)
                return nullptr;
            FailCall("poll", errno);
        }
        const int fd = accept4(_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC);
        // A client may have given up meanwhile.
        if (fd >= 0 || (!IsTransient(errno) && errno != ECONNABORTED))
            return std::make_unique<StreamSocket>(FileDescriptor(fd, "accept"), timeout);
    }
}
