#include "zynktrc_stream.h"

#include <locale>

#include "zynktrc_line.h"
#include "zynktrc_memory.h"

namespace {

constexpr std::ios::fmtflags PlainFlags = std::ios::skipws | std::ios::dec;
constexpr std::streamsize PlainPrecision = 6;

} // namespace

ZynTraceStream::ZynTraceStream(zynktrc::Memory* memory)
    : std::ostream(memory), _pIos(this), _memory(memory) {
    if (memory == nullptr)
        return; // nothing comes out of it
    imbue(std::locale::classic());
    register_callback(OnEvent, 0);
}

// Comes when the stream gets a locale, alone or with the rest of another stream's format. A stream
// of any kind that gets this one's format gets this callback with it.
void ZynTraceStream::OnEvent(event /*event*/, std::ios_base& stream, int /*index*/) {
    if (auto* const self = dynamic_cast<ZynTraceStream*>(&stream); self != nullptr)
        self->_hasNewLocale = true;
}

// Whether an item comes out as itself.
inline bool ZynTraceStream::IsPlain() const {
    return _pIos->flags() == PlainFlags && _pIos->width() == 0 &&
           _pIos->rdstate() == std::ios::goodbit && _pIos->rdbuf() == _memory &&
           _pIos->tie() == nullptr && !_hasNewLocale;
}

inline bool ZynTraceStream::IsFresh() const {
    return IsPlain() && _pIos->precision() == PlainPrecision && _pIos->fill() == ' ' &&
           _pIos->exceptions() == std::ios::goodbit;
}

bool ZynTraceStream::Reset() noexcept try {
    if (_hasNewLocale)
        return false;
    _memory->Clear();
    if (IsFresh()) [[likely]]
        return true;
    exceptions(std::ios::goodbit);
    rdbuf(_memory);
    clear();
    flags(PlainFlags);
    precision(PlainPrecision);
    fill(' ');
    width(0);
    tie(nullptr);
    return true;
} catch (...) {
    return false;
}

// As any std::ostream does it.
template <class T>
ZynTraceStream& ZynTraceStream::PutAsStream(const T& item) {
    static_cast<std::ostream&>(*this) << item;
    return *this;
}

ZynTraceStream& ZynTraceStream::PutText(std::string_view text) {
    if (!IsPlain() || !_memory->HasRoom(text.size())) [[unlikely]]
        return PutAsStream(text);
    _memory->PutInRoom(text);
    return *this;
}

// Which it takes for a failure.
ZynTraceStream& ZynTraceStream::PutNull() {
    return PutAsStream(static_cast<const char*>(nullptr));
}

template <class T>
ZynTraceStream& ZynTraceStream::Put(T item) {
    if (!IsPlain() || !_memory->HasRoom(zynktrc::MaxDigits + 1)) [[unlikely]]
        return PutAsStream(item);
    if constexpr (zynktrc::OneOf<T, char, signed char, unsigned char>) {
        _memory->sputc(static_cast<char>(item));
    } else {
        auto number = static_cast<unsigned long long>(item);
        if (item < T{}) {
            _memory->sputc('-');
            number = 0 - number;
        }
        _memory->PutNumber(number);
    }
    return *this;
}

template ZynTraceStream& ZynTraceStream::Put(char);
template ZynTraceStream& ZynTraceStream::Put(signed char);
template ZynTraceStream& ZynTraceStream::Put(unsigned char);
template ZynTraceStream& ZynTraceStream::Put(bool);
template ZynTraceStream& ZynTraceStream::Put(short);
template ZynTraceStream& ZynTraceStream::Put(unsigned short);
template ZynTraceStream& ZynTraceStream::Put(int);
template ZynTraceStream& ZynTraceStream::Put(unsigned int);
template ZynTraceStream& ZynTraceStream::Put(long);
template ZynTraceStream& ZynTraceStream::Put(unsigned long);
template ZynTraceStream& ZynTraceStream::Put(long long);
template ZynTraceStream& ZynTraceStream::Put(unsigned long long);
