// Texts as the runtime library alone reads them, in the locale of the process.
#pragma once

#include <cwchar>
#include <optional>
#include <string>

namespace zynfuzz {

/// The characters of a text; none if it is not valid, or has one beyond what Unicode can have.
inline std::optional<std::u32string> Characters(const std::string& text) {
    constexpr wchar_t Last = 0x10FFFF;
    std::mbstate_t state{};
    std::u32string characters;
    for (std::size_t at = 0; at < text.size();) {
        wchar_t wide = 0;
        const std::size_t bytes = std::mbrtowc(&wide, text.data() + at, text.size() - at, &state);
        if (bytes > text.size() - at || bytes == 0 || wide > Last)
            return std::nullopt;
        characters += static_cast<char32_t>(wide);
        at += bytes;
    }
    return characters;
}

/// The reverse; none if a character is not in the locale's encoding.
inline std::optional<std::string> TextOf(const std::u32string& characters) {
    std::mbstate_t state{};
    std::string text;
    for (const char32_t wide : characters) {
        char bytes[16];
        const std::size_t n = std::wcrtomb(bytes, static_cast<wchar_t>(wide), &state);
        if (n > sizeof bytes)
            return std::nullopt;
        text.append(bytes, n);
    }
    return text;
}

/// The 16-bit units of characters.
inline std::u16string Units(const std::u32string& characters) {
    std::u16string units;
    for (const char32_t wide : characters)
        if (wide < 0x10000)
            units += static_cast<char16_t>(wide);
        else {
            units += static_cast<char16_t>(0xD7C0 + (wide >> 10U));
            units += static_cast<char16_t>(0xDC00 + (wide & 0x3FFU));
        }
    return units;
}

} // namespace zynfuzz
