#include "values.h"

#include <algorithm>

#include "header.h"

namespace {

// A number in front of a longer run that ends where the parameter does is hardly a coincidence.
constexpr std::size_t LeastBytes = 8;
// So many bytes of a text are looked at, and one in so many may be a control character.
constexpr std::size_t Sample = 64;
constexpr std::size_t ControlShare = 4;

} // namespace

std::size_t Values::NextNul(std::size_t at) {
    if (at < _sought || at > _nul || _nul == 0) {
        _sought = at;
        _nul = std::min(_bytes.find('\0', at), _bytes.size());
    }
    return _nul;
}

// Reads as one in any code page with single and multiple bytes: the letters of all of them stand
// behind the control characters.
bool Values::IsText(std::size_t at, std::size_t size) {
    if (size > MaxText || NextNul(at) < at + size)
        return false;
    const std::string_view sample = _bytes.substr(at, std::min(size, Sample));
    const auto controls = static_cast<std::size_t>(std::ranges::count_if(sample, [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' && c != '\r';
    }));
    return controls * ControlShare <= sample.size();
}

Value Values::At(std::size_t at, std::size_t end) {
    const std::size_t left = end - at;
    if (left < WordSize)
        return {Value::Kind::Bytes, at, end, _bytes.substr(at, left)};
    if (const Stream stream = StreamAt(_bytes, at, end); stream.HasEnd())
        return {Value::Kind::Stream, at, stream.end, {}};

    const std::size_t content = at + WordSize;
    const std::size_t size = WordAt(_bytes, at);
    if (size > 0 && size <= left - WordSize) {
        // What is missing of the padding at the end can be borne.
        const std::size_t padding =
            std::min((WordSize - size % WordSize) % WordSize, left - WordSize - size);
        const std::size_t behind = content + size + padding;
        const std::string_view zeros = _bytes.substr(content + size, padding);
        const bool isPadded = zeros.find_first_not_of('\0') == std::string_view::npos;
        if (isPadded && IsText(content, size))
            return {Value::Kind::Text, at, behind, _bytes.substr(content, size)};
        if (isPadded && size >= LeastBytes && behind == end)
            return {Value::Kind::Bytes, at, behind, _bytes.substr(content, size)};
    }
    return {Value::Kind::Number, at, content, {}};
}
