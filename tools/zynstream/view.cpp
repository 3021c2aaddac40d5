#include "view.h"

#include "fields.h"
#include "output_text.h"
#include "text.h"

namespace {

// What is nested more deeply is shown as bytes. So many levels are not written, but may be found in
// bytes that mean something else.
constexpr std::size_t MaxDepth = 64;
constexpr std::size_t MaxBytes = 32; // of a value, if there is no dump of it
constexpr std::uint32_t MaxPlainNumber = 0xFFFF;

std::string BytesCount(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string NumberText(std::uint32_t word) {
    std::string text = std::to_string(static_cast<std::int32_t>(word));
    if (word <= MaxPlainNumber)
        return text;
    // A large one may be flags, or no number at all.
    text += " 0x";
    for (unsigned shift = 32; shift > 0; shift -= 8)
        AppendHex(text, static_cast<char>(word >> (shift - 8)));
    return text;
}

} // namespace

View::Place View::Inside(const Stream& stream, std::size_t depth) const {
    return {depth, _form.ccsid.value_or(stream.ccsid.value_or(0))};
}

bool View::Show(const Stream& stream) {
    if (!_form.id)
        ShowHeader(stream, 0);
    const Place place = Inside(stream, _form.id ? 0 : 1);
    bool isShown = !_form.id;
    if (_form.values)
        ShowValues(stream.begin, stream.end, place);
    else
        isShown = ShowParameters(stream, place) || isShown;
    return isShown;
}

void View::ShowHeader(const Stream& stream, std::size_t depth) {
    std::string text = stream.isMessage ? "message, " : "plain stream, ";
    text += stream.length ? BytesCount(*stream.length) : "cut off";
    _lines.Print(stream.at, depth, text, stream.hasMagic ? Lines::Look::Head : Lines::Look::Fault);
    const auto print = [&](std::size_t inner) {
        return [this, inner](std::size_t at, const std::string& field, std::string_view bytes) {
            _lines.Print(at, inner, field, Lines::Look::Plain, bytes);
        };
    };
    if (stream.isMessage) {
        _lines.Print(stream.at, depth + 1, "work header", Lines::Look::Head);
        ForWorkFields(_bytes, stream, print(depth + 2));
    }
    ForHeaderFields(_bytes, stream, print(depth + 1));
}

// Whether any was shown.
bool View::ShowParameters(const Stream& stream, Place place) {
    bool isShown = false;
    for (std::size_t at = stream.begin; at < stream.end;) {
        const Frame frame = FrameAt(_bytes, at, stream.end);
        const bool isFrame = frame.HasEnd() || frame.fault == Frame::Fault::TooLong;
        if (isFrame && (!_form.id || *_form.id == frame.id)) {
            ShowFrame(frame, place);
            isShown = true;
        } else if (!isFrame && !_form.id) {
            _lines.Print(at, place.depth, "no parameter", Lines::Look::Fault);
            ShowBytes(at, stream.end, _bytes.substr(at, stream.end - at), place.depth + 1);
        }
        at = isFrame ? frame.end : stream.end;
    }
    return isShown;
}

void View::ShowFrame(const Frame& frame, Place place) {
    const std::string length = ", " + BytesCount(frame.length);
    const bool isErased = frame.id == 0;
    const std::string name = isErased ? "erased" : "parameter " + std::to_string(frame.id);
    if (!frame.HasEnd())
        _lines.Print(frame.at, place.depth,
                     name + length + " of which " + std::to_string(frame.end - frame.at) +
                         " are there",
                     Lines::Look::Fault);
    else
        _lines.Print(frame.at, place.depth, name + length,
                     isErased ? Lines::Look::Faint : Lines::Look::Head);
    ++place.depth;
    const std::size_t at = frame.Payload();
    if (isErased && at < frame.end)
        ShowBytes(at, frame.end, _bytes.substr(at, frame.end - at), place.depth);
    else
        ShowContent(at, frame.end, place);
}

void View::ShowContent(std::size_t at, std::size_t end, Place place) {
    if (!AreFrames(_bytes, at, end)) {
        ShowValues(at, end, place);
        return;
    }
    if (place.depth >= MaxDepth) {
        _lines.Print(at, place.depth, "nested too deeply to be looked into", Lines::Look::Faint);
        ShowBytes(at, end, _bytes.substr(at, end - at), place.depth);
        return;
    }
    while (at < end) {
        const Frame frame = FrameAt(_bytes, at, end);
        ShowFrame(frame, place);
        at = frame.end;
    }
}

void View::ShowValues(std::size_t at, std::size_t end, Place place) {
    while (at < end) {
        const Value value = _values.At(at, end);
        ShowValue(value, place);
        at = value.end;
    }
}

void View::ShowValue(const Value& value, Place place) {
    const std::string_view all = _bytes.substr(value.at, value.end - value.at);
    switch (value.kind) {
    case Value::Kind::Number:
        _lines.Print(value.at, place.depth, NumberText(WordAt(_bytes, value.at)),
                     Lines::Look::Plain, all);
        return;
    case Value::Kind::Text:
        _lines.Print(value.at, place.depth, Quoted(value.content, place.ccsid), Lines::Look::Text,
                     all);
        return;
    case Value::Kind::Stream:
        if (place.depth < MaxDepth) {
            const Stream stream = StreamAt(_bytes, value.at, value.end);
            ShowHeader(stream, place.depth);
            ShowContent(stream.begin, stream.end, Inside(stream, place.depth + 1));
            return;
        }
        _lines.Print(value.at, place.depth, "nested too deeply to be looked into",
                     Lines::Look::Faint);
        ShowBytes(value.at, value.end, all, place.depth);
        return;
    case Value::Kind::Bytes:
        ShowBytes(value.at, value.end, value.content, place.depth);
        return;
    }
}

void View::ShowBytes(std::size_t at, std::size_t end, std::string_view content, std::size_t depth) {
    std::string text = BytesCount(content.size());
    if (!_lines.IsHex()) {
        text += ':';
        for (const char byte : content.substr(0, MaxBytes)) {
            text += ' ';
            AppendHex(text, byte);
        }
        if (content.size() > MaxBytes)
            text += " ...";
    }
    _lines.Print(at, depth, text, Lines::Look::Plain, _bytes.substr(at, end - at));
}
