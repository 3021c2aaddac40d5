#include "lines.h"

#include <algorithm>

#include "output_text.h"

namespace {

constexpr std::size_t OffsetWidth = 8;
constexpr std::size_t HexColumn = 40; // behind the offset
constexpr std::size_t HexSize = 16;

constexpr std::string_view FaintColor = "\x1b[2m";
constexpr std::string_view NoColor = "\x1b[0m";

std::string_view ColorOf(Lines::Look look) {
    switch (look) {
    case Lines::Look::Head:
        return "\x1b[36m"; // cyan
    case Lines::Look::Text:
        return "\x1b[32m"; // green
    case Lines::Look::Faint:
        return FaintColor;
    case Lines::Look::Fault:
        return "\x1b[31m"; // red
    case Lines::Look::Plain:
        break;
    }
    return "";
}

std::size_t Columns(std::string_view text) {
    std::size_t columns = 0;
    for (; !text.empty(); ++columns)
        text.remove_prefix(std::max<std::size_t>(PrintableLength(text), 1));
    return columns;
}

} // namespace

void Lines::Begin(std::size_t at) {
    const std::string offset = std::to_string(_form.base + at);
    _line.clear();
    if (_form.colors)
        _line += FaintColor;
    _line.append(OffsetWidth - std::min(offset.size(), OffsetWidth), ' ') += offset;
    if (_form.colors)
        _line += NoColor;
    _line += "  ";
}

void Lines::End() {
    _line += '\n';
    WriteOut(_line);
}

void Lines::Print(std::size_t at, std::size_t depth, std::string_view text, Look look,
                  std::string_view bytes) {
    const std::string_view color = _form.colors ? ColorOf(look) : "";
    Begin(at);
    _line.append(2 * depth, ' ');
    _line += color;
    _line += text;
    if (!color.empty())
        _line += NoColor;
    if (_form.hex && !bytes.empty())
        PrintHex(at, 2 * depth + Columns(text), bytes);
    else
        End();
}

void Lines::PrintHex(std::size_t at, std::size_t column, std::string_view bytes) {
    // A wide text has its bytes below it.
    if (column > HexColumn) {
        End();
        Begin(at);
        column = 0;
    }
    for (;;) {
        const std::string_view row = bytes.substr(0, HexSize);
        _line.append(HexColumn - column, ' ') += " |";
        for (const char byte : row) {
            _line += ' ';
            AppendHex(_line, byte);
        }
        _line.append(3 * (HexSize - row.size()) + 2, ' ');
        for (const char byte : row)
            _line += byte >= ' ' && byte < 0x7F ? byte : '.';
        End();
        if (row.size() == bytes.size())
            return;
        bytes.remove_prefix(row.size());
        Begin(at += row.size());
        column = 0;
    }
}
