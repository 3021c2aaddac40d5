// The command line.
#pragma once

#include <string>
#include <vector>

#include "filters.h"
#include "tool.h"
#include "view.h"

struct Options {
    enum class Action { Show, Help, Version };

    Action action = Action::Show;
    ColorWhen color = ColorWhen::Auto;
    bool follow = false;
    View::Form form;
    Filters filters;
    std::vector<std::string> files; ///< never empty; "-" is standard input
};

Options ParseOptions(int argc, char* argv[]);

extern const char HelpText[];
