// Forms of passwords: each step of scrambling on plain bytes, and texts that others have written.
#include <cwctype>
#include <vector>

#include "support/fuzz.h"
#include "support/plain_text.h"
#include "zynkadr.h"

namespace {

using Byte = unsigned char;

constexpr Byte Mask = 0x5D;

std::string PlainEncode(const std::string& key, const std::string& password) {
    std::string scrambled;
    for (std::size_t i = 0; i < password.size(); ++i) {
        const auto moved = static_cast<Byte>(static_cast<Byte>(i) - 16);
        const auto masked = static_cast<Byte>(static_cast<Byte>(password[i] + moved * 2) ^ Mask);
        scrambled += static_cast<char>(masked + key[i % key.size()]);
    }
    return scrambled;
}

std::string PlainDecode(const std::string& key, const std::string& scrambled) {
    std::string password;
    for (std::size_t i = 0; i < scrambled.size(); ++i) {
        const auto masked = static_cast<Byte>(scrambled[i] - key[i % key.size()]);
        password += static_cast<char>((masked ^ Mask) + (16 - static_cast<Byte>(i)) * 2);
    }
    return password;
}

// Each character by itself. Those of two units have no case.
std::string InLowerCase(const std::string& text) {
    std::string lower;
    for (std::size_t at = 0, bytes = 1; at < text.size(); at += bytes) {
        bytes = 1;
        while (bytes < text.size() - at && bytes < 8 &&
               !zynfuzz::Characters(text.substr(at, bytes)))
            ++bytes;
        auto character = zynfuzz::Characters(text.substr(at, bytes));
        if (!character)
            bytes = 1;
        else if (character->size() == 1 && character->front() < 0x10000)
            character->front() = static_cast<char32_t>(std::towlower(character->front()));
        const auto made = character ? zynfuzz::TextOf(*character) : std::nullopt;
        lower += made.value_or(text.substr(at, bytes));
    }
    return lower;
}

// The bytes that a text of decimal numbers holds; none if it tells more than there can be.
std::optional<std::string> PlainBytes(const std::string& text) {
    std::vector<unsigned long> numbers;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        if (end > at)
            numbers.push_back(zynfuzz::AsString(text.substr(at, end - at)).AsUlong());
        at = end + 1;
    }
    const unsigned long count = numbers.empty() ? 0 : numbers.front();
    if (count > 32)
        return std::nullopt;
    std::string bytes;
    for (std::size_t i = 1; i < numbers.size() && i <= count; ++i)
        bytes += static_cast<char>(numbers[i]);
    return bytes;
}

void CheckScrambled(const std::string& key, const std::string& bytes) {
    ZynString password(CreateEmpty, bytes.size());
    bytes.copy(password.PreRead(), bytes.size());
    password.PostRead(bytes.size());
    const ZynString keyString = zynfuzz::AsString(key);
    const ZynBinary scrambled = ZynUser::V2PasswordEncode(keyString, password);
    FUZZ_CHECK(zynfuzz::Bytes(scrambled) == PlainEncode(key, bytes));
    FUZZ_CHECK(zynfuzz::Bytes(ZynUser::V2PasswordDecode(keyString, scrambled)) == bytes);
    FUZZ_CHECK(zynfuzz::Bytes(ZynUser::V2PasswordDecode(
                   keyString, ZynBinary(bytes.data(), bytes.size()))) == PlainDecode(key, bytes));
    const std::string text = zynfuzz::Bytes(ZynUser::PasswordEncodeAsString(keyString, password));
    FUZZ_CHECK(text.starts_with('%'));
    FUZZ_CHECK(zynfuzz::Bytes(ZynBinary::FromHexString(text.c_str() + 1)) ==
               zynfuzz::Bytes(scrambled));
}

void CheckDefinition(const std::string& key, const std::string& text) {
    const ZynString keyString = zynfuzz::AsString(key);
    const ZynString string = zynfuzz::AsString(text);
    if (!zynfuzz::Characters(text)) {
        zynfuzz::EndsIn<ZynOSException>([&] { ZynUser::V2XQMPasswordDecode(keyString, string); });
        return;
    }
    const ZynString password = ZynUser::V2XQMPasswordDecode(keyString, string);
    const auto bytes = PlainBytes(text);
    FUZZ_CHECK(password.IsNull() == !bytes);
    FUZZ_CHECK(!bytes || zynfuzz::Bytes(password) == InLowerCase(PlainDecode(key, *bytes)));
}

// The text of a definition from the bytes themselves, which no fuzzer finds by itself.
std::string DefinitionOf(const std::string& bytes) {
    std::string text = std::to_string(bytes.size());
    for (const char c : bytes)
        text += ' ' + std::to_string(static_cast<Byte>(c));
    return text;
}

void CheckDigest(const std::string& first, const std::string& second, const std::string& third) {
    ZynBinary digest;
    const bool fails = zynfuzz::EndsIn<ZynIntException>([&] {
        digest = ZynUser::PasswordEncode(zynfuzz::AsString(first), zynfuzz::AsString(second),
                                         zynfuzz::AsString(third));
    });
    FUZZ_CHECK(fails || digest.Length() == 16);
    // Elsewhere the runtime and the converter differ in some characters.
    constexpr unsigned short Utf8 = 1208;
    const auto characters = zynfuzz::Characters(first + second + third);
    if (ZynConverter::GetCurrentOSCodePage() != Utf8 || !characters)
        return;
    std::string bytes;
    for (const char16_t unit : zynfuzz::Units(*characters))
        (bytes += static_cast<char>(unit >> 8U)) += static_cast<char>(unit & 0xFFU);
    FUZZ_CHECK(!fails && digest == ZynBinary(bytes.data(), bytes.size()).ToMD5());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const std::string key = input.Text();
    const std::string text = input.Text();
    const std::string bytes = input.Rest();
    CheckDigest(key, text, zynfuzz::UpToNul(bytes));
    if (key.empty()) {
        FUZZ_CHECK(zynfuzz::FailedCheck([&] { ZynUser::V2PasswordEncode("", "p"); }) ==
                   "key.Length() != 0");
        return 0;
    }
    CheckScrambled(key, bytes);
    CheckDefinition(key, text);
    CheckDefinition(key, DefinitionOf(bytes));
    return 0;
}
