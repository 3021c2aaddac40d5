#include "output_text.h"

#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <stdexcept>
#include <system_error>

namespace {

// No input is at fault, so this ends the program.
[[noreturn]] void Fail() {
    throw std::runtime_error("standard output: " + std::generic_category().message(errno));
}

} // namespace

void WriteOut(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        Fail();
}

void FlushOut() {
    if (std::fflush(stdout) != 0)
        Fail();
}

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

void AppendHex(std::string& to, char byte) {
    constexpr std::string_view Digits = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    to += Digits[value >> 4U];
    to += Digits[value & 0xFU];
}

void AppendEscaped(std::string& to, std::string_view text) {
    while (!text.empty()) {
        const std::size_t printable = PrintableLength(text);
        if (printable == 0) {
            to += "\\x";
            AppendHex(to, text.front());
        } else {
            to += text.substr(0, printable);
        }
        text.remove_prefix(printable == 0 ? 1 : printable);
    }
}
