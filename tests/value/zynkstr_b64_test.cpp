#include "contract/failing.h"

#include <random>

namespace {

ZynBinary Binary(const std::string& bytes) {
    return {bytes.data(), bytes.size()};
}

std::string Decoded(const std::string& text) {
    ZynString string(CreateEmpty, text.size());
    text.copy(string.PreRead(), text.size());
    string.PostRead(text.size());
    return Bytes(string.Base64Decode());
}

TEST(StringBase64, HasTheBytesOfItsRfc) {
    const std::pair<const char*, const char*> rows[] = {{"", ""},
                                                        {"f", "Zg=="},
                                                        {"fo", "Zm8="},
                                                        {"foo", "Zm9v"},
                                                        {"foob", "Zm9vYg=="},
                                                        {"fooba", "Zm9vYmE="},
                                                        {"foobar", "Zm9vYmFy"},
                                                        {"\xFB\xEF\xFF", "++//"},
                                                        {"\xFF\xFF", "//8="}};
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(Bytes(ZynString::Base64Encode(Binary(bytes))), text);
        EXPECT_EQ(Decoded(text), bytes);
    }
    const ZynBinary noBinary;
    const ZynString noText;
    Fails("!IsNull()",
          {[&] { ZynString::Base64Encode(noBinary); }, [&] { noText.Base64Decode(); }});
}

// Bit by bit, with anything between the characters of the alphabet.
TEST(StringBase64, ReadsBackWhatItWroteThroughAnything) {
    std::mt19937 random(42);
    const std::string alphabet(ZynString::char_set);
    for (int round = 0; round < 2000 && !HasFailure(); ++round) {
        std::string bytes(random() % (round % 2 == 0 ? 40 : 200), '\0');
        std::string bits;
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
            for (int i = 7; i >= 0; --i)
                bits += (static_cast<unsigned char>(byte) >> i & 1) != 0 ? '1' : '0';
        }
        bits.resize((bits.size() + 5) / 6 * 6, '0');
        std::string text;
        std::string noisy;
        for (std::size_t at = 0; at < bits.size(); at += 6) {
            text += alphabet[std::stoul(bits.substr(at, 6), nullptr, 2)];
            while (random() % (round % 2 == 0 ? 8 : 50) == 0)
                if (const char noise = static_cast<char>(random());
                    alphabet.find(noise) == std::string::npos)
                    noisy += noise;
            noisy += text.back();
        }
        const std::string padding((4 - text.size() % 4) % 4, '=');
        EXPECT_EQ(Bytes(ZynString::Base64Encode(Binary(bytes))), text + padding);
        EXPECT_EQ(Decoded(noisy), bytes);
        // A fourth of a group more brings no whole byte.
        EXPECT_EQ(Decoded(text.size() % 4 == 0 ? noisy + "A" : noisy), bytes);
    }
    EXPECT_EQ(Decoded("=\xFF\n*"), "");
}

} // namespace
