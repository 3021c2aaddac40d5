// The records of a trace buffer area, and the walk over them.
//
// An area begins with a header record, and data records follow without gaps; zeros fill the rest.
// All numbers are unsigned 32-bit words, most significant byte first.
//
//     header    0   28, the length of the record        data   0       n + 12, the length
//               4   0xFFFFFFFF, which marks a header            4       type, 1 for a trace line
//               8   sequence number of the area                 8       the line, n bytes with its
//              12   0x00010000                                          line feed
//              16   platform (ZynPlatform)                      8 + n   n + 12 again
//              20   process id
//              24   28 again
//
// The length at both ends of a record tells a torn one.
#pragma once

#include <optional>
#include <string_view>

#include "zynkxdr.h"

namespace zynktrcb {

constexpr unsigned long HeaderLength = 28;
constexpr std::uint32_t HeaderType = 0xFFFFFFFF;
constexpr std::uint32_t LineType = 1;
constexpr std::uint32_t OtherLineType = 2; ///< read, never written
/// Length and type in front of a line, and the length behind it.
constexpr unsigned long FrameLength = 8;
constexpr unsigned long EpilogLength = 4;

/// Walks the lines of one area from its start, and ends at the first thing in it that is doubtful:
/// it serves those who look at what a failing process has left. Every length is compared with what
/// is there before it is used.
class AreaWalk {
  public:
    /// An area that does not begin with a header has no lines.
    AreaWalk(const char* area, unsigned long length) : _at(area), _end(area + length) {
        const bool hasHeader = length >= HeaderLength && zynkxdr::LoadWord(area + 4) == HeaderType;
        _at = hasHeader ? area + HeaderLength : _end;
    }

    /// The next line, or none at the end.
    std::optional<std::string_view> Next() {
        // 12 bytes are a record without a text; the walk is for those that have one.
        if (_end - _at <= static_cast<std::ptrdiff_t>(FrameLength + EpilogLength))
            return std::nullopt;
        const std::uint32_t type = zynkxdr::LoadWord(_at + 4);
        const std::uint32_t length = zynkxdr::LoadWord(_at);
        if ((type != LineType && type != OtherLineType) || length < FrameLength + EpilogLength ||
            length > static_cast<unsigned long>(_end - _at) ||
            zynkxdr::LoadWord(_at + length - EpilogLength) != length)
            return std::nullopt;
        const std::string_view line(_at + FrameLength, length - FrameLength - EpilogLength);
        _at += length;
        return line;
    }

    /// What has not been walked over.
    const char* At() const { return _at; }

  private:
    const char* _at;
    const char* _end;
};

} // namespace zynktrcb
