// What the two ends of the road ask of a transport: whole messages, whatever carries them. A
// broker's queue takes the place of the socket by another class behind this interface.
#pragma once

#include <span>
#include <stdexcept>
#include <vector>

using Bytes = std::vector<char>;

class Channel {
  public:
    /// Longest message. A reader believes no length above it.
    static constexpr std::size_t MaxMessage = 16UL * 1024 * 1024;

    virtual ~Channel() = default;

    /// Sends the message whole, or throws ChannelError.
    virtual void Send(std::span<const char> message) = 0;
    /// Waits for the next message. Throws ChannelError if it does not come whole and in time.
    virtual Bytes Receive() = 0;
};

/// No message could be sent or received; the channel is of no further use.
class ChannelError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};
