// The character streams for the texts of trace lines, which threads keep.
#include <locale>
#include <new>
#include <streambuf>
#include <string>
#include <utility>

#include "zynkplat.h"
#include "zynktrc.h"

namespace {

/// Memory that grows with what is put into it.
class Memory final : public std::streambuf {
  public:
    Memory() : _memory(RoomAtFirst, '\0') { Clear(); }

    std::string_view View() const { return {pbase(), static_cast<std::size_t>(pptr() - pbase())}; }
    /// Keeps some of the room that a long text has left.
    void Clear() {
        if (_memory.size() > RoomToKeep)
            _memory = std::string(RoomAtFirst, '\0');
        setp(_memory.data(), _memory.data() + _memory.size());
    }

  protected:
    int_type overflow(int_type c) override {
        Grow(1);
        return traits_type::eq_int_type(c, traits_type::eof())
                   ? traits_type::not_eof(c)
                   : sputc(traits_type::to_char_type(c));
    }

    std::streamsize xsputn(const char* text, std::streamsize n) override {
        if (epptr() - pptr() < n)
            Grow(static_cast<std::size_t>(n));
        traits_type::copy(pptr(), text, static_cast<std::size_t>(n));
        Advance(static_cast<std::size_t>(n));
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
            pbump(static_cast<int>(MaxStep));
        pbump(static_cast<int>(n));
    }

    std::string _memory;
};

} // namespace

// A stream takes long to make, for its parts of the locale, and is used over and over.
class ZynTrace::Text::Lent {
  public:
    /// Null if there is no memory.
    static Lent* Borrow() noexcept;
    static void GiveBack(Lent* lent) noexcept;

    Lent() : _stream(&_memory) { _stream.imbue(std::locale::classic()); }

    std::ostream& Stream() { return _stream; }
    std::string_view View() const { return _memory.View(); }

  private:
    /// As if it was new, but for the words and callbacks of users that a stream can't be asked for.
    void Reset() {
        _memory.Clear();
        _stream.exceptions(std::ios::goodbit);
        if (_stream.rdbuf() != &_memory)
            _stream.rdbuf(&_memory);
        _stream.clear();
        _stream.flags(std::ios::skipws | std::ios::dec);
        _stream.precision(6);
        _stream.fill(' ');
        _stream.width(0);
        _stream.tie(nullptr);
        if (_stream.getloc() != std::locale::classic())
            _stream.imbue(std::locale::classic());
    }

    static thread_local Lent* spare;
    static thread_local bool isEndTold;
    static thread_local bool threadEnds;

    Memory _memory;
    std::ostream _stream;
};

// What the thread keeps for its next line. It goes with the thread; code that runs behind that gets
// a stream of its own for each line.
constinit thread_local ZynTrace::Text::Lent* ZynTrace::Text::Lent::spare = nullptr;
constinit thread_local bool ZynTrace::Text::Lent::isEndTold = false;
constinit thread_local bool ZynTrace::Text::Lent::threadEnds = false;

ZynTrace::Text::Lent* ZynTrace::Text::Lent::Borrow() noexcept {
    if (spare != nullptr)
        return std::exchange(spare, nullptr);
    try {
        return new Lent;
    } catch (...) {
        return nullptr;
    }
}

void ZynTrace::Text::Lent::GiveBack(Lent* lent) noexcept {
    const auto end = [] {
        delete std::exchange(spare, nullptr);
        threadEnds = true;
    };
    if (!isEndTold && !threadEnds)
        isEndTold = zynkplat::AtThreadEnd(end);
    if (spare != nullptr || !isEndTold || threadEnds) {
        delete lent;
        return;
    }
    try {
        lent->Reset();
        spare = lent;
    } catch (...) {
        delete lent;
    }
}

namespace {

// Takes whatever is put on it and keeps nothing: for lines that there is no memory for.
std::ostream& NoStream() {
    alignas(std::ostream) static char place[sizeof(std::ostream)];
    static std::ostream& stream = *new (place) std::ostream(nullptr);
    return stream;
}

} // namespace

ZynTrace::Text::Text() noexcept
    : _lent(Lent::Borrow()), _stream(_lent != nullptr ? _lent->Stream() : NoStream()) {}

ZynTrace::Text::~Text() {
    if (_lent != nullptr)
        Lent::GiveBack(_lent);
}

std::string_view ZynTrace::Text::View() const {
    std::string_view text = _lent != nullptr ? _lent->View() : std::string_view();
    if (text.ends_with('\0'))
        text.remove_suffix(1);
    return text;
}
