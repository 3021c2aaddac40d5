#include "text.h"

#include <map>
#include <vector>

#include "output_text.h"
#include "zynkconv.h"

namespace {

// Kept, those that can't be had as well: a hostile input has a text in every 8 bytes.
const std::optional<ZynConverter>& ConverterFrom(std::uint16_t ccsid, std::uint16_t locale) {
    static std::map<std::uint16_t, std::optional<ZynConverter>> converters;
    const auto [at, isNew] = converters.try_emplace(ccsid);
    if (isNew) {
        try {
            at->second.emplace(ccsid, locale);
        } catch (const ZynIntException&) {
            at->second.reset();
        }
    }
    return at->second;
}

} // namespace

std::optional<std::string> ToLocale(std::string_view bytes, std::uint16_t ccsid) {
    // An upper bound for what a character takes, and for changes of the shift state.
    constexpr std::size_t MostGrowth = 8;
    constexpr std::size_t MostShifts = 64;
    static const std::uint16_t locale = ZynConverter::GetCurrentOSCodePage();
    if (ccsid == 0 || ccsid == locale)
        return std::string(bytes);
    const auto& converter = ConverterFrom(ccsid, locale);
    if (!converter)
        return std::nullopt;
    try {
        std::string text(MostGrowth * bytes.size() + MostShifts, '\0');
        text.resize(converter->Convert(bytes.data(), bytes.size(), text.data(), text.size(), true));
        return text;
    } catch (const ZynIntException&) {
        return std::nullopt;
    }
}

std::string Quoted(std::string_view bytes, std::uint16_t ccsid) {
    const auto converted = ToLocale(bytes, ccsid);
    const std::string_view text = converted ? std::string_view(*converted) : bytes;
    std::string quoted = "\"";
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        const std::size_t printable =
            c == '\t' || (!converted && static_cast<unsigned char>(c) >= 0x80)
                ? 0
                : PrintableLength(text.substr(at));
        if (c == '"' || c == '\\')
            quoted += '\\';
        if (printable == 0) {
            quoted += "\\x";
            AppendHex(quoted, c);
        }
        quoted += text.substr(at, printable);
        at += printable == 0 ? 1 : printable;
    }
    return quoted + '"';
}
