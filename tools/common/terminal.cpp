#include "terminal.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

bool IsTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

bool WantColors(ColorWhen when) {
    const auto variable = [](const char* name) -> std::string_view {
        const char* const value = std::getenv(name);
        return value == nullptr ? "" : value;
    };
    if (when != ColorWhen::Auto)
        return when == ColorWhen::Always;
    return IsTerminal() && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

void EndOnBrokenPipe() {
    std::signal(SIGPIPE, SIG_DFL);
}
