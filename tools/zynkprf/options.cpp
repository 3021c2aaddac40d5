#include "options.h"

#include <getopt.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

const char HelpText[] =
    "Usage: zynkprf [OPTION]... COMMAND [ARGUMENT]...\n"
    "Administers the configuration store.\n"
    "\n"
    "Values:\n"
    "  list                names, kinds and values\n"
    "  get NAME            the value alone; of a list one text a line\n"
    "  set NAME VALUE      a text. A password without VALUE is asked for. All behind NAME are\n"
    "                      values, also what begins with \"-\"\n"
    "  set --number NAME N\n"
    "  set --list NAME [TEXT]...\n"
    "  erase NAME...       all of them or none\n"
    "\n"
    "Where they are:\n"
    "      --installation  facts of the installation\n"
    "      --general       beside the configurations: which one is the default\n"
    "      --config=CFG    settings of a configuration; without it, of the current one\n"
    "      --user          the user's own settings of that configuration\n"
    "\n"
    "Configurations:\n"
    "  init [CONFIG]       the facts of a new installation, and its first configuration\n"
    "      --language=XXX  three letters, \"enu\" if there is none yet\n"
    "      --vrm=TEXT, --service-level=TEXT, --components=TEXT\n"
    "  configs             their names, the default one marked; with --user, those that the user\n"
    "                      has settings of\n"
    "  create CFG          1 to 8 letters and digits\n"
    "  remove CFG          with all its settings; with --user, only the user's\n"
    "  use CFG             makes it the default\n"
    "\n"
    "The whole:\n"
    "  export [CFG]...     all, or these configurations, as a text\n"
    "  import [FILE]       adds and replaces what such a text holds, and removes nothing\n"
    "\n"
    "      --show-passwords  with list, get and export\n"
    "  -h, --help\n"
    "  -V, --version\n"
    "\n"
    "Ends with 0 if it is done, 1 if there is no such value or configuration or a password was\n"
    "refused, 2 after an error.\n";

namespace {

constexpr int Where = Option::Installation | Option::General | Option::Config | Option::User;
constexpr int Facts = Option::Language | Option::Vrm | Option::ServiceLevel | Option::Components;
constexpr std::size_t Any = SIZE_MAX;

struct Rule {
    std::string_view name;
    Command command;
    int options;
    std::size_t least;
    std::size_t most;
    const char* takes;
};
constexpr Rule Rules[] = {
    {"init", Command::Init, Facts, 0, 1, "one CONFIG at most"},
    {"list", Command::List, Where | Option::ShowPasswords, 0, 0, "no argument"},
    {"get", Command::Get, Where | Option::ShowPasswords, 1, 1, "one NAME"},
    {"set", Command::Set, Where | Option::Number | Option::List, 1, Any, "a NAME"},
    {"erase", Command::Erase, Where, 1, Any, "a NAME"},
    {"configs", Command::Configs, Option::User, 0, 0, "no argument"},
    {"create", Command::Create, 0, 1, 1, "one CFG"},
    {"remove", Command::Remove, Option::User, 1, 1, "one CFG"},
    {"use", Command::Use, 0, 1, 1, "one CFG"},
    {"export", Command::Export, Option::ShowPasswords, 0, Any, ""},
    {"import", Command::Import, 0, 0, 1, "one FILE at most"}};

constexpr option Known[] = {{"installation", no_argument, nullptr, Option::Installation},
                            {"general", no_argument, nullptr, Option::General},
                            {"config", required_argument, nullptr, Option::Config},
                            {"user", no_argument, nullptr, Option::User},
                            {"number", no_argument, nullptr, Option::Number},
                            {"list", no_argument, nullptr, Option::List},
                            {"show-passwords", no_argument, nullptr, Option::ShowPasswords},
                            {"language", required_argument, nullptr, Option::Language},
                            {"vrm", required_argument, nullptr, Option::Vrm},
                            {"service-level", required_argument, nullptr, Option::ServiceLevel},
                            {"components", required_argument, nullptr, Option::Components},
                            {"help", no_argument, nullptr, 'h'},
                            {"version", no_argument, nullptr, 'V'},
                            {nullptr, 0, nullptr, 0}};

// getopt would tell it as it is, with what plays with the terminal.
[[noreturn]] void RefuseOption(int answer, const char* word) {
    constexpr int LastCharacter = 0xFF;
    if (answer == ':')
        throw UsageError(std::string(word) + " needs a value");
    if (optopt > LastCharacter)
        throw UsageError(std::string(word) + ": the option takes no value");
    throw UsageError("unrecognized or ambiguous option " +
                     (optopt != 0 ? std::string{'-', static_cast<char>(optopt)} : word));
}

// Words go to options.words, the command first. Options may stand anywhere, but what stands behind
// the name of a value that is set is the value. Whether help or version is asked for.
bool Take(Options& options, int argc, char* argv[]) {
    constexpr int Word = 1;
    const auto isValue = [&] { return options.words.size() == 2 && options.words[0] == "set"; };
    opterr = 0;
    for (int option = 0;
         !isValue() && (option = getopt_long(argc, argv, "-:hV", Known, nullptr)) != -1;) {
        if (option == '?' || option == ':')
            RefuseOption(option, argv[optind - 1]);
        if (option == 'h' || option == 'V') {
            options.command = option == 'h' ? Command::Help : Command::Version;
            return true;
        }
        if (option == Word) {
            options.words.emplace_back(optarg);
            continue;
        }
        options.given |= option;
        options.values[option] = optarg == nullptr ? "" : optarg;
    }
    options.words.insert(options.words.end(), argv + optind, argv + argc);
    return false;
}

std::string NameOf(int bit) {
    const auto* const found = std::ranges::find(Known, bit, &option::val);
    return std::string("--") + found->name;
}

void CheckOptions(const Options& options, const Rule& rule) {
    const int wrong = options.given & ~rule.options;
    if (wrong != 0)
        throw UsageError(NameOf(wrong & -wrong) + " does not go with " + std::string(rule.name));
    const int places = options.given & (Option::Installation | Option::General | Option::Config);
    if ((places & (places - 1)) != 0)
        throw UsageError("one of --installation, --general and --config is enough");
    if (options.Has(Option::User) && (places & ~Option::Config) != 0)
        throw UsageError("--user belongs to a configuration");
    if (options.Has(Option::Config) && options.values.at(Option::Config).empty())
        throw UsageError("--config is empty");
    if (options.Has(Option::Number) && options.Has(Option::List))
        throw UsageError("one of --number and --list is enough");
}

} // namespace

Options ParseOptions(int argc, char* argv[]) {
    Options options;
    if (Take(options, argc, argv))
        return options;
    if (options.words.empty())
        throw UsageError("a command is missing");
    const std::string name = options.words.front();
    options.words.erase(options.words.begin());
    const auto* const rule = std::ranges::find(Rules, name, &Rule::name);
    if (rule == std::end(Rules))
        throw UsageError("there is no command " + name);
    options.command = rule->command;
    if (options.words.size() < rule->least || options.words.size() > rule->most)
        throw UsageError(name + " takes " + rule->takes);
    CheckOptions(options, *rule);
    return options;
}
