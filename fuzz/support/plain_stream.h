// The bytes of streams, read with nothing of the library's own code.
#pragma once

#include <bit>
#include <optional>
#include <string_view>

#include "support/fuzz.h"
#include "zynksdds.h"

namespace zynfuzz {

constexpr std::size_t PlainHeaderSize = 20;
constexpr std::size_t MessageHeaderSize = 140;
constexpr std::size_t FrameHeadSize = 8;

inline std::uint32_t WordAt(std::string_view bytes, std::size_t at) {
    std::uint32_t word = 0;
    for (const char c : bytes.substr(at, 4))
        word = word << 8U | static_cast<unsigned char>(c);
    return word;
}

inline std::string Word(std::uint32_t value) {
    std::string word;
    for (unsigned int shift = 32; shift != 0; shift -= 8)
        word += static_cast<char>(value >> (shift - 8));
    return word;
}

inline std::size_t Padded(std::size_t n) {
    return (n + 3) / 4 * 4;
}

struct PlainHeader {
    ZynStream::Knd kind = ZynStream::Unknown; ///< Unknown if there is no header
    bool isCut = false;                       ///< with more bytes it might be one
    std::size_t size = 0;
    std::size_t length = 0; ///< of the stream, as it claims
    unsigned short ccsid = 0;

    explicit PlainHeader(std::string_view bytes) {
        const bool isPlain = bytes.substr(0, 8).ends_with("ZNID") && bytes.size() >= 8;
        const bool isMessage = bytes.size() >= 128 && bytes.substr(124, 4) == "ZNRM";
        size = isPlain ? PlainHeaderSize : MessageHeaderSize;
        isCut = bytes.size() < PlainHeaderSize ||
                (bytes.size() < size && (isMessage || (!isPlain && bytes.starts_with("WIH "))));
        if (isCut || (!isPlain && !isMessage))
            return;
        kind = isPlain ? ZynStream::Plain : ZynStream::InternalRuntimeMessage;
        length = WordAt(bytes, size - 8);
        ccsid = static_cast<unsigned short>(WordAt(bytes, size - 4));
    }
};

/// The frame at a place, and whether it fits in front of `end`; none if there is no room for its
/// head, or it is shorter than that.
struct PlainFrame {
    std::uint32_t id;
    std::size_t length;
    bool fits;
};
inline std::optional<PlainFrame> FrameAt(std::string_view bytes, std::size_t at, std::size_t end) {
    if (at > end || end - at < FrameHeadSize)
        return std::nullopt;
    const std::size_t length = WordAt(bytes, at + 4);
    if (length < FrameHeadSize)
        return std::nullopt;
    return PlainFrame{WordAt(bytes, at), length, length <= end - at};
}

/// A stream that is received, and how that must end. None if it is damaged.
inline std::optional<ZynStream> Received(std::string_view bytes) {
    ZynStream stream(bytes.size(), ZynStream::Unknown);
    bytes.copy(stream.PreRead(bytes.size()), bytes.size());
    const PlainHeader header(bytes);
    const bool isNone = header.kind == ZynStream::Unknown && !header.isCut;
    const bool isCut = header.isCut || (!isNone && header.length > bytes.size());
    const auto receive = [&] { stream.PostRead(bytes.size()); };
    if (isCut)
        FUZZ_CHECK(EndsIn<ZynStream::ExcTruncated>(receive));
    else
        FUZZ_CHECK(EndsIn<ZynStream::ExcKindError>(receive) == isNone);
    if (isCut || isNone)
        return std::nullopt;
    FUZZ_CHECK(stream.Kind() == header.kind && stream.Length() == header.length);
    FUZZ_CHECK(stream.CurrentPosition() == header.size && stream.Closed());
    return stream;
}

} // namespace zynfuzz
