#include "check.h"

#include <algorithm>
#include <vector>

#include "tool.h"

namespace {

constexpr std::size_t MostTold = 20;

void CheckHeader(const Stream& stream, Report& report) {
    const std::size_t held = stream.held - stream.at;
    const std::size_t size = stream.HeaderSize();
    const std::string bytes = std::to_string(held) + " bytes";
    if (!stream.isComplete) {
        report.Fault(stream.held, "the header ends after " + bytes + " of " + std::to_string(size));
        return;
    }
    if (!stream.hasMagic)
        report.Fault(stream.HeaderAt() + WordSize,
                     stream.isMessage ? "the magic of a message is missing" : "there is no magic");
    const std::size_t lengthAt = stream.HeaderAt() + 3 * WordSize;
    const std::string length = "the length of the stream, " + std::to_string(*stream.length);
    if (*stream.length < size)
        report.Fault(lengthAt, length + ", is less than its header");
    else if (*stream.length > held)
        report.Fault(lengthAt, length + ", is more than the " + bytes + " at hand");
    if (*stream.length % WordSize != 0)
        report.Fault(lengthAt, length + ", is no multiple of 4");
}

void CheckFrame(const Frame& frame, Report& report) {
    const std::string head = "parameter " + std::to_string(frame.id);
    const std::string length = head + ": its length, " + std::to_string(frame.length);
    switch (frame.fault) {
    case Frame::Fault::None:
        break;
    case Frame::Fault::Unaligned:
        report.Fault(frame.at, length + ", is no multiple of 4");
        break;
    case Frame::Fault::TooLong:
        report.Fault(frame.at, length + ", is more than the " +
                                   std::to_string(frame.end - frame.at) + " bytes up to the end");
        break;
    case Frame::Fault::TooShort:
        report.Fault(frame.at, length + ", is less than its head");
        break;
    case Frame::Fault::Cut:
        report.Fault(frame.at, std::to_string(frame.end - frame.at) +
                                   " bytes are too few for the head of a parameter");
        break;
    }
}

// An index can't be made of a stream with two parameters of one id.
void TellDuplicates(std::size_t at, std::vector<std::uint32_t>& ids, Report& report) {
    std::ranges::sort(ids);
    for (auto id = ids.begin(); id != ids.end();) {
        const auto next = std::upper_bound(id, ids.end(), *id);
        if (next - id > 1)
            report.Note(at, "parameter " + std::to_string(*id) + " is there " +
                                std::to_string(next - id) + " times");
        id = next;
    }
}

void CheckParameters(std::string_view bytes, const Stream& stream, Report& report) {
    std::vector<std::uint32_t> ids;
    std::size_t erased = 0;
    std::size_t erasedBytes = 0;
    for (std::size_t at = stream.begin; at < stream.end;) {
        const Frame frame = FrameAt(bytes, at, stream.end);
        CheckFrame(frame, report);
        if (!frame.HasEnd())
            break;
        at = frame.end;
        if (frame.id != 0) {
            ids.push_back(frame.id);
        } else {
            ++erased;
            erasedBytes += frame.length;
        }
    }
    if (erased > 0)
        report.Note(stream.at, "erased parameters: " + std::to_string(erased) + ", of " +
                                   std::to_string(erasedBytes) + " bytes");
    TellDuplicates(stream.at, ids, report);
}

} // namespace

void Report::Tell(std::size_t at, const std::string& text) {
    if (++_told <= MostTold)
        Warn(_name + ": offset " + std::to_string(_base + at) + ": " + text);
}

void Report::Fault(std::size_t at, const std::string& text) {
    ++_faults;
    Tell(at, text);
}

void Report::Note(std::size_t at, const std::string& text) {
    if (_notes)
        Tell(at, "note: " + text);
}

bool Report::End() const {
    if (_told > MostTold)
        Warn(_name + ": and " + std::to_string(_told - MostTold) + " more");
    return _faults == 0;
}

void Check(std::string_view bytes, const Stream& stream, bool values, Report& report) {
    CheckHeader(stream, report);
    // What stands behind a header that is none can't be told.
    if (stream.isComplete && stream.hasMagic && !values)
        CheckParameters(bytes, stream, report);
}
