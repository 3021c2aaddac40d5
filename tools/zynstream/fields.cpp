#include "fields.h"

#include <bit>
#include <span>

#include "output_text.h"
#include "text.h"

namespace {

enum class Form { Text, Number, HostNumber, Ccsid, Bytes, Version };

struct Field {
    std::string_view name;
    std::size_t offset;
    std::size_t size;
    Form form;
};

constexpr Field WorkFields[] = {{"identifier", 0, 4, Form::Text},
                                {"version", 4, 4, Form::HostNumber},
                                {"length", 8, 4, Form::HostNumber},
                                {"encoding", 12, 4, Form::HostNumber},
                                {"code page", 16, 4, Form::HostNumber},
                                {"format", 20, 8, Form::Text},
                                {"flags", 28, 4, Form::HostNumber},
                                {"service", 32, 32, Form::Text},
                                {"step", 64, 8, Form::Text},
                                {"token", 72, 16, Form::Bytes},
                                {"reserved", 88, 32, Form::Text}};
constexpr Field HeaderFields[] = {{"magic", 4, 4, Form::Text},
                                  {"version", 8, 4, Form::Version},
                                  {"length", 12, 4, Form::Number},
                                  {"code page", 16, 4, Form::Ccsid}};
constexpr std::size_t NameWidth = 12;
constexpr std::size_t WorkVersion = 4;

std::uint32_t Reversed(std::uint32_t word) {
    return word >> 24U | (word >> 8U & 0xFF00U) | (word << 8U & 0xFF0000U) | word << 24U;
}

// A work header has the byte order of its writer's host. Its version, 1, tells which.
bool IsLittleEndian(std::string_view workHeader) {
    const std::uint32_t version =
        workHeader.size() < WorkVersion + WordSize ? 0 : WordAt(workHeader, WorkVersion);
    if (version == 1 || version == Reversed(1))
        return version != 1;
    return std::endian::native == std::endian::little;
}

std::string HexText(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += text.empty() ? "" : " ";
        AppendHex(text, byte);
    }
    return text;
}

std::string VersionText(std::string_view bytes) {
    std::string text;
    for (const char part : bytes.substr(0, 3))
        text += (text.empty() ? "" : ".") + std::to_string(static_cast<unsigned char>(part));
    return text;
}

std::string TextOf(Form form, std::string_view bytes, bool isLittleEndian) {
    switch (form) {
    case Form::Text:
        // Filled up with blanks, and not in the code page of the stream.
        return Quoted(bytes.substr(0, bytes.find_last_not_of(' ') + 1), 0);
    case Form::Number:
        return std::to_string(WordAt(bytes, 0));
    case Form::HostNumber:
        return std::to_string(isLittleEndian ? Reversed(WordAt(bytes, 0)) : WordAt(bytes, 0));
    case Form::Ccsid:
        return std::to_string(static_cast<std::uint16_t>(WordAt(bytes, 0)));
    case Form::Version:
        return VersionText(bytes);
    case Form::Bytes:
        break;
    }
    return HexText(bytes);
}

void ForFields(std::string_view bytes, const Stream& stream, std::size_t at,
               std::span<const Field> fields, const FieldReceiver& receive) {
    const std::string_view held = bytes.substr(0, stream.held);
    const bool isLittleEndian = IsLittleEndian(held.substr(stream.at));
    for (const Field& field : fields) {
        if (at + field.offset + field.size > held.size())
            return;
        const std::string_view value = held.substr(at + field.offset, field.size);
        std::string text(field.name);
        text.resize(NameWidth, ' ');
        receive(at + field.offset, text + TextOf(field.form, value, isLittleEndian), value);
    }
}

} // namespace

void ForWorkFields(std::string_view bytes, const Stream& stream, const FieldReceiver& receive) {
    ForFields(bytes, stream, stream.at, WorkFields, receive);
}

void ForHeaderFields(std::string_view bytes, const Stream& stream, const FieldReceiver& receive) {
    ForFields(bytes, stream, stream.HeaderAt(), HeaderFields, receive);
}
