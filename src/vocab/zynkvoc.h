// The vocabulary of the workflow domain: values that are stored as numbers, and shown, traced and
// entered as words.
//
// Each class holds an enumeration and its words and has no instances:
//
//     static const ZynString& ToString(Type)
//         The word; "<illegal>" for a number without one. The same object at every call, for the
//         life of the process.
//     static Type FromString(const ZynString&)
//         The number of the word, which is looked for exactly as it is. For an unknown or null one
//         the default: the member that stands for 0 unless zynkvoc.def names another.
//     static Type FromUppercaseString(const ZynString&)
//         The same for upper-case words; ZynAS and ZynBS only.
//
// No direction throws. The words are shared between classes and are made when the library is
// loaded; nothing is allocated or locked after that. As their reference counts are plain integers
// too, a second thread that wants a copy makes one of the text, not of the string.
#pragma once

#include <cstdint>

#include "zynkstr.h"

namespace zynkvoc {

/// From the numbers of a class to its words. A number can only stand in one row, and so the lookup
/// is a few loads; it is compiled into the caller, as a call would take as long again.
class ZYN_EXPORT Shown {
  public:
    struct Row {
        int number = 0;
        std::uint16_t word = 0; ///< 0 is the word of numbers that have none
    };

    constexpr Shown(const Row* rows, std::uint64_t factor, int shift) noexcept
        : _rows(rows), _factor(factor), _shift(shift) {}

    const ZynString& Word(int number) const {
        const Row& row = _rows[(static_cast<std::uint32_t>(number) * _factor) >> _shift];
        return _words[row.number == number ? row.word : 0];
    }

  private:
    friend void MakeWords();

    static const ZynString* _words; ///< of all classes; never torn down

    const Row* _rows;
    std::uint64_t _factor; ///< tells the numbers apart
    int _shift;
};

} // namespace zynkvoc

#define ZYN_VOCABULARY(Class, Enum, Default)                                                       \
    class ZYN_EXPORT Class {                                                                       \
      public:                                                                                      \
        Class() = delete;                                                                          \
        enum Enum : int {
#define ZYN_MEMBER(Name, Number) Name = (Number),
#define ZYN_MEMBER_READ(Name, Number) ZYN_MEMBER(Name, Number)
#define ZYN_MEMBER_SHOWN(Name, Number) ZYN_MEMBER(Name, Number)
#define ZYN_MEMBER_UPPERCASE(Name, Number, Word) ZYN_MEMBER(Name, Number)
#define ZYN_MEMBERS_END(Enum)                                                                      \
    }                                                                                              \
    ;                                                                                              \
    static const ZynString& ToString(Enum value) {                                                 \
        return _shown.Word(value);                                                                 \
    }                                                                                              \
    static Enum FromString(const ZynString& word);
#define ZYN_CLASS_END()                                                                            \
  private:                                                                                         \
    static const zynkvoc::Shown _shown;                                                            \
    }                                                                                              \
    ;
#define ZYN_END(Class, Enum)                                                                       \
    ZYN_MEMBERS_END(Enum)                                                                          \
    ZYN_CLASS_END()
#define ZYN_END_UPPERCASE(Class, Enum)                                                             \
    ZYN_MEMBERS_END(Enum)                                                                          \
    static Enum FromUppercaseString(const ZynString& word);                                        \
    ZYN_CLASS_END()

// Within its class a member may bear a name that the global namespace has too, as CreateEmpty does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
#include "zynkvoc.def"
#pragma GCC diagnostic pop
#undef ZYN_MEMBERS_END
#undef ZYN_CLASS_END
