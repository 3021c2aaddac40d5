#include "print.h"

#include <cwchar>
#include <cwctype>

namespace {

constexpr std::size_t MaxPrintable = 200;
constexpr std::size_t LabelWidth = 12;

// Bytes of the printable character that `text` begins with; 0 if it does not begin with one.
std::size_t PrintableLength(std::string_view text) {
    std::mbstate_t state{};
    wchar_t wide = 0;
    const std::size_t n = std::mbrtowc(&wide, text.data(), text.size(), &state);
    const bool isCharacter = n <= text.size();
    return isCharacter && std::iswprint(static_cast<std::wint_t>(wide)) != 0 ? n : 0;
}

std::string Escaped(char byte) {
    return std::string("\\x") + ZynBinary(&byte, 1).AsHexString().Data();
}

} // namespace

std::string Printable(const ZynString& text) {
    if (text.IsNull())
        return "none";
    std::string printable;
    std::string_view rest(text.C_str());
    while (!rest.empty()) {
        if (printable.size() >= MaxPrintable)
            return printable + "...";
        const std::size_t n = PrintableLength(rest);
        printable += n != 0 ? std::string(rest.substr(0, n)) : Escaped(rest.front());
        rest.remove_prefix(n != 0 ? n : 1);
    }
    return printable;
}

std::string Line(std::string_view label, std::string_view value) {
    std::string line = "  " + std::string(label);
    line.resize(2 + LabelWidth, ' ');
    return line.append(value) + '\n';
}
