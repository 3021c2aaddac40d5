// ZynString: a counted, NUL-terminated text in the process's multi-byte character set, which can
// be null as well as empty.
//
// Copies share one representation and are constant time, which is why strings are passed and
// returned by value; a string that writes makes its representation its own first (copy on write).
// Reference counts are plain integers: a string and its copies stay with one thread at a time.
//
// Null is not empty:
//
//     operation              null operand             empty operand
//     IsNull, SetNull        allowed                  allowed
//     == != with a string    equal to null only       a text of length 0
//     <  with a string       below every other        above null, below every other
//     == with const char*    contract failure         a text of length 0
//     |  |=                  contract failure         nothing is added; shares the other side
//     WCharSize              2                        2
//     Reserve                becomes empty            gets room
//     to a character stream  "<null>"                 nothing
//     StripShiftInShiftOut   nothing happens          nothing happens
//     ListContains           as told there            as told there
//     MakeList, the list     an empty list            nothing is in it
//     a tokenizer's list     delivers nothing         as told there
//     all others             contract failure         as told at each
//
// Positions count from 1, and 0 means not found. `Length` counts bytes; the operations that speak
// of characters follow the locale's multi-byte encoding, also one with shift states. On a byte
// sequence that is invalid in it they throw ZynOSException, but for conversions of case and shift
// bytes, which leave the text as it is. A text stops at its first NUL for all of them.
#pragma once

#include <cstring>
#include <iosfwd>
#include <memory>
#include <string_view>

#include "zynkbin.h"

class ZYN_EXPORT ZynString {
  public:
    class Tokenizer;

    /// Null.
    ZynString() = default;
    /// A copy from byte `startpos` of `text` on: up to the NUL if `length` is -1, up to `length`
    /// bytes but not past a NUL if it is positive; any other length gives an empty string. A null
    /// `text` gives a null string.
    ZynString(const char* text, long length = -1, unsigned long startpos = 1);
    /// An empty string with room for `capacity` bytes, to be filled through PreRead.
    ZynString(CreateEmptyTag, unsigned long capacity);
    /// A null pointer makes the string null.
    ZynString& operator=(const char* text);
    /// A text of one byte; a NUL counts as such.
    ZynString& operator=(char c);
    /// Becomes a copy of `n` bytes, NULs among them, in the block that it has if no copy shares
    /// that and a new one would be as large. The bytes may be its own.
    ZynString& Assign(const char* bytes, unsigned long n);

    /// @name Inspection
    /// @{
    bool IsNull() const { return _pRep == nullptr; }
    void SetNull();
    /// Bytes.
    unsigned long Length() const;
    unsigned long LengthByte() const { return Length(); }
    /// Characters.
    unsigned long LengthChar() const;
    /// The text, valid until the string changes or goes.
    const char* C_str() const;
    /// Bytes of a copy in 16-bit units with its terminator; 2 for null.
    unsigned long WCharSize() const;
    /// @}

    /// @name Concatenation
    /// Growth is exact: there is no spare room afterwards.
    /// @{
    ZynString& operator|=(const ZynString& rhs);
    ZynString& operator|=(const char* psz);
    ZynString& operator|=(char c);
    /// @}

    /// @name Search, in characters
    /// @{
    /// The first `substr` at or behind character `start`; 0 if there is none, if either text is
    /// empty or if `start` is behind the end.
    unsigned long Position(const ZynString& substr, unsigned long start = 1) const;
    /// The last `substr` at or behind character `start`; 0 if there is none.
    unsigned long LastPosition(const ZynString& substr, unsigned long start = 1) const;
    /// Characters from the last `substr` on, itself not counted if it is one character; all of
    /// them if there is none.
    unsigned long LengthFromLastPosition(const ZynString& substr) const;
    /// @}

