#include "tool.h"

#include <clocale>
#include <cstdio>
#include <exception>

#include "output_text.h"
#include "terminal.h"

void Warn(const std::string& text) {
    std::string told;
    AppendEscaped(told, text); // names and arguments are in it
    std::fprintf(stderr, "%s: %s\n", ToolName, told.c_str());
}

void Refuse(const std::string& option, std::string_view value, const std::string& wanted) {
    throw UsageError("--" + option + "=" + std::string(value) + ": " + wanted);
}

ColorWhen ColorWhenOf(std::string_view when) {
    if (when != "auto" && when != "always" && when != "never")
        Refuse("color", when, "this is none of auto, always and never");
    return when == "auto"     ? ColorWhen::Auto
           : when == "always" ? ColorWhen::Always
                              : ColorWhen::Never;
}

int RunTool(const std::function<int()>& run) {
    EndOnBrokenPipe();
    std::setlocale(LC_CTYPE, "");
    try {
        return run();
    } catch (const UsageError& error) {
        if (*error.what() != '\0')
            Warn(error.what());
        Warn("see " + std::string(ToolName) + " --help");
    } catch (const std::exception& error) {
        Warn(error.what());
    }
    return ToolFailed;
}
