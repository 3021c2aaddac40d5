// The command line.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "filters.h"
#include "view.h"

struct Options {
    enum class Action { Show, Help, Version };
    enum class Color { Auto, Always, Never };

    Action action = Action::Show;
    Color color = Color::Auto;
    bool follow = false;
    View::Form form;
    Filters filters;
    std::vector<std::string> files; ///< never empty; "-" is standard input
};

/// Has no text where the fault has been told already.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

Options ParseOptions(int argc, char* argv[]);

extern const char HelpText[];
