// The command line.
#pragma once

#include <cstddef>
#include <string>

#include "tool.h"
#include "view.h"

struct Options {
    enum class Action { Show, Check, Keyword, KeywordParameters, Help, Version };

    Action action = Action::Show;
    ColorWhen color = ColorWhen::Auto;
    bool all = false;
    bool hex = false;
    std::size_t offset = 0;
    View::Form form;
    std::string file = "-"; ///< which is standard input
};

Options ParseOptions(int argc, char* argv[]);

extern const char HelpText[];
