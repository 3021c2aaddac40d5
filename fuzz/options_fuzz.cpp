// Options of command lines and response files, beside a parser that works on lists of words.
#include <sys/mman.h>
#include <unistd.h>

#include <deque>
#include <map>
#include <utility>
#include <vector>

#include "support/fuzz.h"
#include "support/plain_text.h"
#include "zynkopt.h"

namespace {

using Words = std::deque<std::string>;

constexpr int End = -1;
constexpr int Error = '?';

/// The response files, by name.
using Files = std::map<std::string, std::string>;

struct Option {
    int letter;
    std::optional<std::string> value;
    bool operator==(const Option&) const = default;
};

bool IsSwitch(const std::string& word) {
    return word.starts_with('-') || word.starts_with('/');
}

Words LinesOf(std::string content) {
    Words lines;
    while (!content.empty()) {
        const std::size_t end = content.find('\n');
        std::string line = content.substr(0, end);
        content.erase(0, end == std::string::npos ? end : end + 1);
        line.erase(0, line.find_first_not_of(' '));
        line.erase(line.find_last_not_of(' ') + 1); // npos + 1 is 0
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}

class PlainOptions {
  public:
    PlainOptions(const std::string& spec, const Words& words, const Files& files)
        : _spec(spec), _words(words), _files(files) {}

    /// Words of the command line that are left.
    std::size_t Left() const { return _words.size(); }
    Option Next() {
        if (_letters.empty())
            return Word();
        return Letter();
    }

  private:
    std::optional<std::string> Take() {
        Words& from = _lines.empty() ? _words : _lines;
        if (from.empty())
            return std::nullopt;
        std::string word = from.front();
        from.pop_front();
        return word;
    }

    Option Word() {
        bool isFromFile = !_lines.empty();
        auto word = Take();
        if (word && word->starts_with('@') && !isFromFile) {
            const auto file = _files.find(word->substr(1));
            if (file == _files.end() || !zynfuzz::Characters(file->second))
                return {Error, {}};
            _lines = LinesOf(file->second);
            isFromFile = true;
            word = _lines.empty() ? std::nullopt : Take();
        }
        if (word && !IsSwitch(*word) && !isFromFile)
            _words.push_front(*word);
        if (!word || !IsSwitch(*word) || *word == "-" || word->starts_with("--"))
            return {End, {}};
        _letters = word->substr(1);
        return _letters.empty() ? Option{'\0', {}} : Letter();
    }

    Option Letter() {
        const char letter = _letters.front();
        const std::size_t known = letter == ':' ? std::string::npos : _spec.find(letter);
        if (known == std::string::npos) {
            _letters.clear();
            return {Error, {}};
        }
        _letters.erase(0, 1);
        const int answer = static_cast<unsigned char>(letter);
        const char kind = known + 1 < _spec.size() ? _spec[known + 1] : ' ';
        return kind == ':' || kind == '*' ? WithValue(answer, kind == ':') : Option{answer, {}};
    }

    Option WithValue(int letter, bool isNeeded) {
        std::string value = std::exchange(_letters, "");
        if (value.starts_with(':') || value.starts_with('='))
            value.erase(0, 1);
        if (value.empty()) {
            const auto word = Take();
            if (!word || IsSwitch(*word)) {
                _letters = word ? word->substr(1) : "";
                return {isNeeded ? Error : letter, {}};
            }
            value = *word;
        }
        return {letter, value.erase(0, value.find_first_not_of(' '))};
    }

    std::string _spec;
    Words _words;
    Words _lines; // what is left of a response file
    const Files& _files;
    std::string _letters; // what is left of the present word
};

// The content as a file in memory, and a name that it can be opened by.
std::string NameOf(std::size_t number, const std::string& content) {
    static auto& opened = *new std::vector<int>;
    if (number == opened.size())
        opened.push_back(memfd_create("response", 0));
    const int file = opened[number];
    FUZZ_CHECK(ftruncate(file, 0) == 0 && pwrite(file, content.data(), content.size(), 0) ==
                                              static_cast<ssize_t>(content.size()));
    return "/proc/self/fd/" + std::to_string(file);
}

// A word that begins with "@" is a response file with the rest as its content.
Words TakeWords(zynfuzz::Input& input, Files& files) {
    constexpr std::size_t MaxFiles = 8;
    Words words;
    while (!input.IsEmpty()) {
        std::string word = input.Text();
        if (word.starts_with('@')) {
            const bool isMore = files.size() < MaxFiles;
            const std::string name = isMore ? NameOf(files.size(), word.substr(1)) : "";
            if (isMore)
                files[name] = word.substr(1);
            word = "@" + name;
        }
        words.push_back(word);
    }
    return words;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const std::string spec = input.Text();
    Files files;
    const Words words = TakeWords(input, files);
    // Each in memory of its own without a byte to spare.
    std::vector<std::vector<char>> texts = {{'x', '\0'}};
    for (const std::string& word : words)
        texts.emplace_back(word.c_str(), word.c_str() + word.size() + 1);
    std::vector<char*> argv;
    argv.reserve(texts.size());
    for (std::vector<char>& text : texts)
        argv.push_back(text.data());

    ZynOptions options(static_cast<int>(argv.size()), argv.data(), spec.c_str());
    PlainOptions plain(spec, words, files);
    std::size_t ends = 0; // one behind the other with nothing taken in between
    for (std::size_t calls = 0; ends < 2; ++calls) {
        FUZZ_CHECK(calls <= 2 * size + 2);
        const std::size_t before = plain.Left();
        const int letter = options();
        const Option expected = plain.Next();
        FUZZ_CHECK(letter == expected.letter);
        FUZZ_CHECK((options.OptArg() == nullptr) == !expected.value);
        FUZZ_CHECK(!expected.value || options.OptArg() == *expected.value);
        FUZZ_CHECK(static_cast<std::size_t>(options.Index()) == argv.size() - plain.Left());
        ends = letter == End && plain.Left() == before ? ends + 1 : 0;
    }
    return 0;
}
