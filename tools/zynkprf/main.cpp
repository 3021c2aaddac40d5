// zynkprf [OPTION]... COMMAND [ARGUMENT]...: administers the configuration store.
#include <csignal>
#include <stdexcept>
#include <string>

#include "commands.h"
#include "options.h"
#include "output_text.h"
#include "store.h"
#include "zynkxcp.h"

const char ToolName[] = "zynkprf";

namespace {

int Run(const Options& options) {
    switch (options.command) {
    case Command::Init:
        return Initialize(options);
    case Command::List:
        return ListValues(options);
    case Command::Get:
        return GetValue(options);
    case Command::Set:
        return SetValue(options);
    case Command::Erase:
        return EraseValues(options);
    case Command::Configs:
        return ListConfigs(options);
    case Command::Create:
        return CreateConfig(options);
    case Command::Remove:
        return RemoveConfig(options);
    case Command::Use:
        return UseConfig(options);
    case Command::Export:
        return ExportStore(options);
    case Command::Import:
        return ImportStore(options);
    case Command::Help:
        WriteOut(HelpText);
        return Done;
    case Command::Version:
        break;
    }
    WriteOut("zynkprf " ZYNKPRF_VERSION "\n");
    return Done;
}

// What the library throws is told as all else.
int RunInWords(const Options& options) {
    try {
        const int status = Run(options);
        FlushOut();
        return status;
    } catch (const Missing& missing) {
        Warn(missing.what());
        return NotThere;
    } catch (const ZynOSException& error) {
        throw std::runtime_error(ToBytes(error.ServiceName()) + ": " +
                                 Explained(error.ReturnCode()));
    } catch (const ZynException& error) {
        throw std::runtime_error(ToBytes(error.AsString()));
    }
}

} // namespace

int main(int argc, char* argv[]) {
    return RunTool([&] {
        // Half a text is no export: a reader that has gone is a failure here.
        std::signal(SIGPIPE, SIG_IGN);
        std::signal(SIGXFSZ, SIG_IGN); // a limit of file sizes is told as a disk that is full is
        return RunInWords(ParseOptions(argc, argv));
    });
}
