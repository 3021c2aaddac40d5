// How a trace line is composed: in an area on the stack, with numbers made by hand, so that it
// costs no formatted output and, unless it is long, no memory.
#pragma once

#include <string>
#include <string_view>

namespace zynktrc {

class Line {
  public:
    /// The columns within which a function's name is shown.
    static constexpr std::size_t Columns = 900;

    void Put(std::string_view text);
    /// With blanks in front of it up to `width`.
    void PutRight(std::string_view text, std::size_t width);
    /// Tens and units, with a leading zero.
    void PutTwo(unsigned long number);
    /// Decimal, with blanks in front of it up to `width`.
    void PutNumber(unsigned long number, std::size_t width);
    /// Local time, "YYYY-MM-DD, HH:MM:SS.mmm, ".
    void PutTime();
    void PutFunction(std::string_view function);

    std::string_view View() const {
        return _isLong ? std::string_view(_long) : std::string_view(_area, _size);
    }

  private:
    std::size_t _size = 0;
    bool _isLong = false;
    std::string _long;
    char _area[Columns];
};

/// What stands behind the last separator of either kind.
std::string_view FileName(std::string_view path);
/// A program's name without its folder and its ending; "unknown" if nothing is left.
std::string_view ProcessName(std::string_view path, char separator);

} // namespace zynktrc
