// Areas of the trace buffers: what a failing process has left is walked, and what lines were
// appended comes out again.
#include <optional>
#include <vector>

#include "support/fuzz.h"
#include "zynktrcb.h"
#include "zynktrcb_walk.h"

namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t HeaderSize = 28;
constexpr std::size_t FrameSize = 12; ///< of a record without its text

std::uint32_t WordAt(const std::string& bytes, std::size_t at) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i)
        word = word << 8U | static_cast<unsigned char>(bytes[at + i]);
    return word;
}

Lines PlainWalk(const std::string& area) {
    Lines lines;
    if (area.size() < HeaderSize || WordAt(area, 4) != 0xFFFFFFFF)
        return lines;
    // A record without a text at the end of an area does not count.
    for (std::string rest = area.substr(HeaderSize); rest.size() > FrameSize;) {
        const std::size_t length = WordAt(rest, 0);
        const std::size_t type = WordAt(rest, 4);
        if (length < FrameSize || length > rest.size() || (type != 1 && type != 2) ||
            WordAt(rest, length - 4) != length)
            break;
        lines.push_back(rest.substr(8, length - FrameSize));
        rest.erase(0, length);
    }
    return lines;
}

Lines Walk(const char* area, std::size_t size) {
    Lines lines;
    zynktrcb::AreaWalk walk(area, size);
    while (const auto line = walk.Next())
        lines.emplace_back(*line);
    return lines;
}

Lines received;

int Receive(ZynBinary& area) {
    const Lines lines = Walk(area.Data(), area.Length());
    received.insert(received.end(), lines.begin(), lines.end());
    return 0;
}

// Lines up to a NUL each. The walk does not find an empty one at the end of an area.
void CheckBuffer(zynfuzz::Input& input) {
    constexpr std::size_t Spare = 2;
    const unsigned long size = 4UL * input.Byte();
    received.clear();
    Lines fitting;
    ZynTrace::SetExternalization(true, Receive);
    {
        ZynTraceBuffer buffer(size);
        while (!input.IsEmpty()) {
            const std::string line = input.Text();
            if (!line.empty() && HeaderSize + line.size() + FrameSize + Spare <= size)
                fitting.push_back(line);
            buffer.Append(std::string_view(line));
        }
        ZynBinary areas[3];
        buffer.DumpBuffers(areas[0], areas[1], areas[2]);
        FUZZ_CHECK(areas[0].Length() + areas[1].Length() + areas[2].Length() <= 3 * size);
    }
    ZynTrace::SetExternalization(false, nullptr);
    std::erase(received, "");
    FUZZ_CHECK(received == fitting);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    if (input.Byte() % 2 != 0) {
        CheckBuffer(input);
        return 0;
    }
    const std::string area = input.Rest();
    // A value has a byte behind its own; memory without one shows a step too far.
    const std::vector<char> exact(area.begin(), area.end());
    FUZZ_CHECK(Walk(exact.data(), exact.size()) == PlainWalk(area));
    return 0;
}
