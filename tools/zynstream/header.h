// The header of a stream, and frames: what of them is there, also if it is damaged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

constexpr std::size_t WordSize = 4;
constexpr std::size_t WorkHeaderSize = 120;

/// The word at an offset that has one.
std::uint32_t WordAt(std::string_view bytes, std::size_t at);

/// A stream, as its header tells. Offsets are in the bytes that it is looked for in.
struct Stream {
    std::size_t at = 0;
    std::size_t held = 0;    ///< offset behind the bytes at hand
    bool isMessage = false;  ///< has a work header
    bool hasMagic = false;   ///< else the kind is a guess
    bool isComplete = false; ///< the header is
    std::optional<std::uint32_t> length = std::nullopt;
    std::optional<std::uint16_t> ccsid = std::nullopt;
    std::size_t begin = 0; ///< of what stands behind the header
    std::size_t end = 0;   ///< of what is taken as its content

    std::size_t HeaderAt() const { return at + (isMessage ? WorkHeaderSize : 0); }
    std::size_t HeaderSize() const;
    /// Whether all of it can be told from what stands behind it.
    bool HasEnd() const;
};

/// What is to be made of the bytes at an offset, whatever they are.
Stream StreamAt(std::string_view bytes, std::size_t at, std::size_t held);

struct Frame {
    enum class Fault { None, Unaligned, TooLong, TooShort, Cut };

    std::size_t at = 0;
    std::uint32_t id = 0;
    std::uint32_t length = 0; ///< as its head tells
    std::size_t end = 0;      ///< as far as there are bytes
    Fault fault = Fault::None;

    std::size_t Payload() const;
    /// Whether the next one is found behind it.
    bool HasEnd() const { return fault <= Fault::Unaligned; }
};

/// The frame at an offset in front of `end`.
Frame FrameAt(std::string_view bytes, std::size_t at, std::size_t end);

/// Whether there are only whole frames, at least one, and no erased one. Looks at their heads.
bool AreFrames(std::string_view bytes, std::size_t at, std::size_t end);
