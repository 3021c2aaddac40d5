// How a tool begins and ends, what it tells, and what its options have in common.
#pragma once

#include <charconv>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

/// Stands in front of what a tool tells; each tool defines its own.
extern const char ToolName[];

/// The status after a usage error, or an input or output that failed.
constexpr int ToolFailed = 2;

/// Runs a tool in the user's locale. Its exceptions are told, and end it with ToolFailed.
int RunTool(const std::function<int()>& run);

/// Tells something on standard error, control characters in it as "\x1B".
void Warn(const std::string& text);

/// Has no text where the fault has been told already.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void Refuse(const std::string& option, std::string_view value,
                         const std::string& wanted);

/// The whole text as a number of type T.
template <class T>
std::optional<T> Number(std::string_view text, int base = 10) {
    T number{};
    const char* const end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && behind == end ? std::optional(number) : std::nullopt;
}

enum class ColorWhen { Auto, Always, Never };

/// The value of --color.
ColorWhen ColorWhenOf(std::string_view when);
