#include "quoted.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

#include "output_text.h"
#include "tool.h"

namespace {

constexpr std::size_t LongestConfigName = 8;

bool IsAsciiAlnum(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool IsWordByte(char c) {
    return IsAsciiAlnum(c) || c == '_' || c == '-' || c == '.';
}

bool IsAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

std::string Quoted(std::string_view bytes, bool isKey) {
    std::string quoted = "\"";
    while (!bytes.empty()) {
        const char c = bytes.front();
        std::size_t n = PrintableLength(bytes);
        if (c == '"' || (c == '\\' && !isKey)) {
            quoted += {'\\', c};
        } else if (c == '\n' || c == '\t') {
            quoted += c == '\n' ? "\\n" : "\\t";
            n = 1;
        } else if (n == 0 || c == '\\' ||
                   (n > 1 && std::ranges::any_of(bytes.substr(0, n), IsAscii))) {
            quoted += "\\x";
            AppendHex(quoted, c);
            n = 1;
        } else {
            quoted += bytes.substr(0, n);
        }
        bytes.remove_prefix(n);
    }
    return quoted + '"';
}

} // namespace

std::string AsciiUpper(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}

bool IsAsciiText(std::string_view text) {
    return std::ranges::all_of(text, IsAscii);
}

std::string Quoted(std::string_view bytes) {
    return Quoted(bytes, false);
}

std::string QuotedKey(std::string_view bytes) {
    return Quoted(bytes, true);
}

std::string NameText(std::string_view bytes) {
    return !bytes.empty() && std::ranges::all_of(bytes, IsWordByte) ? std::string(bytes)
                                                                    : Quoted(bytes);
}

bool IsConfigName(std::string_view name) {
    return !name.empty() && name.size() <= LongestConfigName &&
           std::ranges::all_of(name, IsAsciiAlnum);
}

std::string ConfigName(std::string_view name) {
    return IsConfigName(name) ? AsciiUpper(std::string(name)) : std::string(name);
}

void Line::SkipBlanks() {
    _rest.remove_prefix(std::min(_rest.find_first_not_of(" \t"), _rest.size()));
}

bool Line::IsEnd() {
    SkipBlanks();
    return _rest.empty() || _rest.front() == '#';
}

// The word alone is told: behind it may be a password.
void Line::End() {
    if (IsEnd())
        return;
    const auto* const end = std::ranges::find_if_not(_rest, IsWordByte);
    const auto length = static_cast<std::size_t>(std::max<std::ptrdiff_t>(end - _rest.begin(), 1));
    throw Fault("what is " + Quoted(_rest.substr(0, length)) + "?");
}

bool Line::IsQuoted() {
    SkipBlanks();
    return _rest.starts_with('"');
}

bool Line::Take(char c) {
    SkipBlanks();
    if (!_rest.starts_with(c))
        return false;
    _rest.remove_prefix(1);
    return true;
}

std::string Line::Word(const char* wanted) {
    SkipBlanks();
    const auto* const end = std::ranges::find_if_not(_rest, IsWordByte);
    std::string word(_rest.begin(), end);
    if (word.empty())
        throw Fault(std::string(wanted) + " is missing");
    _rest.remove_prefix(word.size());
    return word;
}

char Line::Escaped() {
    const char c = _rest.empty() ? '\0' : _rest.front();
    if (c == 'x') {
        const auto byte = Number<unsigned char>(_rest.substr(1, 2), 16);
        if (!byte || _rest.size() < 3)
            throw Fault("\\x is followed by two hexadecimal digits");
        _rest.remove_prefix(3);
        return static_cast<char>(*byte);
    }
    _rest.remove_prefix(_rest.empty() ? 0 : 1);
    if (c == '"' || c == '\\')
        return c;
    if (c == 'n' || c == 't')
        return c == 'n' ? '\n' : '\t';
    throw Fault(R"(a backslash is followed by one of "\nt or x)");
}

std::string Line::QuotedText(bool takesBackslash) {
    if (!Take('"'))
        throw Fault("a text in quotes is missing");
    std::string text;
    while (!_rest.empty()) {
        const char c = _rest.front();
        _rest.remove_prefix(1);
        if (c == '"')
            return text;
        if (c == '\\' && !takesBackslash && _rest.starts_with('\\'))
            throw Fault("the name of a key holds no backslash");
        text += c == '\\' ? Escaped() : c;
    }
    throw Fault("the text has no closing quote");
}

std::string Line::KeyName(const char* wanted) {
    std::string name = IsQuoted() ? QuotedText(false) : Word(wanted);
    if (name.empty())
        throw Fault(std::string(wanted) + " is empty");
    return name;
}
