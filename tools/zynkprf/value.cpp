#include "value.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "tool.h"
#include "zynkprf.h"
#include "zynkxcp.h"

namespace {

constexpr char End = '\0'; // behind each text of a list, and behind the list

constexpr const char* PasswordMark = "PASSWORD";

// By bytes, as some locale may see it.
bool HasMark(const std::string& name) {
    return AsciiUpper(name).find(PasswordMark) != std::string::npos;
}

template <class T>
T ReadNumber(Line& line) {
    const std::string digits = line.Word("the number");
    const auto number = Number<T>(digits);
    if (!number)
        throw Fault(digits + " is no number from " + std::to_string(std::numeric_limits<T>::min()) +
                    " to " + std::to_string(std::numeric_limits<T>::max()));
    return *number;
}

Value ReadList(Line& line) {
    std::vector<std::string> texts;
    while (line.IsQuoted()) {
        texts.push_back(line.QuotedText());
        if (texts.back().find(End) != std::string::npos)
            throw Fault("the text of a list holds no \\x00");
    }
    return ListValue(texts);
}

Value ReadKind(Line& line, bool isPassword) {
    const std::string kind = line.Word("the value");
    if (isPassword && (kind == "number" || kind == "list"))
        throw Fault("a password is a text");
    if (kind == "number")
        return NumberValue(ReadNumber<std::int32_t>(line));
    if (kind == "list")
        return ReadList(line);
    if (kind == "scrambled")
        return {zynkreg::Text, line.QuotedText()};
    if (kind != "type")
        throw Fault(kind + " is none of number, list, type and scrambled");
    const unsigned long type = ReadNumber<std::uint32_t>(line);
    return {type, line.QuotedText()};
}

std::string TypeText(const Value& value) {
    return "type " + std::to_string(value.type) + " " + Quoted(value.bytes);
}

} // namespace

// A name that is no text in this locale is one in another's, where programs find it.
bool IsPassword(const std::string& name) {
    try {
        return ZynProfile::IsEncoded(ToString(name));
    } catch (const ZynOSException&) {
        return HasMark(name);
    }
}

// In some code pages the byte in front may be the lead of a character that takes the "p".
bool IsPasswordEverywhere(const std::string& name) {
    const std::string upper = AsciiUpper(name);
    for (std::size_t at = 0; (at = upper.find(PasswordMark, at)) != std::string::npos; ++at)
        if (at == 0 || IsAsciiText(upper.substr(at - 1, 1)))
            return true;
    return false;
}

Value PasswordValue(const std::string& clear) {
    return {zynkreg::Text, ToBytes(ZynProfileImpl::Scramble(ToString(clear)))};
}

std::optional<std::string> ClearPassword(const Value& value) {
    if (value.type == zynkreg::Number || value.type == zynkreg::List)
        return std::nullopt;
    const ZynString clear = ZynProfileImpl::Unscramble(ToString(value.bytes));
    return clear.IsNull() ? std::nullopt : std::optional(ToBytes(clear));
}

std::optional<std::int32_t> NumberOf(const Value& value) {
    std::int32_t number = 0;
    if (value.type != zynkreg::Number || value.bytes.size() != sizeof number)
        return std::nullopt;
    std::memcpy(&number, value.bytes.data(), sizeof number);
    return number;
}

Value NumberValue(std::int32_t number) {
    return {zynkreg::Number, std::string(reinterpret_cast<const char*>(&number), sizeof number)};
}

std::optional<std::vector<std::string>> TextsOf(const Value& value) {
    const std::string_view bytes = value.bytes;
    if (value.type != zynkreg::List || !bytes.ends_with(End) ||
        (bytes.size() > 1 && bytes[bytes.size() - 2] != End))
        return std::nullopt;
    std::vector<std::string> texts;
    for (std::size_t at = 0; at + 1 < bytes.size();) {
        const std::size_t end = bytes.find(End, at);
        texts.emplace_back(bytes.substr(at, end - at));
        at = end + 1;
    }
    return texts;
}

Value ListValue(const std::vector<std::string>& texts) {
    Value value{zynkreg::List, {}};
    for (const std::string& text : texts)
        value.bytes += text + End;
    value.bytes += End;
    return value;
}

std::string ValueText(const std::string& name, const Value& value, Passwords passwords) {
    if (IsPassword(name)) {
        if (passwords == Passwords::Hidden)
            return "********";
        const auto clear = passwords == Passwords::Clear ? ClearPassword(value) : std::nullopt;
        if (clear && value.type == zynkreg::Text && PasswordValue(*clear).bytes == value.bytes)
            return Quoted(*clear);
        if (value.type == zynkreg::Text && HasMark(name))
            return "scrambled " + Quoted(value.bytes);
    }
    if (IsPassword(name) || HasMark(name))
        return TypeText(value);
    if (value.type == zynkreg::Text)
        return Quoted(value.bytes);
    if (const auto number = NumberOf(value))
        return "number " + std::to_string(*number);
    if (const auto texts = TextsOf(value)) {
        std::string list = "list";
        for (const std::string& text : *texts)
            list += " " + Quoted(text);
        return list;
    }
    return TypeText(value);
}

Value ReadValue(const std::string& name, Line& line) {
    const bool isPassword = IsPassword(name);
    try {
        Value value;
        if (!line.IsQuoted())
            value = ReadKind(line, isPassword);
        else if (isPassword)
            value = PasswordValue(line.QuotedText());
        else
            value.bytes = line.QuotedText();
        line.End();
        return value;
    } catch (const Fault&) {
        if (isPassword || HasMark(name)) // words of the line may be the secret
            throw Fault("a password is one text in quotes, as it is, scrambled or of a type");
        throw;
    }
}
