// Whether a stream is sound.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "header.h"

/// Tells on standard error what is found, by the offset in the input; of much only the first.
class Report {
  public:
    /// @param base  is added to the offsets
    /// @param notes whether what is no fault is told as well
    Report(std::string name, std::size_t base, bool notes)
        : _name(std::move(name)), _base(base), _notes(notes) {}

    void Fault(std::size_t at, const std::string& text);
    void Note(std::size_t at, const std::string& text);
    /// Tells what has not been told. Whether there was no fault.
    bool End() const;
    std::size_t Faults() const { return _faults; }

  private:
    void Tell(std::size_t at, const std::string& text);

    std::string _name;
    std::size_t _base;
    bool _notes;
    std::size_t _faults = 0;
    std::size_t _told = 0;
};

/// Header, length, and the parameters of the top level.
/// @param values the stream holds values in the place of parameters, which don't tell their end
void Check(std::string_view bytes, const Stream& stream, bool values, Report& report);
