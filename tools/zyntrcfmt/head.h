// The head of a trace line: what stands in front of the function.
//
//     2004-05-10, 14:03:22.517,      zynkchk( 5970) (09,Fl,Kr),  zynserv(1204-  88), Open(), >entry
//
// Names and numbers are right-aligned in columns which wider ones exceed. The part with level,
// category and component is left out of short traces, and of lines that a level of 0 lets pass.
#pragma once

#include <string>
#include <string_view>

struct LineHead {
    static constexpr int NoLevel = -1;

    std::string time;      ///< "YYYY-MM-DD, HH:MM:SS.mmm"
    int level = NoLevel;   ///< 0 to 99, or NoLevel if it is left out
    std::string category;  ///< two characters, or none if it is left out
    std::string component; ///< the same
    std::string process;
    unsigned long pid = 0;
    unsigned long tid = 0;
    std::size_t length = 0; ///< bytes of the line in front of the function

    /// "process(pid-tid)".
    std::string Thread() const;
};

/// Whether `line` is the first of the report that a failed check or a fault leaves.
bool StartsReport(std::string_view line);

/// Whether a head or a report seems to begin here. No more than `StartLength` bytes tell.
bool StartsEntry(std::string_view text);
constexpr std::size_t StartLength = 38;

/// Whether `line` begins with a head. If not, `head` stays as it is.
bool ParseHead(std::string_view line, LineHead& head);