    /// @name Substrings and editing
    /// @{
    /// Up to `length` characters from character `start`, well formed by itself. A `start` of 0
    /// counts as 1.
    ZynString SubString(unsigned long start, unsigned long length) const;
    /// Makes the representation the string's own, with room for `n` bytes. A null string becomes
    /// an empty one.
    void Reserve(unsigned long n);
    /// At most `n` bytes from the start that do not end within a character.
    ZynString Truncate(unsigned long n) const;
    /// Removes repetitions of `s` at both ends.
    void StripChar(const char* s);
    /// Replaces each `oldText` by `newText`, from left to right and without looking at replaced
    /// text again; the number of replacements. An empty `oldText` is never found.
    unsigned long Substitute(const ZynString& oldText, const ZynString& newText);
    /// The same by bytes.
    unsigned long SubstituteByte(const ZynString& oldText, const ZynString& newText);
    /// In place. A text with a character that can't be converted stays as it is.
    ZynString& ToLowerCase();
    ZynString& ToUpperCase();
    ZynString AsLowerCase() const;
    ZynString AsUpperCase() const;
    /// Puts the shift bytes of an encoding that has shift states in canonical form.
    void StripShiftInShiftOut();
    /// Where to fill a string that no copy shares; PostRead tells how many bytes were filled.
    char* PreRead();
    /// Sets the length and stores the terminator. More than there is room for is a failure of the
    /// invariant, and the length stays. Detaches from copies.
    void PostRead(unsigned long n);
    /// @}

    /// @name Numbers
    /// @{
    /// The number that the text begins with, held to the limits of a signed 32-bit number; 0 if
    /// there is none.
    long AsLong() const;
    /// The same for an unsigned 32-bit number; a negative one wraps.
    unsigned long AsUlong() const;
    /// The number that the text begins with. "." is a decimal separator whatever the locale, beside
    /// the locale's own. The text itself is written to for a moment.
    double AsDouble() const;
    /// Decimal digits, with leading zeros up to `width` characters and a sign ahead of them; a
    /// longer number is cut on the right. Width 0 takes what is needed.
    static ZynString FromLong(long value, unsigned long width = 0);
    static ZynString FromUlong(unsigned long value, unsigned long width = 0);
    /// Up to 16 significant digits, "." as decimal separator, also behind a whole number, and an
    /// exponent of at least three digits below 0.1 and from 1e16 on. `digits` is ignored.
    static ZynString FromDouble(double value, unsigned short digits = 16);
    /// @}

    /// @name Lists
    /// Texts with a single-byte separator between their items. Tokenizer takes them apart.
    /// @{
    /// `list` with `item` behind it, and one separator between them whichever of the two brings
    /// it. A null or empty list, or an empty item, needs none. A null item is a contract failure.
    static ZynString MakeList(const ZynString& list, const ZynString& item, char separator);
    /// Whether `item` is in `list`; blanks around the items of the list do not count. An empty item
    /// is in a list that has an empty one; a null item is in a null list and in no other.
    static bool ListContains(const ZynString& list, const ZynString& item, char separator);
    /// @}

    /// Whether the whole text matches: `single` stands for exactly one 16-bit unit, `multi` for any
    /// number of them, all other characters for themselves. There is no escape for the two. Takes
    /// at most as many steps as the product of both lengths.
    bool MatchesPattern(const ZynString& pattern, char single, char multi) const;

    /// @name Quoting
    /// @{
    /// Puts `quote` at both ends and `escape` in front of each character whose first byte is one of
    /// the two. A character that is invalid or begins with 0xFF raises ZynOSException.
    ZynString& Quote(char quote, char escape);
    /// Takes the quotes and the escapes away again. A text that is not quoted stays as it is, also
    /// one whose last quote is escaped; so does an `escape` in front of another character.
    ZynString& Unquote(char quote, char escape);
    /// @}

