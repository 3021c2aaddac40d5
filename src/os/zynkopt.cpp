#include "zynkopt.h"

#include <cstring>
#include <exception>
#include <string>

#include "zynkplat.h"
#include "zynktrc.h"
#include "zynkxcp.h"

namespace {

constexpr int Error = '?';
constexpr int EndOfOptions = -1;
constexpr int GoOn = 0;
// No list of options is longer; what is has been named by mistake and must not fill the memory.
constexpr unsigned long LongestFile = 64UL << 20U;

} // namespace

bool isSwitchChar(char c) {
    return c == '-' || c == '/';
}

ZynOptions::ZynOptions(int argc, char* argv[], const char* spec)
    : _argc(argc), _argv(argv), _spec(spec), _fileText(ZynString(), '\n', true, true) {
    ZYN_REQUIRE(argv != nullptr && spec != nullptr);
}

int ZynOptions::error() {
    _optArg = nullptr;
    return Error;
}

int ZynOptions::eof() {
    _pos = nullptr;
    _optArg = nullptr;
    return EndOfOptions;
}

const char* ZynOptions::nextLine() {
    _fileArg = _fileText.Next();
    return _fileArg.IsNull() ? nullptr : _fileArg.C_str();
}

const char* ZynOptions::nextArg() {
    if (!_fileText.Empty())
        return nextLine();
    return _index < _argc ? _argv[_index++] : nullptr;
}

bool ZynOptions::openFile(const char* name) {
    std::string content;
    if (!zynkplat::ReadRegularFile(name, LongestFile, content))
        return false;
    _fileText.SetList(content.c_str());
    return true;
}

int ZynOptions::operator()() {
    ZYN_FLOW("ZynOptions::operator()", ZynTrace::FlowLevel, ZynTrace::Kernel);
    try {
        return next();
    } catch (const ZynException&) {   // not valid in the locale's encoding
    } catch (const std::exception&) { // no memory
    }
    _fileText.SetList(ZynString());
    _pos = nullptr;
    return error();
}

int ZynOptions::next() {
    if (_pos != nullptr && (*_pos == '\0' || *++_pos == '\0'))
        _pos = nullptr;
    if (_pos == nullptr)
        if (const int answer = takeWord(); answer != GoOn)
            return answer;

    const char letter = *_pos;
    const char* const known = letter == ':' ? nullptr : std::strchr(_spec, letter);
    if (known == nullptr) {
        _pos = nullptr;
        return error();
    }
    _optArg = nullptr;
    const int answer = static_cast<unsigned char>(letter); // never the -1 of the end
    const char kind = letter == '\0' ? '\0' : known[1];    // a lone "/" finds the end of `_spec`
    return kind == ':' || kind == '*' ? takeValue(answer, kind == ':') : answer;
}

// Moves to the first letter of the next word. What a response file holds is not read as the name of
// another one, so that no file can make this loop or nest.
int ZynOptions::takeWord() {
    bool isFromFile = !_fileText.Empty();
    const char* word = nextArg();
    if (!isFromFile && word != nullptr && *word == '@') {
        if (!openFile(word + 1))
            return error();
        isFromFile = true;
        word = nextLine();
    }
    if (word == nullptr)
        return eof();
    if (!isSwitchChar(*word)) {
        if (!isFromFile)
            --_index;
        return eof();
    }
    if (*word == '-' && (word[1] == '-' || word[1] == '\0'))
        return eof();
    _pos = word + 1;
    return GoOn;
}

// A word that begins with a switch character is no value; `_pos` stays at it, and the next call
// goes on with the letter behind.
int ZynOptions::takeValue(int letter, bool isNeeded) {
    ++_pos;
    if (*_pos == ':' || *_pos == '=')
        ++_pos;
    if (*_pos == '\0') {
        _pos = nextArg();
        if (_pos == nullptr || isSwitchChar(*_pos))
            return isNeeded ? error() : letter;
    }
    _optArg = _pos;
    while (*_optArg == ' ')
        ++_optArg;
    _pos = nullptr;
    return letter;
}
