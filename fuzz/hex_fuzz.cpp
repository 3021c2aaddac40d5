// Hexadecimal text of binaries.
#include "support/fuzz.h"

namespace {

constexpr std::string_view Digits = "0123456789ABCDEFabcdef";

unsigned int ValueOf(char digit) {
    const std::size_t at = Digits.find(digit);
    return static_cast<unsigned int>(at < 16 ? at : at - 6);
}

// The check that a text fails, or "".
std::string FaultOf(const std::string& text) {
    if (text.size() % 2 != 0)
        return "len % 2 == 0";
    const std::size_t at = text.find_first_not_of(Digits);
    if (at == std::string::npos)
        return "";
    return at % 2 == 0 ? "isxdigit( pchar[2*i])" : "isxdigit( pchar[2*i+1])";
}

void Read(const std::string& text) {
    ZynBinary bytes;
    FUZZ_CHECK(zynfuzz::FailedCheck([&] { bytes = ZynBinary::FromHexString(text.c_str()); }) ==
               FaultOf(text));
    if (bytes.IsNull())
        return;
    FUZZ_CHECK(bytes.Length() == text.size() / 2);
    for (unsigned long i = 0; i < bytes.Length(); ++i)
        FUZZ_CHECK(bytes[i] ==
                   static_cast<char>(ValueOf(text[2 * i]) * 16 + ValueOf(text[2 * i + 1])));
}

void Write(const std::string& bytes) {
    const ZynBinary text = ZynBinary(bytes.data(), bytes.size()).AsHexString();
    FUZZ_CHECK(text.Length() == 2 * bytes.size() && std::strlen(text.Data()) == text.Length());
    for (std::size_t i = 0; i < text.Length(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i / 2]);
        FUZZ_CHECK(text.Data()[i] == Digits[i % 2 == 0 ? byte / 16 : byte % 16]);
    }
    FUZZ_CHECK(zynfuzz::Bytes(ZynBinary::FromHexString(text.Data())) == bytes);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const std::string bytes = input.Rest();
    Read(zynfuzz::UpToNul(bytes));
    Write(bytes);
    return 0;
}
