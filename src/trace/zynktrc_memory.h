// The memory that the text of a trace line is written to.
#pragma once

#include <streambuf>
#include <string>
#include <string_view>

#include "zynktrc_line.h"

namespace zynktrc {

/// Memory that grows with what is put into it.
class Memory final : public std::streambuf {
  public:
    Memory() : _memory(RoomAtFirst, '\0') { Clear(); }

    std::string_view View() const { return {pbase(), static_cast<std::size_t>(pptr() - pbase())}; }
    /// Keeps some of the room that a long text has left.
    void Clear() {
        if (_memory.size() > RoomToKeep) [[unlikely]]
            _memory = std::string(RoomAtFirst, '\0');
        setp(_memory.data(), _memory.data() + _memory.size());
    }
    bool HasRoom(std::size_t n) const { return static_cast<std::size_t>(epptr() - pptr()) >= n; }
    void Put(std::string_view text) {
        if (!HasRoom(text.size())) [[unlikely]]
            Grow(text.size());
        PutInRoom(text);
    }
    /// These only where there is room.
    void PutInRoom(std::string_view text) {
        Copy(pptr(), text);
        Advance(text.size());
    }
    void PutNumber(unsigned long long number) {
        pbump(static_cast<int>(CopyNumber(pptr(), number) - pptr()));
    }

  protected:
    int_type overflow(int_type c) override {
        Grow(1);
        return traits_type::eq_int_type(c, traits_type::eof())
                   ? traits_type::not_eof(c)
                   : sputc(traits_type::to_char_type(c));
    }

    std::streamsize xsputn(const char* text, std::streamsize n) override {
        Put({text, static_cast<std::size_t>(n)});
        return n;
    }

  private:
    static constexpr std::size_t RoomAtFirst = 1000;
    static constexpr std::size_t RoomToKeep = 64000;
    static constexpr std::size_t MaxStep = 0x40000000; // what pbump takes at once

    void Grow(std::size_t needed) {
        const std::size_t used = View().size();
        _memory.resize(2 * _memory.size() + needed);
        setp(_memory.data(), _memory.data() + _memory.size());
        Advance(used);
    }
    void Advance(std::size_t n) {
        for (; n > MaxStep; n -= MaxStep)
            [[unlikely]] pbump(static_cast<int>(MaxStep));
        pbump(static_cast<int>(n));
    }

    std::string _memory;
};

} // namespace zynktrc
