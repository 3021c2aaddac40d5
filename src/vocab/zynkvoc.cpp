#include "zynkvoc.h"

#include <span>

#include "zynkvoc_lookup.h"

namespace {

using zynkvoc::KeyOf;
using zynkvoc::Member;
using zynkvoc::Places;
using zynkvoc::Sample;

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

static_assert(IndexOfWord(Illegal) == 0, "what rows without a word lead to");

/// The keys of some of a class's members, each of them once.
template <std::size_t Count>
class Keys {
  public:
    constexpr void Add(std::uint64_t key) { _keys[_count++] = key; }
    constexpr operator std::span<const std::uint64_t>() const { return {_keys.data(), _count}; }

  private:
    std::array<std::uint64_t, Count> _keys{};
    std::size_t _count = 0;
};

/// From a class's numbers to its words.
template <std::size_t Count>
class NumberTable {
  public:
    explicit constexpr NumberTable(const Member (&members)[Count]) : _places(KeysOf(members)) {
        for (const Member& member : members)
            if (member.isShown)
                _rows[_places.Of(KeyOf(member.number))] = {member.number, IndexOfWord(member.name)};
    }

    constexpr zynkvoc::Shown Shown() const noexcept {
        return {_rows.data(), _places.Factor(), Places<Count>::Shift};
    }

  private:
    static constexpr Keys<Count> KeysOf(const Member (&members)[Count]) {
        Keys<Count> keys;
        for (const Member& member : members)
            if (member.isShown) {
                for (const Member* other = members; other != &member; ++other)
                    if (other->isShown && other->number == member.number)
                        throw "a number has two words"; // and so does not compile
                keys.Add(KeyOf(member.number));
            }
        return keys;
    }

    Places<Count> _places;
    std::array<zynkvoc::Shown::Row, Places<Count>::Size> _rows{};
};

/// From a class's words to its numbers.
template <std::size_t Count>
class WordTable {
  public:
    explicit constexpr WordTable(const std::array<std::string_view, Count>& words,
                                 const std::array<int, Count>& numbers)
        : _sample(words), _places(KeysOf(words, _sample)) {
        _elements.fill(NoElement);
        for (std::size_t i = 0; i < Count; ++i) {
            _rows[i] = {words[i], numbers[i]};
            if (!words[i].empty())
                _elements[_places.Of(_sample.KeyOf(words[i]))] = static_cast<std::uint8_t>(i);
        }
    }

    int Number(const ZynString& text, int otherwise) const {
        if (text.IsNull())
            return otherwise;
        const std::string_view word(text.C_str(), text.Length());
        const Row* row = Find(word);
        if (row == nullptr)
            row = Find(word.substr(0, word.find('\0'))); // where a text ends that has one inside
        return row != nullptr ? row->number : otherwise;
    }

  private:
    static constexpr std::uint8_t NoElement = UINT8_MAX;
    static_assert(Count < NoElement);

    struct Row {
        std::string_view word;
        int number = 0;
    };

    const Row* Find(std::string_view word) const {
        const std::uint8_t element = _elements[_places.Of(_sample.KeyOf(word))];
        return element != NoElement && _rows[element].word == word ? &_rows[element] : nullptr;
    }

    static constexpr Keys<Count> KeysOf(const std::array<std::string_view, Count>& words,
                                        const Sample& sample) {
        Keys<Count> keys;
        for (auto word = words.begin(); word != words.end(); ++word)
            if (!word->empty()) {
                if (std::find(words.begin(), word, *word) != word)
                    throw "a word stands twice"; // and so does not compile
                keys.Add(sample.KeyOf(*word));
            }
        return keys;
    }

    Sample _sample;
    Places<Count> _places;
    std::array<std::uint8_t, Places<Count>::Size> _elements{};
    std::array<Row, Count> _rows{};
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

constinit const ZynString* zynkvoc::Shown::_words = nullptr;

void zynkvoc::MakeWords() {
    auto* const objects = new ZynString[Words.size()];
    for (std::size_t i = 0; i < Words.size(); ++i)
        objects[i] = ZynString(Words[i].data(), static_cast<long>(Words[i].size()));
    Shown::_words = objects;
}

#define ZYN_VOCABULARY(Class, Enum, Default)                                                       \
    constinit const zynkvoc::Shown Class::_shown = Class##Numbers.Shown();                         \
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
