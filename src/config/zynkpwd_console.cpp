// Passwords typed at the console.
#include <cstdio>
#include <iostream>

#include "zynkconv.h"
#include "zynkplat.h"
#include "zynktrc.h"

namespace {

constexpr int FunctionKey = 0;
constexpr int Backspace = 8;

// What has been typed, which is overwritten when it goes.
struct Typed {
    static constexpr unsigned long MaxLength = 32;

    char bytes[MaxLength];
    unsigned long length = 0;

    Typed() = default;
    Typed(const Typed&) = delete;
    Typed& operator=(const Typed&) = delete;
    ~Typed() { zynkplat::Overwrite(bytes, sizeof bytes); }
};

bool IsLineEnd(int c) {
    return c == '\r' || c == '\n';
}

// The next one that counts. What stands behind the mark of a function key tells which one it was,
// in two bytes; the end of the line is not taken for the second.
int ReadCharacter(zynkplat::Keyboard& keyboard) {
    for (;;) {
        int c = keyboard.Read();
        if (c != FunctionKey)
            return c;
        keyboard.Read();
        c = keyboard.Read();
        if (IsLineEnd(c) || c == zynkplat::Keyboard::End)
            return c;
    }
}

// What the host has written so far goes ahead; what can't be written is lost.
void FlushOutput() {
    try {
        std::cout.flush();
    } catch (const std::exception&) { // the host has them switched on
    }
    std::fflush(stdout);
}

void Ask(const ZynString& prompt, Typed& typed) {
    FlushOutput();
    zynkplat::Keyboard keyboard;
    keyboard.Write({prompt.C_str(), prompt.Length()});
    for (;;) {
        const int c = ReadCharacter(keyboard);
        if (c == zynkplat::Keyboard::End)
            return;
        if (IsLineEnd(c)) {
            keyboard.Write(c == '\r' ? "\r\n" : "\n\n");
            return;
        }
        if (c != Backspace && typed.length < Typed::MaxLength) {
            typed.bytes[typed.length++] = static_cast<char>(c);
            keyboard.Write("*");
        } else if (c == Backspace && typed.length > 0) {
            --typed.length;
            keyboard.Write("\b \b");
        }
    }
}

} // namespace

// The process's code page is asked for first: the first question puts the process into the locale
// that the terminal's is taken from.
ZynString ZynConverter::ReadPasswordFromConsole(const ZynString& prompt) {
    ZYN_FLOW("ZynConverter::ReadPasswordFromConsole", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(!prompt.IsNull(), "!IsNull()");
    const unsigned short own = GetCurrentOSCodePage();
    Typed typed;
    Ask(prompt, typed);
    ZynString password;
    ZynConverter(GetOEMCodePage(), own).Convert(typed.bytes, typed.length, password, true);
    return password;
}
