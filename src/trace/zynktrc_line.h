// How a trace line is composed: in an area on the stack, with numbers made by hand, so that it
// costs no formatted output and, unless it is long, no memory.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

namespace zynktrc {

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
    /// Local time, "YYYY-MM-DD, HH:MM:SS.mmm, ".
    void PutTime();
    void PutFunction(std::string_view function);

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

/// What stands behind the last separator of either kind.
std::string_view FileName(std::string_view path);
/// A program's name without its folder and its ending; "unknown" if nothing is left.
std::string_view ProcessName(std::string_view path, char separator);

} // namespace zynktrc
