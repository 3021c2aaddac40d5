#include "output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <stdexcept>
#include <system_error>

namespace {

constexpr std::string_view NoColor = "\x1b[0m";

std::string_view ColorOf(const Entry& entry) {
    if (entry.kind == Entry::Kind::Report)
        return "\x1b[1;31m"; // bold red
    if (entry.kind == Entry::Kind::Unparsed)
        return "";
    if (entry.head.category == "Er")
        return "\x1b[31m"; // red
    if (entry.head.category == "SC")
        return "\x1b[33m"; // yellow
    if (entry.head.category == "Ct")
        return "\x1b[36m"; // cyan
    if (entry.head.category == "Fl")
        return "\x1b[2m"; // faint
    return "";
}

// Bytes of the printable character that the text begins with; 0 if it begins with none.
std::size_t PrintableLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80)
        return (first >= ' ' && first != 0x7F) || first == '\t' ? 1 : 0;
    wchar_t character = 0;
    std::mbstate_t state = {};
    const std::size_t bytes = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (bytes > text.size() || std::iswprint(static_cast<std::wint_t>(character)) == 0)
        return 0;
    return bytes;
}

// No input is at fault, so this ends the program.
[[noreturn]] void Fail() {
    throw std::runtime_error("standard output: " + std::generic_category().message(errno));
}

void Write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        Fail();
}

} // namespace

void Output::Flush() {
    if (std::fflush(stdout) != 0)
        Fail();
}

void Output::Escape(std::string_view line) {
    constexpr std::string_view Digits = "0123456789ABCDEF";
    while (!line.empty()) {
        const std::size_t printable = PrintableLength(line);
        if (printable == 0) {
            const auto byte = static_cast<unsigned char>(line.front());
            _line += "\\x";
            _line += Digits[byte >> 4U];
            _line += Digits[byte & 0xFU];
        } else {
            _line += line.substr(0, printable);
        }
        line.remove_prefix(printable == 0 ? 1 : printable);
    }
}

void Output::Print(std::string_view text) {
    if (!_escapes) {
        Write(text);
        return;
    }
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        _line.clear();
        Escape(line);
        if (line.size() < text.size())
            _line += '\n';
        Write(_line);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}

void Output::Print(const Entry& entry, std::size_t indent) {
    std::string_view text = entry.text;
    const std::string_view color = _colors ? ColorOf(entry) : "";
    // The head and what is put behind it come first.
    if (indent > 0) {
        const std::string_view head = text.substr(0, entry.head.length);
        Write(color);
        Print(head);
        Write(std::string(indent, ' '));
        text.remove_prefix(head.size());
    }
    if (color.empty()) {
        Print(text);
        return;
    }
    // Each line is painted by itself: a pager forgets colours at the end of a line.
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        Write(color);
        Print(line);
        Write(NoColor);
        Print(text.substr(line.size(), 1));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}
