// Takes the bytes of an input apart into lines, whatever they are: text, buffer areas, or both in
// turn, with zeros between them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class Entries;

/// Holds no more than the longest piece that it needs to see whole. Bytes that are neither text nor
/// a sound area are skipped up to the next area or the next line that begins an entry, and told.
class Decoder {
  public:
    /// @param name what the input is called where bytes of it are skipped
    Decoder(std::string name, Entries& entries) : _name(std::move(name)), _entries(entries) {}

    void Feed(std::string_view bytes);
    /// No more bytes follow; the next ones begin an input of the same name.
    void End();

  private:
    enum class State { Start, Text, Between, Area, Damage };

    std::string_view Rest() const { return std::string_view(_held).substr(_at); }
    void Run();
    bool Step();
    bool ReadStart();
    bool ReadText();
    bool ReadBetween();
    bool ReadArea();
    bool ReadDamage();
    void Line(std::string_view piece, bool closes);
    void GoOn(std::size_t bytes, State state);
    void TellSkipped() const;

    std::string _name;
    Entries& _entries;
    State _state = State::Start;
    std::string _held;
    std::size_t _at = 0;       ///< in `_held`, up to where it has been taken apart
    std::uint64_t _offset = 0; ///< of `_held` in the input
    std::uint64_t _damage = 0; ///< offset of the first byte that is skipped
    bool _isInLine = false;    ///< a piece of the current line has been handed over
    bool _isPadded = false;    ///< zeros in front of `_at` have been passed over
    bool _isLast = false;
};
