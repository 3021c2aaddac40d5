// Conversion between code pages, beside bare calls of ICU.
#include <unicode/ucnv.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>

#include "support/fuzz.h"

namespace {

// Bytes of one and of more than one, EBCDIC with and without shift states, Unicode in both forms.
// What no table of ICU has and what the system means by another number stand there as well.
constexpr unsigned short CodePages[] = {
    37,  273,  437,  500,  819,  850,  912,  923,  930,  932,  937,  939,   942, 943, 949,  950,
    970, 1047, 1200, 1208, 1252, 1363, 1386, 1392, 1399, 5026, 5348, 33722, 0,   1,   65535};

unsigned short CodePage(unsigned int byte) {
    return CodePages[byte % std::size(CodePages)];
}

unsigned short Meant(unsigned short ccsid) {
    const unsigned short named = ccsid != 0 ? ccsid : ZynConverter::GetCurrentOSCodePage();
    return named == 932 ? 942 : named;
}

// ICU's converter, which stays open; null if ICU has none.
UConverter* ConverterOf(unsigned short ccsid) {
    static auto& opened = *new std::map<unsigned short, UConverter*>;
    const auto found = opened.find(ccsid);
    if (found != opened.end())
        return found->second;
    UErrorCode error = U_ZERO_ERROR;
    return opened[ccsid] = ucnv_openCCSID(ccsid, UCNV_IBM, &error);
}

std::string FromUnits(const std::u16string& units, UConverter* converter) {
    UErrorCode error = U_ZERO_ERROR;
    std::string text(16 * units.size() + 16, '\0');
    const int32_t size = ucnv_fromUChars(converter, text.data(), static_cast<int32_t>(text.size()),
                                         units.data(), static_cast<int32_t>(units.size()), &error);
    FUZZ_CHECK(U_SUCCESS(error));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

struct Converted {
    std::string text;
    std::size_t room; ///< what the target needs
};

// A digit goes behind the text and is taken off again. None if the text has more 16-bit units than
// bytes and one, for which there is no room either.
std::optional<Converted> PlainConvert(const std::string& text, UConverter* from, UConverter* to) {
    UErrorCode error = U_ZERO_ERROR;
    std::u16string units(4 * text.size() + 4, u'\0');
    const int32_t count = ucnv_toUChars(from, units.data(), static_cast<int32_t>(units.size()),
                                        text.data(), static_cast<int32_t>(text.size()), &error);
    FUZZ_CHECK(U_SUCCESS(error));
    units.resize(static_cast<std::size_t>(count));
    if (units.size() > text.size() + 1)
        return std::nullopt;
    const std::size_t nul = units.find(u'\0');
    std::string all =
        FromUnits(nul == std::u16string::npos ? units + u'1' : units.substr(0, nul), to);
    const std::size_t room = all.size();
    if (room < 2 * text.size() + 4)
        all.resize(room - std::min(room, FromUnits(u"1", to).size()));
    return Converted{all, room};
}

void CheckPlace(const ZynConverter& converter, const std::string& text, std::size_t room,
                const std::optional<Converted>& plain) {
    const auto target = std::make_unique<char[]>(room); // without a byte to spare
    unsigned long count = 0;
    const bool isRefused = zynfuzz::EndsIn<ZynConverter::InsufficientBufferSize>(
        [&] { count = converter.Convert(text.data(), text.size(), target.get(), room); });
    FUZZ_CHECK(isRefused == (!plain || plain->room > room));
    if (!isRefused)
        FUZZ_CHECK(std::string(target.get(), count) == plain->text);
}

void CheckString(const ZynConverter& converter, const std::string& text, bool hidden,
                 const std::optional<Converted>& plain) {
    ZynString target("before");
    const bool isRefused = zynfuzz::EndsIn<ZynConverter::InsufficientBufferSize>(
        [&] { converter.Convert(text.data(), text.size(), target, hidden); });
    FUZZ_CHECK(isRefused == (!plain || plain->room > 3 * text.size()));
    FUZZ_CHECK(zynfuzz::Bytes(target) == (isRefused ? "before" : plain->text));
}

void CheckUnicode(const std::string& text) {
    zynfuzz::EndsIn<ZynConverter::InsufficientBufferSize>([&] {
        ZynBinary wide;
        ZynString again;
        ZynConverter::ToUnicode(zynfuzz::AsString(text), wide);
        ZynConverter::FromUnicode(wide, again);
        ZynConverter::FromUnicode(ZynBinary(text.data(), text.size()), again);
    });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const unsigned short source = CodePage(input.Byte());
    const unsigned short target = CodePage(input.Byte());
    const std::size_t room = std::size_t{4} * input.Byte();
    const std::string text = input.Rest();
    const unsigned short from = Meant(source);
    const unsigned short to = Meant(target);
    ZynConverter converter;
    const bool isRefused = zynfuzz::EndsIn<ZynConverter::InvalidCodePage>(
        [&] { converter.Initialize(source, target); });
    FUZZ_CHECK(isRefused ==
               (from != to && (ConverterOf(from) == nullptr || ConverterOf(to) == nullptr)));
    if (!isRefused) {
        const bool isSame = from == to || text.empty();
        const auto plain = isSame ? Converted{text, text.size()}
                                  : PlainConvert(text, ConverterOf(from), ConverterOf(to));
        CheckPlace(converter, text, room, plain);
        CheckString(converter, text, room % 8 == 0, plain);
    }
    CheckUnicode(text);
    return 0;
}
