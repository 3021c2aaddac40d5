// ZynTraceStream: the character stream that a trace line's items are put on.
//
// It is a std::ostream, and takes whatever one takes: manipulators, and what has an operator of its
// own. The items that most lines are made of, texts and whole numbers, go right into the line's
// memory while the stream is as it was at the line's beginning; what a stream would do for each of
// them takes longer than all the rest of a line.
#pragma once

#include <concepts>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

#include "zynkstr.h"

namespace zynktrc {

class Memory;

template <class T, class... Types>
concept OneOf = (std::same_as<T, Types> || ...);

/// What Put is made for.
template <class T>
concept Scalar = OneOf<T, char, signed char, unsigned char, bool, short, unsigned short, int,
                       unsigned int, long, unsigned long, long long, unsigned long long>;

} // namespace zynktrc

// The operators are templates of exactly these types, so that no other type is converted to one of
// them where it has an operator of its own, or is to go the way that a std::ostream sends it.
class ZYN_EXPORT ZynTraceStream final : public std::ostream {
  public:
    /// Writes to `memory`; nowhere if it is null. Numbers are in the "C" locale.
    explicit ZynTraceStream(zynktrc::Memory* memory);
    ZynTraceStream(const ZynTraceStream&) = delete;
    ZynTraceStream& operator=(const ZynTraceStream&) = delete;

    template <zynktrc::Scalar T>
    friend ZynTraceStream& operator<<(ZynTraceStream& os, T item) {
        return os.Put(item);
    }
    template <zynktrc::OneOf<const char*, char*> T>
    friend ZynTraceStream& operator<<(ZynTraceStream& os, T text) {
        if (text == nullptr) [[unlikely]]
            return os.PutNull();
        return os.PutText({text, std::char_traits<char>::length(text)});
    }
    template <zynktrc::OneOf<std::string, std::string_view> T>
    friend ZynTraceStream& operator<<(ZynTraceStream& os, const T& text) {
        return os.PutText(text);
    }
    template <std::same_as<ZynString> T>
    friend ZynTraceStream& operator<<(ZynTraceStream& os, const T& text) {
        return os << (text.IsNull() ? "<null>" : text.C_str());
    }

    // What else is often put on a stream, so that an operator for streams of any type that gives
    // what it was given can be an item's. Pointers and enumerations of all types can't be among
    // it: they may have operators of their own.
    template <zynktrc::OneOf<float, double, long double, void*, const void*, std::nullptr_t> T>
    friend ZynTraceStream& operator<<(ZynTraceStream& os, T item) {
        return os.Also(item);
    }
    friend ZynTraceStream& operator<<(ZynTraceStream& os, std::ostream& (*change)(std::ostream&)) {
        return os.Also(change);
    }
    friend ZynTraceStream& operator<<(ZynTraceStream& os, std::ios& (*change)(std::ios&)) {
        return os.Also(change);
    }
    friend ZynTraceStream& operator<<(ZynTraceStream& os,
                                      std::ios_base& (*change)(std::ios_base&)) {
        return os.Also(change);
    }

    /// As if it was new, but for the words and callbacks of users, which a stream can't be asked
    /// for. False if it can't be that: it has had another locale, or there is no memory.
    [[gnu::visibility("hidden")]] bool Reset() noexcept;

  private:
    template <class T>
    ZynTraceStream& Also(T item) {
        static_cast<std::ostream&>(*this) << item;
        return *this;
    }
    template <class T>
    ZynTraceStream& Put(T item);
    ZynTraceStream& PutText(std::string_view text);
    ZynTraceStream& PutNull();
    template <class T>
    [[gnu::noinline, gnu::visibility("hidden")]] ZynTraceStream& PutAsStream(const T& item);

    bool IsPlain() const;
    bool IsFresh() const;
    static void OnEvent(event event, std::ios_base& stream, int index);

    std::ios* _pIos; ///< the virtual base, found once
    zynktrc::Memory* _memory;
    bool _hasNewLocale = false;
};
