// Trace criteria and the numbers in them.
#include <optional>

#include "support/fuzz.h"
#include "zynktrc.h"

namespace {

using Number = std::optional<unsigned long>;

// A number of 1 to `maxDigits` digits, held to 32 bits.
Number PlainNumber(const std::string& text, std::size_t maxDigits, unsigned int base) {
    constexpr std::string_view Digits = "0123456789ABCDEFabcdef";
    if (text.empty() || text.size() > maxDigits)
        return std::nullopt;
    unsigned long long number = 0;
    for (const char c : text) {
        const std::size_t at = Digits.find(c);
        if (at == std::string_view::npos || (base == 10 && at >= base))
            return std::nullopt;
        number = number * base + (at < 16 ? at : at - 6);
    }
    return number < UINT32_MAX ? static_cast<unsigned long>(number) : UINT32_MAX;
}

// The next field that is not empty, without blanks around it; "" behind the last one.
std::string NextField(std::string& rest) {
    std::string field;
    while (field.empty() && !rest.empty()) {
        const std::size_t end = rest.find(',');
        field = rest.substr(0, end);
        rest.erase(0, end == std::string::npos ? end : end + 1);
        field.erase(0, field.find_first_not_of(' '));
        field.erase(field.find_last_not_of(' ') + 1); // npos + 1 is 0
    }
    return field;
}

void CheckNumbers(const std::string& text) {
    constexpr unsigned long Before = 77;
    unsigned long number = Before;
    Number plain = PlainNumber(text, 10, 10);
    FUZZ_CHECK(ZynTrace::LongFromString(number, zynfuzz::AsString(text)) == plain.has_value());
    FUZZ_CHECK(number == plain.value_or(Before));
    number = Before;
    plain = PlainNumber(text, 8, 16);
    FUZZ_CHECK(ZynTrace::LongFromHexString(number, zynfuzz::AsString(text)) == plain.has_value());
    FUZZ_CHECK(number == plain.value_or(Before));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const std::string text = input.Text();
    ZynTrace::SetFilter(1, 2, 3);
    ZynTrace::SetCriteria(zynfuzz::AsString(text));
    const unsigned long level = ZynTrace::Level();
    const unsigned long categories = ZynTrace::Categories();
    const unsigned long components = ZynTrace::Components();
    ZynTrace::SetFilter(0, 0, 0); // the target itself is not traced

    std::string rest = text;
    FUZZ_CHECK(level == PlainNumber(NextField(rest), 10, 10).value_or(1));
    const std::string categoryField = NextField(rest);
    const Number mask = PlainNumber(categoryField, 4, 16);
    FUZZ_CHECK(categories == (categoryField.size() == 4 ? mask.value_or(2) : 2));
    const std::string componentField = NextField(rest);
    const Number bits = PlainNumber(componentField, 8, 16);
    FUZZ_CHECK(components == (componentField.size() == 8 ? bits.value_or(3) : 3));
    CheckNumbers(text);
    return 0;
}
