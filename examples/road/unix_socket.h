// The road over a Unix domain socket. A stream of bytes has no borders of messages, so each goes
// behind its length, a big-endian word of 4 bytes.
#pragma once

#include <chrono>
#include <csignal>
#include <memory>
#include <string>

#include "channel.h"

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

class UnixSocket final : public Channel {
  public:
    /// @param timeout for a whole message: a peer that sends byte by byte gets no more
    UnixSocket(FileDescriptor connection, std::chrono::milliseconds timeout);
    /// Connects to the server that listens at `path`.
    UnixSocket(const std::string& path, std::chrono::milliseconds timeout);

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

class UnixListener {
  public:
    /// Listens at `path`, in the place of a socket that a server which is gone has left there.
    explicit UnixListener(const std::string& path);
    UnixListener(const UnixListener&) = delete;
    UnixListener& operator=(const UnixListener&) = delete;
    /// Removes the socket.
    ~UnixListener();

    /// Waits for the next client.
    /// @param signals mask of blocked signals while it waits
    /// @param timeout of the client's channel
    /// @return null if a signal came instead
    std::unique_ptr<Channel> Accept(const sigset_t& signals, std::chrono::milliseconds timeout);

  private:
    std::string _path;
    FileDescriptor _listener;
};
