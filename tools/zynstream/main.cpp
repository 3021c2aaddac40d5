// zynstream [OPTION]... [FILE]: shows and checks streams.
#include <cstdio>
#include <string>

#include "check.h"
#include "input.h"
#include "keyword.h"
#include "options.h"
#include "output_text.h"
#include "terminal.h"
#include "view.h"

const char ToolName[] = "zynstream";

namespace {

constexpr int Good = 0;
constexpr int Bad = 1;

// Whether there was anything to show.
bool ShowStream(std::string_view bytes, const Stream& stream, const Options& options, View& view,
                Report& report) {
    bool isShown = true;
    std::string refusal;
    if (options.action == Options::Action::Show)
        isShown = view.Show(stream);
    else if (options.action != Options::Action::Check && stream.HasEnd())
        refusal = ShowKeyword(bytes.substr(stream.at, stream.end - stream.at),
                              options.action == Options::Action::KeywordParameters);
    // So that what is told of a stream comes behind it on a terminal.
    FlushOut();
    Check(bytes, stream, options.form.values, report);
    // The check has looked at more, and says it better.
    if (!refusal.empty() && report.Faults() == 0)
        report.Fault(stream.at, "not a stream that can be read: " + refusal);
    return isShown;
}

int Run(const Options& options) {
    const std::string input = ReadInput(options.file, options.offset);
    const std::string_view bytes = input;
    Report report(options.file, options.offset, options.action == Options::Action::Check);
    Lines lines({WantColors(options.color), options.hex, options.offset});
    View view(bytes, options.form, lines);

    Stream stream = StreamAt(bytes, 0, bytes.size());
    bool isShown = ShowStream(bytes, stream, options, view, report);
    while (options.all && stream.HasEnd() && stream.end < bytes.size()) {
        stream = StreamAt(bytes, stream.end, bytes.size());
        isShown = ShowStream(bytes, stream, options, view, report) || isShown;
    }
    // Readers take no notice of them.
    if (stream.end < bytes.size()) {
        const std::string text =
            std::to_string(bytes.size() - stream.end) + " bytes behind the end of the stream";
        if (options.action == Options::Action::Check)
            report.Fault(stream.end, text);
        else if (options.action == Options::Action::Show && !options.form.id)
            lines.Print(stream.end, 0, text, Lines::Look::Faint);
    }
    FlushOut();
    if (!isShown)
        Warn(options.file + ": has no parameter " + std::to_string(*options.form.id));
    return report.End() && isShown ? Good : Bad;
}

} // namespace

int main(int argc, char* argv[]) {
    return RunTool([&] {
        const Options options = ParseOptions(argc, argv);
        if (options.action == Options::Action::Help)
            WriteOut(HelpText);
        else if (options.action == Options::Action::Version)
            WriteOut("zynstream " ZYNSTREAM_VERSION "\n");
        else
            return Run(options);
        FlushOut();
        return Good;
    });
}
