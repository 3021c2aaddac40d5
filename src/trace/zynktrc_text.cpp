// The character streams for the texts of trace lines, which threads keep.
#include <new>
#include <utility>

#include "zynkplat.h"
#include "zynktrc.h"
#include "zynktrc_memory.h"

// A stream takes long to make, for its parts of the locale, and is used over and over.
class ZynTrace::Text::Lent {
  public:
    /// Null if there is no memory.
    static Lent* Borrow() noexcept;
    static void GiveBack(Lent* lent) noexcept;

    ZynTraceStream& Stream() { return _stream; }
    std::string_view View() const { return _memory.View(); }

  private:
    /// What becomes of a stream that a thread has no use for at the moment.
    enum class Keeping : unsigned char { NotYet, On, Over };

    static void Keep(Lent* lent) noexcept;

    static thread_local Lent* spare;
    static thread_local Keeping keeping;

    zynktrc::Memory _memory;
    ZynTraceStream _stream{&_memory};
};

// What the thread keeps for its next line, found without a call. It goes with the thread; code that
// runs behind that gets a stream of its own for each line.
[[gnu::tls_model(
    "initial-exec")]] constinit thread_local ZynTrace::Text::Lent* ZynTrace::Text::Lent::spare =
    nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local ZynTrace::Text::Lent::Keeping
    ZynTrace::Text::Lent::keeping = Keeping::NotYet;

inline ZynTrace::Text::Lent* ZynTrace::Text::Lent::Borrow() noexcept {
    if (spare != nullptr)
        return std::exchange(spare, nullptr);
    try {
        return new Lent;
    } catch (...) {
        return nullptr;
    }
}

inline void ZynTrace::Text::Lent::GiveBack(Lent* lent) noexcept {
    if (keeping == Keeping::On && spare == nullptr && lent->_stream.Reset()) [[likely]]
        spare = lent;
    else
        Keep(lent);
}

// For the first time, or not at all.
[[gnu::cold]] void ZynTrace::Text::Lent::Keep(Lent* lent) noexcept {
    const auto end = [] {
        delete std::exchange(spare, nullptr);
        keeping = Keeping::Over;
    };
    if (keeping == Keeping::NotYet && zynkplat::AtThreadEnd(end) && lent->_stream.Reset()) {
        keeping = Keeping::On;
        spare = lent;
    } else {
        delete lent;
    }
}

namespace {

// Takes whatever is put on it and keeps nothing: for lines that there is no memory for.
ZynTraceStream& NoStream() {
    alignas(ZynTraceStream) static char place[sizeof(ZynTraceStream)];
    static ZynTraceStream& stream = *new (place) ZynTraceStream(nullptr);
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

void ZynTrace::Trace(const Site& site, unsigned long level, unsigned int category,
                     unsigned int component, const Text& text) noexcept {
    Write(site, level, category, component, text.View());
}
