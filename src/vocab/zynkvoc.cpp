#include "zynkvoc.h"

#include <cstring>

#include "zynkvoc_lookup.h"

namespace {

using zynkvoc::HashOf;
using zynkvoc::Member;
using zynkvoc::NotFound;

constexpr std::string_view Illegal = "<illegal>";

// Every word of every class.
constexpr std::string_view AllNames[] = {
    Illegal,
#define ZYN_VOCABULARY(Class, Enum, Default)
#define ZYN_MEMBER(Name, Number) #Name,
#define ZYN_MEMBER_READ(Name, Number) ZYN_MEMBER(Name, Number)
#define ZYN_MEMBER_SHOWN(Name, Number) ZYN_MEMBER(Name, Number)
#define ZYN_MEMBER_UPPERCASE(Name, Number, Word) ZYN_MEMBER(Name, Number)
#define ZYN_END(Class, Enum)
#define ZYN_END_UPPERCASE(Class, Enum)
#include "zynkvoc.def"
};

constexpr auto SortedNames() {
    std::array<std::string_view, std::size(AllNames)> names{};
    std::copy(std::begin(AllNames), std::end(AllNames), names.begin());
    std::sort(names.begin(), names.end());
    return names;
}

constexpr std::size_t CountDistinct() {
    auto names = SortedNames();
    return static_cast<std::size_t>(std::unique(names.begin(), names.end()) - names.begin());
}

// The same, each once and in order: a word that several classes know is one object.
constexpr auto Words = [] {
    std::array<std::string_view, CountDistinct()> words{};
    auto names = SortedNames();
    std::unique_copy(names.begin(), names.end(), words.begin());
    return words;
}();

constexpr std::uint16_t IndexOfWord(std::string_view word) {
    return static_cast<std::uint16_t>(std::lower_bound(Words.begin(), Words.end(), word) -
                                      Words.begin());
}

constexpr std::uint16_t IllegalIndex = IndexOfWord(Illegal);

// Made at load, and never torn down.
const ZynString* wordObjects = nullptr;

/// From a class's numbers to its words.
template <std::size_t Count>
class NumberTable {
  public:
    explicit constexpr NumberTable(const Member (&members)[Count]) {
        std::int16_t element = 0;
        for (const Member& member : members) {
            _numbers[static_cast<std::size_t>(element)] = member.number;
            _words[static_cast<std::size_t>(element)] = IndexOfWord(member.name);
            if (member.isShown) {
                if (Find(member.number) != NotFound)
                    throw "a number has two words"; // and so does not compile
                _places.Insert(HashOf(member.number), element);
            }
            ++element;
        }
    }

    const ZynString& Word(int number) const {
        const int element = Find(number);
        return wordObjects[element == NotFound ? IllegalIndex
                                               : _words[static_cast<std::size_t>(element)]];
    }

  private:
    constexpr int Find(int number) const {
        return _places.Find(HashOf(number), [&](int element) {
            return _numbers[static_cast<std::size_t>(element)] == number;
        });
    }

    zynkvoc::Places<Count> _places;
    std::array<int, Count> _numbers{};
    std::array<std::uint16_t, Count> _words{};
};

/// From a class's words to its numbers.
template <std::size_t Count>
class WordTable {
  public:
    explicit constexpr WordTable(const std::array<std::string_view, Count>& words,
                                 const std::array<int, Count>& numbers)
        : _words(words), _numbers(numbers) {
        for (std::size_t i = 0; i < Count; ++i)
            if (!words[i].empty()) {
                if (Find(words[i]) != NotFound)
                    throw "a word stands twice"; // and so does not compile
                _places.Insert(HashOf(words[i]), static_cast<std::int16_t>(i));
            }
    }

    int Number(const ZynString& text, int otherwise) const {
        if (text.IsNull())
            return otherwise;
        const int element = Find(text.C_str());
        return element == NotFound ? otherwise : _numbers[static_cast<std::size_t>(element)];
    }

  private:
    constexpr int Find(std::string_view word) const {
        return _places.Find(HashOf(word), [&](int element) {
            return _words[static_cast<std::size_t>(element)] == word;
        });
    }

