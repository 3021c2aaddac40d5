// Texts as they are shown, exported and read again.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

std::string AsciiUpper(std::string text);
bool IsAsciiText(std::string_view text);

/// In quotes. What is no printable character of the locale is escaped as "\n", "\t" or "\x1B", and
/// quotes and backslashes by a backslash. So is a character with a byte that is ASCII by itself:
/// what is quoted here is read by bytes, whatever the locale is then.
std::string Quoted(std::string_view bytes);
/// Without quotes if it consists of ASCII letters, digits, "_", "-" and ".".
std::string NameText(std::string_view bytes);
/// As Quoted, for the name of a key: with "\x5C" for the byte of a backslash. That may be a part of
/// another character, whereas a backslash of its own is none of the names that paths can hold.
std::string QuotedKey(std::string_view bytes);

/// The name of a configuration as it is stored: in upper case if it is one that can be created, of
/// 1 to 8 ASCII letters and digits; else as it is, for the store may hold any.
std::string ConfigName(std::string_view name);
bool IsConfigName(std::string_view name);

/// What is wrong in a line.
class Fault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The rest of a line that is read.
class Line {
  public:
    explicit Line(std::string_view text) : _rest(text) {}

    /// Nothing but blanks and a comment are left.
    bool IsEnd();
    bool IsQuoted();
    /// Blanks in front of what is taken do not count.
    bool Take(char c);
    /// The letters, digits and so on that stand here; a Fault that names `wanted` if none do.
    std::string Word(const char* wanted);
    std::string QuotedText() { return QuotedText(true); }
    /// A word or a text in quotes, not empty, in which the byte of a backslash stands as "\x5C".
    std::string KeyName(const char* wanted);
    void End();

  private:
    std::string QuotedText(bool takesBackslash);
    char Escaped();
    void SkipBlanks();

    std::string_view _rest;
};
