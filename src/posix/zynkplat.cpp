// The multi-byte functions of a POSIX host, whose wide characters are code points.
#include "zynkplat.h"

#include <langinfo.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <iterator>
#include <new>

namespace zynkplat {

namespace {

// What a thread has begun to convert: also an encoding without shift states has sequences that
// stand for two characters.
struct ConversionStates {
    std::mbstate_t toWide;
    std::mbstate_t fromWide;
};
thread_local ConversionStates states;

constexpr unsigned char LastPlainByte = 0x7F;
constexpr wchar_t LastCharacter = 0x10FFFF; // some runtimes read on to 31 bits

// What the runtime says of the bytes of an encoding, asked for once in the process: the runtime
// chooses its conversion by the encoding's name, whatever locale has it. They are never given back,
// as threads that end late still read them.
class LocaleEncoding {
  public:
    // For the thread's current locale; null if it can't be kept, for want of memory or for the
    // length of its name. A locale that goes may leave its address to another one, so the name is
    // compared as well.
    static const LocaleEncoding* Current() {
        thread_local const char* codeset = nullptr;
        thread_local const LocaleEncoding* current = nullptr;
        const char* const now = nl_langinfo(CODESET);
        if (current == nullptr || now != codeset || std::strcmp(now, current->_name) != 0) {
            const LocaleEncoding* const found = Find(now);
            if (found == nullptr)
                return nullptr;
            current = found;
            codeset = now;
        }
        return current;
    }

    // Where a shift-out is no character, it shifts. Not the runtime's own answer: it counts other
    // encodings as stateful too, and it has one state for all threads.
    static bool ShiftsNow() {
        constexpr char ShiftOut = 0x0E;
        std::mbstate_t fresh = {};
        return std::mbrlen(&ShiftOut, 1, &fresh) != 1;
    }

    bool HasShiftStates() const { return _hasShiftStates; }
    const DirectEncoding& Direct() const { return _direct; }

  private:
    explicit LocaleEncoding(const char* codeset) : _hasShiftStates(ShiftsNow()) {
        _direct.isAscii = true;
        for (unsigned int byte = 0; byte < std::size(_direct.units); ++byte) {
            _direct.units[byte] = UnitOf(static_cast<char>(byte));
            if (byte <= LastPlainByte && _direct.units[byte] != byte)
                _direct.isAscii = false;
        }
        _direct.isUtf8 = _direct.isAscii && std::strcmp(codeset, "UTF-8") == 0;
        std::strncpy(_name, codeset, sizeof _name - 1);
    }

    static const LocaleEncoding* Find(const char* codeset) {
        static constinit std::atomic<const LocaleEncoding*> newest = nullptr;
        if (std::strlen(codeset) >= sizeof _name)
            return nullptr;
        for (const LocaleEncoding* each = newest; each != nullptr; each = each->_older)
            if (std::strcmp(each->_name, codeset) == 0)
                return each;
        auto* const learned = new (std::nothrow) LocaleEncoding(codeset);
        if (learned != nullptr) {
            learned->_older = newest;
            while (!newest.compare_exchange_weak(learned->_older, learned))
                ; // two threads that learn the same keep it twice
        }
        return learned;
    }

    // Of some bytes the runtime waits for what follows before it tells.
    static char16_t UnitOf(char byte) {
        wchar_t character = 0;
        std::mbstate_t state = {};
        const bool isPlain =
            std::mbrtowc(&character, &byte, 1, &state) == 1 && std::mbsinit(&state) != 0;
        return isPlain && character <= LastUnit ? static_cast<char16_t>(character) : u'\0';
    }

    static constexpr wchar_t LastUnit = 0xFFFF;

    const LocaleEncoding* _older = nullptr;
    char _name[32] = {};
    bool _hasShiftStates;
    DirectEncoding _direct = {};
};

class HostMultiByte final : public MultiByte {
  public:
    unsigned long MaxBytes() const override { return MB_CUR_MAX; }

    bool ResetShiftState() override {
        states = {};
        const LocaleEncoding* const current = LocaleEncoding::Current();
        return current != nullptr ? current->HasShiftStates() : LocaleEncoding::ShiftsNow();
    }

    const DirectEncoding* ResetToDirect() override {
        states = {};
        const LocaleEncoding* const current = LocaleEncoding::Current();
        return current == nullptr || current->HasShiftStates() ? nullptr : &current->Direct();
    }

    bool IsBetweenCharacters() const override { return std::mbsinit(&states.toWide) != 0; }

    // A host's locales all take the bytes of ASCII as characters of one byte.
    int Length(const char* s, unsigned long n) override {
        if (n > 0 && static_cast<unsigned char>(*s) <= LastPlainByte)
            return *s == '\0' ? 0 : 1;
        wchar_t character = 0;
        std::mbstate_t fresh = {};
        const std::size_t bytes = std::mbrtowc(&character, s, n, &fresh);
        return Result(bytes, character, fresh);
    }

    int ToWide(char32_t& wide, const char* s, unsigned long n) override {
        wchar_t character = 0;
        const std::size_t bytes = std::mbrtowc(&character, s, n, &states.toWide);
        wide = static_cast<char32_t>(character);
        return Result(bytes, character, states.toWide);
    }

    int FromWide(char* to, char32_t wide) override {
        const auto character = static_cast<wchar_t>(wide);
        return Result(std::wcrtomb(to, character, &states.fromWide), character, states.fromWide);
    }

    char32_t ToLower(char32_t wide) const override {
        return static_cast<char32_t>(std::towlower(static_cast<std::wint_t>(wide)));
    }
    char32_t ToUpper(char32_t wide) const override {
        return static_cast<char32_t>(std::towupper(static_cast<std::wint_t>(wide)));
    }

  private:
    // An invalid or incomplete sequence leaves the state undefined: it begins anew.
    static int Result(std::size_t bytes, wchar_t character, std::mbstate_t& state) {
        constexpr auto Incomplete = static_cast<std::size_t>(-2);
        if (bytes < Incomplete && character <= LastCharacter)
            return static_cast<int>(bytes);
        state = {};
        return -1;
    }
};

HostMultiByte hostMultiByte;
MultiByte* currentMultiByte = &hostMultiByte;

} // namespace

MultiByte& CurrentMultiByte() {
    return *currentMultiByte;
}

void UseMultiByte(MultiByte* substitute) {
    currentMultiByte = substitute == nullptr ? &hostMultiByte : substitute;
}

} // namespace zynkplat