    zynkvoc::Places<Count> _places;
    std::array<std::string_view, Count> _words;
    std::array<int, Count> _numbers;
};

template <std::size_t Count>
constexpr auto NumbersOf(const Member (&members)[Count]) {
    std::array<int, Count> numbers{};
    std::transform(std::begin(members), std::end(members), numbers.begin(),
                   [](const Member& member) { return member.number; });
    return numbers;
}

template <std::size_t Count>
constexpr auto ReadWordsOf(const Member (&members)[Count]) {
    std::array<std::string_view, Count> words{};
    std::transform(std::begin(members), std::end(members), words.begin(),
                   [](const Member& m) { return m.isRead ? m.name : std::string_view(); });
    return words;
}

constexpr std::size_t LongestWord = 64;

/// The upper-case words of a class, which are the members' names in capitals unless they have their
/// own.
template <std::size_t Count>
class UpperCaseWords {
  public:
    explicit constexpr UpperCaseWords(const Member (&members)[Count]) {
        for (std::size_t i = 0; i < Count; ++i) {
            const Member& m = members[i];
            for (const char c : m.upperCase.empty() ? m.name : m.upperCase)
                _text[i][_length[i]++] =
                    c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        }
    }

    constexpr std::array<std::string_view, Count> Words() const {
        std::array<std::string_view, Count> words;
        for (std::size_t i = 0; i < Count; ++i)
            words[i] = {_text[i], _length[i]};
        return words;
    }

  private:
    char _text[Count][LongestWord] = {};
    std::size_t _length[Count] = {};
};

// The members and both directions of each class.
#define ZYN_VOCABULARY(Class, Enum, Default) constexpr Member Class##Members[] = {
#define ZYN_MEMBER(Name, Number) {#Name, Number},
#define ZYN_MEMBER_READ(Name, Number) {#Name, Number, true, false},
#define ZYN_MEMBER_SHOWN(Name, Number) {#Name, Number, false, true},
#define ZYN_MEMBER_UPPERCASE(Name, Number, Word) {#Name, Number, true, true, Word},
#define ZYN_END(Class, Enum)                                                                       \
    }                                                                                              \
    ;                                                                                              \
    constexpr NumberTable Class##Numbers(Class##Members);                                          \
    constexpr WordTable Class##Words(ReadWordsOf(Class##Members), NumbersOf(Class##Members));
#define ZYN_END_UPPERCASE(Class, Enum)                                                             \
    ZYN_END(Class, Enum)                                                                           \
    constexpr UpperCaseWords Class##UpperCase(Class##Members);                                     \
    constexpr WordTable Class##UpperCaseWords(Class##UpperCase.Words(), NumbersOf(Class##Members));
#include "zynkvoc.def"

} // namespace

void zynkvoc::MakeWords() {
    auto* const objects = new ZynString[Words.size()];
    for (std::size_t i = 0; i < Words.size(); ++i)
        objects[i] = ZynString(Words[i].data(), static_cast<long>(Words[i].size()));
    wordObjects = objects;
}

#define ZYN_VOCABULARY(Class, Enum, Default)                                                       \
    const ZynString& Class::ToString(Enum value) {                                                 \
        return Class##Numbers.Word(value);                                                         \
    }                                                                                              \
    Class::Enum Class::FromString(const ZynString& word) {                                         \
        return static_cast<Enum>(Class##Words.Number(word, Default));                              \
    }
#define ZYN_MEMBER(Name, Number)
#define ZYN_MEMBER_READ(Name, Number)
#define ZYN_MEMBER_SHOWN(Name, Number)
#define ZYN_MEMBER_UPPERCASE(Name, Number, Word)
#define ZYN_END(Class, Enum)
#define ZYN_END_UPPERCASE(Class, Enum)                                                             \
    Class::Enum Class::FromUppercaseString(const ZynString& word) {                                \
        return static_cast<Enum>(Class##UpperCaseWords.Number(word, 0));                           \
    }
#include "zynkvoc.def"
