// Where a trace site stands, as its lines show it: laid out by the compiler.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace zynktrc {

/// What stands behind the last separator of either kind.
constexpr std::string_view FileName(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1); // npos + 1 is 0
}

/// A function's name up to its parameters, with the bracket that begins them.
constexpr std::string_view FunctionName(std::string_view function) {
    const std::size_t bracket = function.find('(');
    return bracket == std::string_view::npos ? function : function.substr(0, bracket + 1);
}

/// The columns of a source file and line, "     file.cpp(  117) ".
template <std::size_t FileSize>
class Place {
  public:
    constexpr Place(const char (&file)[FileSize], unsigned int line) {
        const std::string_view name = FileName(file);
        for (std::size_t i = name.size(); i < FileColumns; ++i)
            Put(' ');
        for (const char c : name)
            Put(c);
        Put('(');
        unsigned int unit = 1;
        for (std::size_t i = 1; i < LineColumns || line / unit >= 10; ++i)
            unit *= 10;
        for (bool isBlank = true; unit != 0; unit /= 10) {
            isBlank = isBlank && line < unit && unit != 1;
            Put(isBlank ? ' ' : static_cast<char>('0' + line / unit % 10));
        }
        Put(')');
        Put(' ');
    }
    constexpr operator std::string_view() const { return {_text, _size}; }

  private:
    static constexpr std::size_t FileColumns = 12;
    static constexpr std::size_t LineColumns = 5;
    static constexpr std::size_t MaxLineDigits = 10;

    constexpr void Put(char c) { _text[_size++] = c; }

    char _text[std::max(FileSize, FileColumns) + MaxLineDigits + 3] = {};
    std::size_t _size = 0;
};

} // namespace zynktrc

/// Where the function's name begins in what the compiler says of it: behind the type of its result.
/// It is a class or function name up to its parameters, which the line leaves out.
constexpr std::size_t zynkFunctionName(std::string_view pretty) {
    std::size_t name = 0;
    int nesting = 0;
    for (std::size_t i = 0; i < pretty.size(); ++i) {
        const char c = pretty[i];
        for (const std::string_view unnamed : {"(anonymous namespace)::", "{anonymous}::"})
            if (nesting == 0 && pretty.substr(i).starts_with(unnamed))
                return i + unnamed.size();
        const bool isOfType =
            pretty.substr(0, i).ends_with("decltype") || pretty.substr(i).starts_with("(*");
        if (c == '(' && nesting == 0 && !isOfType)
            break;
        if (c == '<' || c == '(' || c == '{')
            ++nesting;
        else if (c == '>' || c == ')' || c == '}')
            --nesting;
        else if (nesting == 0 && (c == ' ' || c == '*' || c == '&'))
            name = i + 1;
        if (nesting == 0 && pretty.substr(0, i + 1).ends_with("operator"))
            break;
    }
    return name;
}
