// The command line.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tool.h"

enum class Command {
    Init,
    List,
    Get,
    Set,
    Erase,
    Configs,
    Create,
    Remove,
    Use,
    Export,
    Import,
    Help,
    Version
};

/// Bits behind all characters, so that a command tells by one number which of them go with it.
namespace Option {
enum Bit : int {
    Installation = 0x100,
    General = 0x200,
    Config = 0x400,
    User = 0x800,
    Number = 0x1000,
    List = 0x2000,
    ShowPasswords = 0x4000,
    Language = 0x8000,
    Vrm = 0x10000,
    ServiceLevel = 0x20000,
    Components = 0x40000
};
} // namespace Option

struct Options {
    Command command = Command::Help;
    std::vector<std::string> words; ///< the command's arguments
    int given = 0;                  ///< bits
    std::map<int, std::string> values;

    bool Has(Option::Bit option) const { return (given & option) != 0; }
};

Options ParseOptions(int argc, char* argv[]);

extern const char HelpText[];
