#include "decoder.h"

#include <algorithm>
#include <cstring>

#include "entries.h"
#include "head.h"
#include "tool.h"
#include "zynktrcb_walk.h"

namespace {

using namespace std::string_view_literals;

constexpr std::string_view AreaStart = "\0\0\0\x1C\xFF\xFF\xFF\xFF"sv;
constexpr std::string_view Padding = "\0\0\0\0\0\0\0\0"sv;
constexpr std::size_t StartZeros = 3; // of an area, so padding leaves them to be looked at
constexpr std::size_t MaxLine = 1UL << 20U;
constexpr std::size_t MaxRecord = 1UL << 22U; // no buffer is larger

// Where a line stops to be text; npos if it is text throughout. Texts of traces have no zeros.
std::size_t FindBinary(std::string_view line) {
    constexpr std::string_view Zeros = AreaStart.substr(0, StartZeros);
    for (auto at = line.find(Zeros); at != std::string_view::npos; at = line.find(Zeros, at + 1)) {
        const std::string_view here = line.substr(at);
        if (here.starts_with(AreaStart) || here.starts_with(Padding))
            return at;
    }
    return std::string_view::npos;
}

// Whether a record, at which a walk has ended, is one whose rest is still to come.
bool MayGoOn(std::string_view rest) {
    if (rest.size() <= zynktrcb::FrameLength + zynktrcb::EpilogLength)
        return true;
    const std::uint32_t length = zynkxdr::LoadWord(rest.data());
    const std::uint32_t type = zynkxdr::LoadWord(rest.data() + zynkxdr::WordSize);
    return (type == zynktrcb::LineType || type == zynktrcb::OtherLineType) &&
           length > rest.size() && length <= MaxRecord;
}

} // namespace

void Decoder::Feed(std::string_view bytes) {
    _held += bytes;
    Run();
}

void Decoder::End() {
    _isLast = true;
    Run();
    _held.clear();
    _at = 0;
    _offset = 0;
    _state = State::Start;
    _isLast = false;
}

void Decoder::Run() {
    while (Step()) {
    }
    if (_at >= _held.size() / 2) {
        _held.erase(0, _at);
        _offset += _at;
        _at = 0;
    }
}

// Whether it can be asked again: false tells that more bytes are needed.
bool Decoder::Step() {
    switch (_state) {
    case State::Start:
        return ReadStart();
    case State::Text:
        return ReadText();
    case State::Between:
        return ReadBetween();
    case State::Area:
        return ReadArea();
    case State::Damage:
        return ReadDamage();
    }
    return false;
}

void Decoder::GoOn(std::size_t bytes, State state) {
    _at += bytes;
    _state = state;
}

bool Decoder::ReadStart() {
    const std::string_view start = Rest().substr(0, StartZeros);
    if (start.size() < StartZeros && !_isLast)
        return false;
    // An area whose first byte is damaged is none to be found, but it is no text either.
    const auto zeros = std::ranges::count(start, '\0');
    GoOn(0, zeros < 2 ? State::Text : State::Between);
    return true;
}

bool Decoder::ReadText() {
    const std::string_view rest = Rest();
    const std::string_view line = rest.substr(0, rest.find('\n'));
    const std::size_t binary = FindBinary(line);
    if (binary != std::string_view::npos) {
        if (binary > 0)
            Line(line.substr(0, binary), true);
        GoOn(binary, State::Between);
        return true;
    }
    const bool hasEnd = line.size() < rest.size();
    if (hasEnd || (_isLast && !line.empty())) {
        Line(line, true);
        GoOn(line.size() + (hasEnd ? 1 : 0), State::Text);
        return true;
    }
    if (line.size() > MaxLine) {
        // What may be the start of an area stays.
        const std::size_t length = line.size() - AreaStart.size();
        Line(line.substr(0, length), false);
        GoOn(length, State::Text);
    }
    return false;
}

void Decoder::Line(std::string_view piece, bool closes) {
    _entries.Line(piece, !_isInLine, closes);
    _isInLine = !closes;
}

bool Decoder::ReadBetween() {
    const std::string_view rest = Rest();
    const std::size_t zeros = std::min(rest.find_first_not_of('\0'), rest.size());
    const std::size_t start = zeros - std::min(zeros, StartZeros);
    if (zeros == rest.size()) {
        _at += _isLast ? zeros : start;
        _isPadded = _isPadded || start > 0;
        return false;
    }
    static_assert(StartLength + StartZeros >= zynktrcb::HeaderLength);
    if (rest.size() < start + StartZeros + StartLength && !_isLast)
        return false;
    if (rest.substr(start).starts_with(AreaStart) &&
        rest.size() >= start + zynktrcb::HeaderLength) {
        GoOn(start, State::Area);
    } else if (StartsEntry(rest.substr(zeros))) {
        GoOn(zeros, State::Text);
    } else {
        // A few zeros are the start of a length.
        const std::size_t padding = start > 0 || _isPadded ? zeros : 0;
        _damage = _offset + _at + padding;
        GoOn(padding + 1, State::Damage);
    }
    _isPadded = false;
    return true;
}

// A walk needs a header in front of the records. So that it can be taken up where the bytes ended,
// the header is moved there, over records that are done with.
bool Decoder::ReadArea() {
    const std::string_view rest = Rest();
    zynktrcb::AreaWalk walk(rest.data(), rest.size());
    while (const auto line = walk.Next())
        _entries.Record(*line);
    const auto done = static_cast<std::size_t>(walk.At() - rest.data());
    if (_isLast || !MayGoOn(rest.substr(done))) {
        GoOn(done, State::Between);
        return true;
    }
    char* const header = _held.data() + _at;
    _at += done - zynktrcb::HeaderLength;
    std::memmove(_held.data() + _at, header, zynktrcb::HeaderLength);
    return false;
}

bool Decoder::ReadDamage() {
    const std::string_view rest = Rest();
    constexpr std::string_view Starts = "\0\n"sv;
    for (auto at = rest.find_first_of(Starts); at != std::string_view::npos;
         at = rest.find_first_of(Starts, at + 1)) {
        const std::string_view here = rest.substr(at);
        const bool isArea = here.starts_with(AreaStart);
        if (isArea || (here.front() == '\n' && StartsEntry(here.substr(1)))) {
            GoOn(isArea ? at : at + 1, isArea ? State::Between : State::Text);
            TellSkipped();
            return true;
        }
        if (here.size() <= StartLength && !_isLast) {
            _at += at;
            return false;
        }
    }
    _at = _held.size();
    if (_isLast) {
        TellSkipped();
        _state = State::Between;
    }
    return false;
}

void Decoder::TellSkipped() const {
    const std::uint64_t end = _offset + _at;
    Warn(_name + ": skipped " + std::to_string(end - _damage) + " damaged bytes at offset " +
         std::to_string(_damage));
}
