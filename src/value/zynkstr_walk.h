// Stepping over the characters of a text.
#pragma once

#include "zynkplat.h"
#include "zynkstr_direct.h"

namespace zynkwalk {

constexpr char ShiftOut = 0x0E;
constexpr char ShiftIn = 0x0F;

// In an encoding with shift states, a character that comes with its shift byte has this length.
constexpr int LengthWithShift = 3;

/// Walks a text up to its first NUL, in its encoding's initial shift state at the start.
class CharWalk {
  public:
    CharWalk(const char* text, unsigned long n)
        : _multiByte(zynkplat::CurrentMultiByte()), _at(text), _end(text + n),
          _direct(_multiByte.ResetToDirect()),
          _hasShiftStates(_direct == nullptr && _multiByte.ResetShiftState()) {}

    const char* At() const { return _at; }
    bool HasShiftStates() const { return _hasShiftStates; }
    /// Whether the character stepped over last, or the shift byte with it, leaves a double-byte run
    /// open.
    bool IsShifted() const { return _shifted; }

    /// Bytes of the next character, which is stepped over; 0 at the end, -1 if it is invalid.
    int Step() {
        if (_at == _end || *_at == '\0')
            return 0;
        const auto n = static_cast<unsigned long>(_end - _at);
        char32_t wide = 0;
        int bytes = _direct != nullptr ? zynkdirect::Character(wide, *_direct, _at, n) : 0;
        if (bytes == 0)
            bytes = _multiByte.Length(_at, n);
        if (bytes > 0)
            _at += bytes;
        if (bytes == LengthWithShift && _hasShiftStates)
            _shifted = !_shifted;
        return bytes;
    }

  private:
    zynkplat::MultiByte& _multiByte;
    const char* _at;
    const char* _end;
    const zynkplat::DirectEncoding* _direct;
    bool _hasShiftStates;
    bool _shifted = false;
};

/// Whether the text begins with the single-byte character `c`.
inline bool BeginsWith(const char* text, unsigned long n, char c) {
    return n > 0 && *text == c && CharWalk(text, n).Step() == 1;
}

} // namespace zynkwalk
