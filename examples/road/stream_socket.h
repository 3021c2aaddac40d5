// The road over a socket, Unix domain or TCP. A stream of bytes has no borders of messages, so each
// goes behind its length, a big-endian word of 4 bytes.
#pragma once

#include <chrono>
#include <csignal>
#include <memory>
#include <string>

#include "channel.h"
#include "socket_address.h"

/// An open file of the system, closed with its owner.
class FileDescriptor {
  public:
    /// @param fd what the system call `service` gave: -1 throws ChannelError with its reason
    FileDescriptor(int fd, const std::string& service);
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor();

    int Get() const { return _fd; }

  private:
    int _fd;
};

class StreamSocket final : public Channel {
  public:
    /// @param timeout for a whole message: a peer that sends byte by byte gets no more
    StreamSocket(FileDescriptor connection, std::chrono::milliseconds timeout);
    /// Connects to the server that listens at `address`.
    StreamSocket(const SocketAddress& address, std::chrono::milliseconds timeout);

    void Send(std::span<const char> message) override;
    Bytes Receive() override;

  private:
    using Deadline = std::chrono::steady_clock::time_point;

    Deadline FromNow() const { return std::chrono::steady_clock::now() + _timeout; }
    void Await(short event, Deadline deadline) const;
    void SendAll(std::span<const char> bytes, Deadline deadline) const;
    void ReceiveAll(std::span<char> bytes, Deadline deadline) const;

    FileDescriptor _connection;
    std::chrono::milliseconds _timeout;
};

class StreamListener {
  public:
    /// Listens at `address`, in the place of a socket that a server which is gone has left there.
    explicit StreamListener(const SocketAddress& address);
    StreamListener(const StreamListener&) = delete;
    StreamListener& operator=(const StreamListener&) = delete;
    /// Removes a socket that stands in a folder.
    ~StreamListener();

    /// Where it listens, with the port that the system has chosen.
    const SocketAddress& Address() const { return _address; }

    /// Waits for the next client.
    /// @param signals mask of blocked signals while it waits
    /// @param timeout of the client's channel
    /// @return null if a signal came instead
    std::unique_ptr<Channel> Accept(const sigset_t& signals, std::chrono::milliseconds timeout);

  private:
    FileDescriptor _listener;
    SocketAddress _address;
};
