#include "contract/failing.h"
#include "zynkadr.h"
#include "zynkconv.h"

namespace {

/// Bytes of any value, NUL included.
ZynString Text(const std::string& bytes) {
    ZynString text(CreateEmpty, bytes.size());
    bytes.copy(text.PreRead(), bytes.size());
    text.PostRead(bytes.size());
    return text;
}

TEST(Password, DigestIsThatOfTheJoinedTextsInUtf16) {
    const bool isUtf8 = ZynConverter::GetCurrentOSCodePage() == 1208;
    const ZynString greeting(isUtf8 ? "gr\xC3\xBC\xC3\x9F" : "gr\xFC\xDF");
    EXPECT_EQ(Printed(ZynUser::PasswordEncode("user", greeting, "secret")),
              "735FD10D4E6111F178A1CDE3AE29B267");
    EXPECT_EQ(Printed(ZynUser::PasswordEncode("UserID", "", "pw")),
              "3453DBE2FB1FB308B51CBE121AE16E74");
    EXPECT_EQ(Printed(ZynUser::PasswordEncode("", "", "")), "D41D8CD98F00B204E9800998ECF8427E");
}

TEST(Password, IsScrambledByPlaceAndKeyAndComesBack) {
    const std::vector<std::tuple<std::string, std::string, std::string>> forms = {
        {"k", "a", "87"},
        {"key", "secret", "797F9370757C"},
        {"\xFF\x80", "\x7F\x80\xFF\x01]", "01BFBD3A17"},
        {"abc", "The quick brown fox jumps", "CA7977BC6665696E69B06D989B8E9AA49D8F82DD928386863F"},
        {"K", "", ""}};
    for (const auto& [key, password, hex] : forms) {
        EXPECT_EQ(Printed(ZynUser::V2PasswordEncode(Text(key), Text(password))), hex);
        EXPECT_EQ(Bytes(ZynUser::PasswordEncodeAsString(Text(key), Text(password))), "%" + hex);
        const ZynBinary scrambled = ZynBinary::FromHexString(hex.c_str());
        EXPECT_EQ(Bytes(ZynUser::V2PasswordDecode(Text(key), scrambled)), password);
    }
    std::string all;
    for (unsigned int i = 0; i < 300; ++i)
        all += static_cast<char>(i * 7 + 1);
    const ZynBinary scrambled = ZynUser::V2PasswordEncode("wrap", Text(all));
    EXPECT_EQ(Printed(scrambled.SubBinary(256, 5)), "F533290F11");
    EXPECT_EQ(Printed(scrambled.SubBinary(297, 4)), "8B8167A9");
    EXPECT_EQ(Bytes(ZynUser::V2PasswordDecode("wrap", scrambled)), all);
}

TEST(Password, OfAProcessDefinitionIsInLowerCase) {
    const std::string most = "231 222 243 226 213 230 217 208 221 204 199 152 131 122 143 126 113 "
                             "130 117 108 121 168 163 180 159 150 146 133 124 137 120 115";
    const std::vector<std::pair<std::string, std::string>> texts = {
        {"6 217 127 243 112 117 124", "secret"},
        {"  6  217 127   243 112 117 124  ", "secret"},
        {"2 217 127 243 112", "se"},
        {"3 217 127", "se"},
        {"2 473 4294967167", "se"}, // of 32 bits the last 8
        {"1 -39", "s"},
        {"32 " + most, "abcdefghijklmnopqrstuvwxyz012345"},
        {"5 229 33 228 38 208", std::string("g\xFFr\0n", 5)}, // no text in UTF-8
        {"33 1 2 3", "(null)"},
        {"33 " + most + " 1", "(null)"},
        {"-1 217", "(null)"},
        {"0", ""},
        {"0 217", ""},
        {"none 217", ""},
        {"", ""},
        {"   ", ""}};
    for (const auto& [text, password] : texts)
        EXPECT_EQ(Bytes(ZynUser::V2XQMPasswordDecode("key", text.c_str())), password) << text;
}

TEST(Password, NeedsTextsThatAreNotNullAndAKey) {
    const ZynString null;
    Fails("!IsNull()", {[&] { ZynUser::V2PasswordEncode(null, "p"); },
                        [&] { ZynUser::V2PasswordEncode("k", null); },
                        [&] { ZynUser::V2PasswordDecode(null, ZynBinary("p", 1)); },
                        [&] { ZynUser::V2PasswordDecode("k", ZynBinary()); },
                        [&] { ZynUser::PasswordEncodeAsString("k", null); },
                        [&] { ZynUser::V2XQMPasswordDecode("k", null); },
                        [&] { ZynConverter::ReadPasswordFromConsole(null); }});
    Fails("key.Length() != 0", {[&] { ZynUser::V2PasswordEncode("", "p"); },
                                [&] { ZynUser::V2PasswordDecode("", ZynBinary("p", 1)); }});
}

} // namespace
