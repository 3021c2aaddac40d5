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

#include "zynkstr.h"

#define ZYN_VOCABULARY(Class, Enum, Default)                                                       \
    class ZYN_EXPORT Class {                                                                       \
      public:                                                                                      \
        Class() = delete;                                                                          \
        enum Enum : int {
#define ZYN_MEMBER(Name, Number) Name = (Number),
#define ZYN_MEMBER_READ(Name, Number) ZYN_MEMBER(Name, Number)
#define ZYN_MEMBER_SHOWN(Name, Number) ZYN_MEMBER(Name, Number)
#define ZYN_MEMBER_UPPERCASE(Name, Number, Word) ZYN_MEMBER(Name, Number)
#define ZYN_END(Class, Enum)                                                                       \
    }                                                                                              \
    ;                                                                                              \
    static const ZynString& ToString(Enum value);                                                  \
    static Enum FromString(const ZynString& word);                                                 \
    }                                                                                              \
    ;
#define ZYN_END_UPPERCASE(Class, Enum)                                                             \
    }                                                                                              \
    ;                                                                                              \
    static const ZynString& ToString(Enum value);                                                  \
    static Enum FromString(const ZynString& word);                                                 \
    static Enum FromUppercaseString(const ZynString& word);                                        \
    }                                                                                              \
    ;

// Within its class a member may bear a name that the global namespace has too, as CreateEmpty does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
#include "zynkvoc.def"
#pragma GCC diagnostic pop
