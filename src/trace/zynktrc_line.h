// How the columns of trace lines are composed: in an area on the stack, with numbers made by hand,
// so that it costs no formatted output and, unless one is long, no memory.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

namespace zynktrc {

/// Copies a text, of which nearly all are short, without a call; its end.
inline char* Copy(char* to, std::string_view text) {
    constexpr std::size_t Half = 16;
    const std::size_t n = text.size();
    const char* const from = text.data();
    char* const end = to + n;
    if (n > 2 * Half) [[unlikely]] {
        std::memcpy(to, from, n);
    } else if (n >= Half) {
        // Both ends, which overlap unless it has their full length. So do those below.
        std::memcpy(to, from, Half);
        std::memcpy(end - Half, from + n - Half, Half);
    } else if (n >= Half / 2) {
        std::memcpy(to, from, Half / 2);
        std::memcpy(end - Half / 2, from + n - Half / 2, Half / 2);
    } else if (n >= Half / 4) {
        std::memcpy(to, from, Half / 4);
        std::memcpy(end - Half / 4, from + n - Half / 4, Half / 4);
    } else {
        for (std::size_t i = 0; i < n; ++i)
            to[i] = from[i];
    }
    return end;
}

/// The most characters of a number.
constexpr std::size_t MaxDigits = 20;
/// Puts the digits of a number there; their end.
char* CopyNumber(char* to, unsigned long long number);

class Line {
  public:
    /// The columns within which a function's name is shown.
    static constexpr std::size_t Columns = 900;

    void Put(std::string_view text) {
        if (text.size() > _room) [[unlikely]]
            return PutLong(text);
        std::memcpy(_area + (Columns - _room), text.data(), text.size());
        _room -= text.size();
    }
    /// With blanks in front of it up to `width`, which is 12 at most.
    void PutRight(std::string_view text, std::size_t width) {
        if (text.size() < width)
            Put(Blanks.substr(0, width - text.size()));
        Put(text);
    }
    /// Tens and units, with a leading zero.
    void PutTwo(unsigned long number);
    /// Decimal, with blanks in front of it up to `width`.
    void PutNumber(unsigned long number, std::size_t width);
    std::string_view View() const {
        return _isLong ? std::string_view(_long) : std::string_view(_area, Columns - _room);
    }

  private:
    static constexpr std::string_view Blanks = "            ";

    void PutLong(std::string_view text);

    std::size_t _room = Columns; ///< left in the area
    bool _isLong = false;
    std::string _long; ///< all of it, once there was no room
    char _area[Columns];
};

/// A program's name without its folder and its ending; "unknown" if nothing is left.
std::string_view ProcessName(std::string_view path, char separator);

} // namespace zynktrc
