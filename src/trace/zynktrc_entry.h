// A trace line as the pieces that it is put together from, at once where it is to stand.
#pragma once

#include <cstdint>

#include "zynktrc_line.h"

namespace zynktrc {

class Entry {
  public:
    /// The line of this moment. The texts are referred to.
    Entry(std::string_view place, std::string_view function, std::string_view text);

    /// Adds the column of level, category and component.
    void SetFilter(unsigned long level, unsigned int category, unsigned int component);
    /// The last step: how the function is shown.
    void EndHead();

    std::size_t Length() const {
        return FunctionColumn() + _function.size() + _separator.size() + _text.size() + 1;
    }
    /// Puts the line there; its end.
    char* CopyTo(char* to) const {
        std::memcpy(to, _time, sizeof _time);
        to = Copy(to + sizeof _time, _place);
        if (_filterSize != 0) {
            std::memcpy(to, _filter, sizeof _filter);
            to += sizeof _filter;
        }
        to = Copy(Copy(Copy(to, _process), _thread), _function);
        to = Copy(Copy(to, _separator), _text);
        *to = '\n';
        return to + 1;
    }

  private:
    std::size_t FunctionColumn() const {
        return sizeof _time + _place.size() + _filterSize + _process.size() + _thread.size();
    }

    std::string_view _place;
    std::string_view _process;
    std::string_view _thread;
    std::string_view _function;
    std::string_view _separator; ///< behind the bracket that closes its parameters
    std::string_view _text;
    std::size_t _filterSize = 0;
    char _time[26];
    char _filter[12];
};

} // namespace zynktrc
