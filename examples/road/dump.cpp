#include "dump.h"

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "message.h"

namespace {

constexpr std::size_t WorkHeaderSize = 120;
constexpr std::size_t HeaderSize = WorkHeaderSize + 20;
constexpr std::size_t FrameHeadSize = 8;
constexpr std::size_t RowSize = 8; // a frame's head is one row

/// What begins at an offset.
struct Mark {
    std::size_t offset;
    std::string text;
};

unsigned long WordAt(std::span<const char> bytes, std::size_t offset) {
    unsigned long word = 0;
    for (const char byte : bytes.subspan(offset, 4))
        word = word << 8U | static_cast<unsigned char>(byte);
    return word;
}

std::string FrameText(unsigned long id, unsigned long length, std::size_t depth) {
    return std::string(2 * depth, ' ') + "frame " + std::to_string(id) + ", " + ParmName(id) +
           ": " + std::to_string(length) + " bytes";
}

// A group's frames follow its head at once, so one walk visits all levels; `ends` holds where the
// open ones end.
std::vector<Mark> Frames(std::span<const char> message, std::size_t streamEnd) {
    std::vector<Mark> marks;
    std::vector<std::size_t> ends = {streamEnd};
    std::size_t at = HeaderSize;
    for (;;) {
        while (!ends.empty() && at == ends.back())
            ends.pop_back();
        if (ends.empty())
            return marks;
        const std::size_t left = ends.back() - at;
        const unsigned long length = left < FrameHeadSize ? 0 : WordAt(message, at + 4);
        if (length < FrameHeadSize || length > left) {
            marks.push_back({at, "*** no frame that fits into what encloses it"});
            return marks;
        }
        const unsigned long id = WordAt(message, at);
        marks.push_back({at, FrameText(id, length, ends.size() - 1)});
        at += FrameHeadSize;
        if (IsGroup(id)) {
            ends.push_back(at - FrameHeadSize + length);
        } else if (length > FrameHeadSize) {
            marks.push_back({at, ""});
            at += length - FrameHeadSize;
        }
    }
}

std::vector<Mark> Marks(std::span<const char> message) {
    const std::string_view text(message.data(), message.size());
    if (message.size() < HeaderSize || text.substr(WorkHeaderSize + 4, 4) != "ZNRM")
        return {{0, "*** no header of a message"}};
    const unsigned long length = WordAt(message, WorkHeaderSize + 12);
    std::vector<Mark> marks = {
        {0, "work information header"},
        {32, "service name"},
        {64, "service step"},
        {72, "message token"},
        {88, "reserved"},
        {WorkHeaderSize, "header: a stream of " + std::to_string(length) + " bytes, code page " +
                             std::to_string(WordAt(message, WorkHeaderSize + 16) & 0xFFFFU)}};
    if (length < HeaderSize) {
        marks.back().text += "; *** that is less than this header";
        return marks;
    }
    if (length > message.size())
        marks.back().text += "; *** there are only " + std::to_string(message.size());
    std::ranges::move(Frames(message, std::min<std::size_t>(length, message.size())),
                      std::back_inserter(marks));
    if (length < message.size())
        marks.push_back({length, "*** behind the stream's end"});
    return marks;
}

void PrintRow(std::ostream& os, std::size_t offset, std::span<const char> row,
              std::string_view text) {
    std::string hex;
    std::string characters;
    for (const char byte : row) {
        hex += ZynBinary(&byte, 1).AsHexString().Data();
        hex += ' ';
        characters += byte >= ' ' && byte <= '~' ? byte : '.';
    }
    os << std::setw(8) << offset << "  " << std::left << std::setw(3 * RowSize + 1) << hex;
    if (text.empty())
        os << characters;
    else
        os << std::setw(RowSize + 2) << characters << text;
    os << std::right << '\n';
}

} // namespace

void Dump(std::ostream& os, std::span<const char> message) {
    const std::vector<Mark> marks = Marks(message);
    for (std::size_t i = 0; i < marks.size(); ++i) {
        const std::size_t end = i + 1 < marks.size() ? marks[i + 1].offset : message.size();
        std::string_view text = marks[i].text;
        for (std::size_t at = marks[i].offset; at < end; at += RowSize) {
            PrintRow(os, at, message.subspan(at, std::min(RowSize, end - at)), text);
            text = {};
        }
    }
}
