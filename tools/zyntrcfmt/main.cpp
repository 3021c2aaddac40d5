// zyntrcfmt [OPTION]... [FILE]...: prints, filters and follows traces.
#include <chrono>
#include <cstdio>
#include <list>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "decoder.h"
#include "entries.h"
#include "options.h"
#include "output.h"
#include "platform.h"
#include "terminal.h"
#include "tool.h"
#include "view.h"

const char ToolName[] = "zyntrcfmt";

namespace {

constexpr int Shown = 0;
constexpr int NoneShown = 1;
constexpr std::size_t ReadSize = 1UL << 18U;
constexpr std::chrono::milliseconds LookInterval(100);

/// An input on its way to the view.
class Source {
  public:
    Source(const std::string& path, View& view) : _file(path), _entries(view) {}

    /// From the start to the end.
    void ReadAll() {
        _file.Open();
        do
            while (_file.IsIdle())
                Pause();
        while (ReadSome());
    }

    /// What is there of a file that may not have appeared yet.
    void OpenToFollow() {
        try {
            _file.Open();
        } catch (const std::system_error& error) {
            if (error.code() != std::errc::no_such_file_or_directory)
                throw;
            Warn(_file.Name() + ": waiting until it appears");
        }
    }
    /// What is there by now of a file that is written to and rotated.
    void Follow() {
        do
            while (ReadSome()) {
            }
        while (Succeed());
        Pause();
    }
    /// Nothing more is to be read. What is held is shown.
    void End() {
        _decoder.End();
        _entries.End();
    }

  private:
    void Pause() {
        _entries.Pause();
        View::Pause();
    }
    // Whether there may be more to read, in the same place or in another.
    bool Succeed() {
        const InputFile::Change change = _file.Look();
        if (change == InputFile::Change::None)
            return false;
        // Up to its renaming it may have been written to.
        while (change == InputFile::Change::Replaced && ReadSome()) {
        }
        End();
        if (change == InputFile::Change::Truncated)
            Warn(_file.Name() + ": was truncated, goes on from its start");
        else if (_file.OpenNext())
            Warn(_file.Name() + ": was rotated more than once, lines may be missing");
        return true;
    }
    bool ReadSome() {
        const std::size_t n = _file.Read(_room);
        _decoder.Feed({_room.data(), n});
        return n > 0;
    }

    InputFile _file;
    Entries _entries;
    Decoder _decoder{_file.Name(), _entries};
    std::vector<char> _room = std::vector<char>(ReadSize);
};

/// What an input has failed with is told, and others go on.
template <class Step>
bool Try(const Step& step) {
    try {
        step();
        return true;
    } catch (const std::system_error& error) {
        Warn(error.what());
        return false;
    }
}

bool ReadAll(const std::vector<std::string>& files, View& view) {
    bool isGood = true;
    for (const std::string& file : files) {
        Source source(file, view);
        isGood = Try([&] { source.ReadAll(); }) && isGood;
        source.End();
    }
    return isGood;
}

// Ends when all inputs have failed.
void FollowAll(const std::vector<std::string>& files, View& view) {
    std::list<Source> sources;
    for (const std::string& file : files) {
        sources.emplace_back(file, view);
        if (!Try([&] { sources.back().OpenToFollow(); }))
            sources.pop_back();
    }
    while (!sources.empty()) {
        sources.remove_if([](Source& source) {
            const bool isGood = Try([&] { source.Follow(); });
            if (!isGood)
                source.End();
            return !isGood;
        });
        std::this_thread::sleep_for(LookInterval);
    }
}

int Run(const Options& options) {
    const bool colors = WantColors(options.color);
    Output output(colors || IsTerminal(), colors);
    View view(options.filters, options.form, output);
    bool isGood = false;
    if (options.follow)
        FollowAll(options.files, view);
    else
        isGood = ReadAll(options.files, view);
    const bool isShown = view.End();
    if (!isGood)
        return ToolFailed;
    return isShown ? Shown : NoneShown;
}

} // namespace

int main(int argc, char* argv[]) {
    return RunTool([&] {
        const Options options = ParseOptions(argc, argv);
        if (options.action == Options::Action::Show)
            return Run(options);
        const bool isHelp = options.action == Options::Action::Help;
        std::fputs(isHelp ? HelpText : "zyntrcfmt " ZYNTRCFMT_VERSION "\n", stdout);
        return Shown;
    });
}