    /// @name Base64 (RFC 2045, section 6.8), without line breaks
    /// @{
    /// The alphabet, by value.
    static constexpr char char_set[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    /// Four characters for each three bytes, the last four filled up with "=".
    static ZynString Base64Encode(const ZynBinary& data);
    /// Skips what is not in the alphabet, padding included; two, three or four characters of a
    /// group give one, two or three bytes. Never fails: what can't be read gives fewer bytes, and
    /// a text of nothing else an empty value.
    ZynBinary Base64Decode() const;
    /// @}

    /// The first 16-bit unit of the one character at `s`.
    static char16_t ToWChar(const char* s);
    /// Whether the character at `s` takes more than one byte.
    static bool IsDBCSChar(const char* s);
    /// The bytes, without the terminator.
    ZynBinary AsBinary() const;

    /// The text of the first clause of the invariant that does not hold; null if all hold.
    const char* _assert_invariant() const;

    friend bool operator==(const ZynString& lhs, const ZynString& rhs);
    friend bool operator<(const ZynString& lhs, const ZynString& rhs);
    friend ZynString operator|(const ZynString& lhs, const ZynString& rhs);
    friend ZynString operator|(const ZynString& lhs, const char* psz);

  private:
    static bool AreSameShort(const ZynBinary::Rep& lhs, const ZynBinary::Rep& rhs);
    static ZynString FromBytes(const char* bytes, unsigned long n);
    ZynString Joined(const char* text, unsigned long n, unsigned long room) const;
    ZynString& Append(const char* text, unsigned long n);
    unsigned long Search(const ZynString& substr, unsigned long start, bool last) const;
    unsigned long PositionChar(const ZynString& substr, unsigned long start) const;
    unsigned long PositionByte(const ZynString& substr, unsigned long start) const;
    ZynString SubStringChar(unsigned long start, unsigned long length) const;
    ZynString SubStringByte(unsigned long start, unsigned long length) const;
    static bool Matches(const char16_t* text, const char16_t* pattern, char16_t single,
                        char16_t multi);
    struct WideBuffer;
    unsigned long Widen(char16_t* units) const;
    const char16_t* AsWChar(ZynBinary& wcBuffer) const;
    std::u16string_view WideText(WideBuffer& buffer) const;
    void ConvertCase(bool upper);
    void StripByte(char c);
    void StripTrailingByte(char c);
    void StripText(const ZynString& stripStr);

    ZynBinary::RepRef _pRep;
};

/// Delivers the items of a list from left to right. Takes one walk over the list for all of them.
class ZYN_EXPORT ZynString::Tokenizer {
  public:
    /// @param separator a single-byte character
    /// @param strip     takes blanks off both ends of the list and of each item
    /// @param skipEmpty leaves out empty items
    Tokenizer(const ZynString& list, char separator, bool strip, bool skipEmpty);
    Tokenizer(const Tokenizer&) = delete;
    Tokenizer& operator=(const Tokenizer&) = delete;
    ~Tokenizer() = default;

    /// Begins anew with another list. A null list is exhausted at once.
    void SetList(const ZynString& list);
    /// Whether no item is left. An empty item behind the last separator is one.
    bool Empty() const;
    /// What has not been delivered; null if no item is left.
    ZynString Rest() const;
    /// The next item, or null if none is left. A list that is not valid in the locale's encoding
    /// raises ZynOSException.
    ZynString Next() const;

  private:
    void MoveTo(unsigned long at) const;
    unsigned long FindSeparator() const;

    std::unique_ptr<ZynString> _list;
    char _separator[2];
    bool _strip;
    bool _skipEmpty;
    mutable unsigned long _at = 0;   ///< byte of the list at which what is left begins
    mutable bool _isChecked = false; ///< whether the list is known to be valid
};

/// Unsigned bytes up to the first NUL; no locale and no case folding. Two null strings are equal.
ZYN_EXPORT bool operator==(const ZynString& lhs, const ZynString& rhs);
/// The same with a text; a null operand is a contract failure.
ZYN_EXPORT bool operator==(const ZynString& r, const char* psz);
/// Unsigned bytes up to the first NUL; null is below every other value.
ZYN_EXPORT bool operator<(const ZynString& lhs, const ZynString& rhs);

/// Concatenation. A null operand is a contract failure.
ZYN_EXPORT ZynString operator|(const ZynString& lhs, const ZynString& rhs);
ZYN_EXPORT ZynString operator|(const ZynString& lhs, const char* psz);
/// The same with a text that goes: it is appended to.
ZYN_EXPORT ZynString operator|(ZynString&& lhs, const ZynString& rhs);
ZYN_EXPORT ZynString operator|(ZynString&& lhs, const char* psz);

/// The text; "<null>" for null.
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynString& string);

#include "zynkstr.inl"
