#include "unix_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace {

// Room is made for this many bytes more than have arrived, whatever length was announced.
constexpr std::size_t PieceSize = 64UL * 1024;

[[noreturn]] void Fail(const std::string& service, int reason) {
    throw ChannelError(service + ": " + std::generic_category().message(reason));
}

sockaddr_un AddressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        Fail(path, path.empty() ? ENOENT : ENAMETOOLONG);
    std::ranges::copy(path, address.sun_path);
    return address;
}

const sockaddr* Generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

FileDescriptor NewSocket(int flags) {
    return {socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0), "socket"};
}

FileDescriptor Connected(const std::string& path) {
    const sockaddr_un address = AddressOf(path);
    FileDescriptor connection = NewSocket(0);
    while (connect(connection.Get(), Generic(address), sizeof address) != 0)
        if (errno != EINTR)
            Fail(path, errno);
    return connection;
}

// Only a socket that nobody listens at is removed; about anything else bind complains.
void RemoveStaleSocket(const std::string& path, const sockaddr_un& address) {
    struct stat file {};
    if (lstat(path.c_str(), &file) != 0 || !S_ISSOCK(file.st_mode))
        return;
    const FileDescriptor probe = NewSocket(SOCK_NONBLOCK);
    if (connect(probe.Get(), Generic(address), sizeof address) != 0 && errno == ECONNREFUSED)
        unlink(path.c_str());
}

FileDescriptor Listening(const std::string& path) {
    const sockaddr_un address = AddressOf(path);
    RemoveStaleSocket(path, address);
    FileDescriptor listener = NewSocket(SOCK_NONBLOCK);
    if (bind(listener.Get(), Generic(address), sizeof address) != 0)
        Fail(path, errno);
    if (listen(listener.Get(), SOMAXCONN) != 0)
        Fail(path, errno);
    return listener;
}

// Whether a call that failed may be made again once the connection is ready.
bool IsTransient(int reason) {
    return reason == EINTR || reason == EAGAIN;
}

} // namespace

FileDescriptor::FileDescriptor(int fd, const std::string& service) : _fd(fd) {
    if (fd < 0)
        Fail(service, errno);
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : _fd(std::exchange(other._fd, -1)) {}

FileDescriptor::~FileDescriptor() {
    if (_fd >= 0)
        close(_fd);
}

UnixSocket::UnixSocket(FileDescriptor connection, std::chrono::milliseconds timeout)
    : _connection(std::move(connection)), _timeout(timeout) {}

UnixSocket::UnixSocket(const std::string& path, std::chrono::milliseconds timeout)
    : UnixSocket(Connected(path), timeout) {}

void UnixSocket::Await(short event, Deadline deadline) const {
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
            Fail("poll", errno);
    }
}

void UnixSocket::SendAll(std::span<const char> bytes, Deadline deadline) const {
    while (!bytes.empty()) {
        Await(POLLOUT, deadline);
        // Without the signal a peer that has gone is an error like any other.
        const ssize_t n =
            send(_connection.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n >= 0)
            bytes = bytes.subspan(static_cast<std::size_t>(n));
        else if (!IsTransient(errno))
            Fail("send", errno);
    }
}

void UnixSocket::ReceiveAll(std::span<char> bytes, Deadline deadline) const {
    while (!bytes.empty()) {
        Await(POLLIN, deadline);
        const ssize_t n = recv(_connection.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (n == 0)
            throw ChannelError("the peer closed the connection");
        if (n > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(n));
        else if (!IsTransient(errno))
            Fail("recv", errno);
    }
}

void UnixSocket::Send(std::span<const char> message) {
    if (message.size() > MaxMessage)
        throw ChannelError("a message of " + std::to_string(message.size()) + " bytes is too long");
    const auto length = static_cast<std::uint32_t>(message.size());
    const std::array<char, 4> head = {static_cast<char>(length >> 24U),
                                      static_cast<char>(length >> 16U),
                                      static_cast<char>(length >> 8U), static_cast<char>(length)};
    const Deadline deadline = FromNow();
    SendAll(head, deadline);
    SendAll(message, deadline);
}

Bytes UnixSocket::Receive() {
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

UnixListener::UnixListener(const std::string& path) : _path(path), _listener(Listening(path)) {}

UnixListener::~UnixListener() {
    unlink(_path.c_str());
}

std::unique_ptr<Channel> UnixListener::Accept(const sigset_t& signals,
                                              std::chrono::milliseconds timeout) {
    for (;;) {
        pollfd wait{.fd = _listener.Get(), .events = POLLIN, .revents = 0};
        if (ppoll(&wait, 1, nullptr, &signals) < 0) {
            if (errno == EINTR)
                return nullptr;
            Fail("poll", errno);
        }
        const int fd = accept4(_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0 || !IsTransient(errno))
            return std::make_unique<UnixSocket>(FileDescriptor(fd, "accept"), timeout);
    }
}
