#include "header.h"

#include <algorithm>

#include "zynkxdr.h"

namespace {

constexpr std::size_t PlainSize = 20;
constexpr std::size_t FrameHeadSize = 2 * WordSize;

} // namespace

std::uint32_t WordAt(std::string_view bytes, std::size_t at) {
    return zynkxdr::LoadWord(bytes.substr(at, WordSize).data());
}

std::size_t Stream::HeaderSize() const {
    return PlainSize + (isMessage ? WorkHeaderSize : 0);
}

bool Stream::HasEnd() const {
    return hasMagic && isComplete && *length >= HeaderSize() && *length <= held - at;
}

Stream StreamAt(std::string_view bytes, std::size_t at, std::size_t held) {
    const auto has = [&](std::string_view text, std::size_t offset) {
        return bytes.substr(0, held)
            .substr(at)
            .substr(std::min(offset, held - at))
            .starts_with(text);
    };
    Stream stream{.at = at, .held = held};
    const bool isPlain = has("ZNID", WordSize);
    const bool hasMessageMagic = has("ZNRM", WorkHeaderSize + WordSize);
    stream.isMessage = !isPlain && (hasMessageMagic || has("WIH ", 0));
    stream.hasMagic = isPlain || hasMessageMagic;
    stream.isComplete = stream.HeaderSize() <= held - at;
    const auto word = [&](std::size_t offset) {
        offset += stream.HeaderAt();
        return offset + WordSize <= held ? std::optional(WordAt(bytes, offset)) : std::nullopt;
    };
    stream.length = word(3 * WordSize);
    if (const auto ccsid = word(4 * WordSize))
        stream.ccsid = static_cast<std::uint16_t>(*ccsid);
    stream.begin = std::min(at + stream.HeaderSize(), held);
    // A length that can't be right leaves all that is there.
    stream.end = stream.isComplete && *stream.length >= stream.HeaderSize()
                     ? std::min(at + *stream.length, held)
                     : held;
    return stream;
}

std::size_t Frame::Payload() const {
    return std::min(at + FrameHeadSize, end);
}

Frame FrameAt(std::string_view bytes, std::size_t at, std::size_t end) {
    Frame frame{.at = at, .end = end, .fault = Frame::Fault::Cut};
    const std::size_t left = end - at;
    if (left < FrameHeadSize)
        return frame;
    frame.id = WordAt(bytes, at);
    frame.length = WordAt(bytes, at + WordSize);
    if (frame.length < FrameHeadSize) {
        frame.fault = Frame::Fault::TooShort;
    } else if (frame.length > left) {
        frame.fault = Frame::Fault::TooLong;
    } else {
        frame.end = at + frame.length;
        frame.fault = frame.length % WordSize == 0 ? Frame::Fault::None : Frame::Fault::Unaligned;
    }
    return frame;
}

bool AreFrames(std::string_view bytes, std::size_t at, std::size_t end) {
    bool areFrames = at < end;
    while (areFrames && at < end) {
        const Frame frame = FrameAt(bytes, at, end);
        areFrames = frame.fault == Frame::Fault::None && frame.id != 0;
        at = frame.end;
    }
    return areFrames;
}
