// The printed forms of received streams, up to the addresses in them.
#include <cctype>
#include <sstream>

#include "support/plain_stream.h"

namespace {

std::string Hex(std::string_view bytes) {
    constexpr std::string_view Digits = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        (text += Digits[byte / 16]) += Digits[byte % 16];
    }
    return text;
}

std::string Chars(std::string_view bytes) {
    std::string text;
    for (const char c : bytes)
        (text += std::isprint(static_cast<unsigned char>(c)) != 0 ? c : '?') += '.';
    return text;
}

// The lines of the header between the two that hold addresses, and the one behind them in which the
// size of the block stands.
std::string HeaderLines(std::string_view bytes, const std::string& margin) {
    const zynfuzz::PlainHeader header(bytes);
    const std::string start = std::to_string(header.size);
    const char* const version = bytes.data() + header.size - 12;
    const auto line = [&](const std::string& label, unsigned long value) {
        return margin + label + std::to_string(value);
    };
    const auto byte = [&](int i) { return static_cast<unsigned char>(version[i]); };
    return line("_pMem->_header._kind=", header.kind) + line("_pMem->_header._version=", byte(0)) +
           line("_pMem->_header._release=", byte(1)) + line("_pMem->_header._modLevel=", byte(2)) +
           line("_pMem->_header._streamCcsid=", header.ccsid) +
           line("_pMem->_header._streamLength=", header.length) + line("_pMem->_closed=", 1) +
           line("_pMem->_headerPos=", 0) + line("_pMem->_startPos=", header.size) +
           line("_pMem->_endPos=", header.length);
}

std::string Content(std::string_view body, const std::string& margin) {
    return margin + " hex  content=" + Hex(body) + margin + " char content=" + Chars(body);
}

// The frames, and whether the walk over them is to end in a failure.
std::string Frames(std::string_view bytes, const std::string& margin, bool& fails) {
    const zynfuzz::PlainHeader header(bytes);
    std::ostringstream text;
    fails = header.length < header.size;
    for (std::size_t at = header.size; !fails && at != header.length;) {
        const auto frame = zynfuzz::FrameAt(bytes, at, header.length);
        fails = !frame;
        if (fails)
            break;
        text << margin << "id=" << frame->id << " len=" << frame->length;
        if (!frame->fits || frame->length == zynfuzz::FrameHeadSize) {
            text << " Warning: stream seems not to contain IDs and lengths";
            break;
        }
        const std::string_view payload =
            bytes.substr(at + zynfuzz::FrameHeadSize, frame->length - zynfuzz::FrameHeadSize);
        text << margin << "hex =" << Hex(payload) << margin << "char=" << Chars(payload);
        at += frame->length;
    }
    return text.str();
}

// Behind the lines of the header.
void Check(const std::string& printed, const std::string& header, const std::string& margin,
           const std::string& expected) {
    const std::size_t at = printed.find(header);
    FUZZ_CHECK(at != std::string::npos);
    FUZZ_CHECK(printed.starts_with(margin + "this=0x"));
    const std::string size = margin + "_pMem->_dynPtr.Size()=";
    const std::size_t sizeAt = printed.find(size, at + header.size());
    FUZZ_CHECK(sizeAt != std::string::npos);
    const std::size_t end = printed.find_first_not_of("0123456789", sizeAt + size.size());
    FUZZ_CHECK((end == std::string::npos ? "" : printed.substr(end)) == expected);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const int indent = input.Byte() % 40;
    const std::string bytes = input.Rest();
    const auto stream = zynfuzz::Received(bytes);
    if (!stream)
        return 0;
    const zynfuzz::PlainHeader header(bytes);
    const std::string margin = "\n" + std::string(static_cast<std::size_t>(indent), ' ');
    const std::string lines = HeaderLines(bytes, margin);
    std::ostringstream whole;
    stream->StreamKeywordDelimited(whole, indent);
    const std::size_t start = std::min(header.size, header.length);
    const std::string_view body(bytes.data() + start, header.length - start);
    Check(whole.str(), lines, margin, Content(body, margin));

    bool fails = false;
    const std::string frames = Frames(bytes, margin, fails);
    std::ostringstream byFrames;
    FUZZ_CHECK(zynfuzz::EndsIn<ZynStream::ExcContentError>(
                   [&] { stream->StreamKeywordDelimited2(byFrames, indent); }) == fails);
    Check(byFrames.str(), lines, margin, frames);
    FUZZ_CHECK(stream->CurrentPosition() == header.size);
    return 0;
}
