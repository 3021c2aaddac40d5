// ZynOptions: takes the options of a command line apart, one at each call.
//
//     int main(int argc, char* argv[]) {
//         ZynOptions options(argc, argv, "ab:c*");
//         for (int letter = options(); letter != -1; letter = options())
//             switch (letter) {
//                 case 'a': ...
//                 case 'b': ... options.OptArg() ...
//                 case 'c': ... options.OptArg() may be null ...
//                 default: usage();
//             }
//         // argv[options.Index()] is the first word that is no option
//
// A word that begins with "-" or "/" holds options: letters one behind the other, the last of which
// may have a value, in "-bvalue", "-b:value", "-b=value" or in the next word, "-b value". A value
// in a word of its own can't begin with "-" or "/". The options end at a word that begins
// otherwise, which is left, and at "-" or a word that begins with "--", which is taken.
//
// The word "@name" stands for the words in a response file, one a line without the blanks around
// it; empty lines don't count, and a carriage return is part of its line. The file's text ends at a
// NUL. A file without a word ends the options; the next call goes on behind it. Within a file
// "@name" is a word like any other.
#pragma once

#include "zynkstr.h"

/// For one thread. Failures are told by the result only: there are no exceptions.
class ZYN_EXPORT ZynOptions {
  public:
    /// The first word read is `argv[1]`. Neither `argv` nor `spec` may be null, and both must live
    /// as long as the object.
    ///
    /// @param spec the letters known, each a byte: one followed by ":" needs a value, one followed
    ///             by "*" can have one. Of a letter that stands there twice the first counts. ":"
    ///             is no letter.
    ZynOptions(int argc, char* argv[], const char* spec);
    ZynOptions(const ZynOptions&) = delete;
    ZynOptions& operator=(const ZynOptions&) = delete;
    ~ZynOptions() = default;

    /// The next option: its letter as an unsigned byte; -1 at the end of the options; '?' for a
    /// letter that isn't known, a value that is missing, or a response file that can't be read, is
    /// no regular file, has more than 64 MB, or is no text in the locale's encoding. 0 for a lone
    /// "/". Each call takes at least one letter or word until the end is reached.
    int operator()();

    /// Value of the option just returned, without leading blanks; null if it has none. Valid until
    /// the next call.
    const char* OptArg() const { return _optArg; }
    /// Index in `argv` of the next word to be read.
    int Index() const { return _index; }

  private:
    int next();
    int takeWord();
    int takeValue(int letter, bool isNeeded);
    bool openFile(const char* name);
    const char* nextLine();
    const char* nextArg();
    int error();
    int eof();

    int _argc;
    char** _argv;
    const char* _spec;
    int _index = 1;                 ///< of the next word in `_argv`
    const char* _optArg = nullptr;  ///< value of the option just returned, or null
    const char* _pos = nullptr;     ///< the place reached within the present word, or null
    ZynString::Tokenizer _fileText; ///< what is left of a response file
    ZynString _fileArg; ///< the word taken from it, into which `_pos` and `_optArg` may point
};

/// Whether `c` begins a word of options: "-" or "/".
ZYN_EXPORT bool isSwitchChar(char c);
