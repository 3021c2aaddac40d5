#include "options.h"

#include <getopt.h>

#include <span>

const char HelpText[] =
    "Usage: zynstream [OPTION]... [FILE]\n"
    "Shows a stream as a tree. Without a FILE, or for \"-\", reads standard input.\n"
    "\n"
    "  -c, --check         shows nothing; tells on standard error where the stream is not sound\n"
    "  -k, --keyword[=parameters]\n"
    "                      the printed form of the library: all bytes as one block, or by\n"
    "                      parameters\n"
    "\n"
    "Where the stream is:\n"
    "  -o, --offset=N      it begins at byte N; N is decimal, or hexadecimal behind \"0x\"\n"
    "  -a, --all           streams follow each other up to the end\n"
    "\n"
    "What is shown of it:\n"
    "  -i, --id=N          only the parameter N of the top level\n"
    "  -v, --values        it holds values in the place of parameters\n"
    "  -C, --ccsid=N       texts are in code page N, whatever the header tells\n"
    "  -x, --hex           the bytes beside each value\n"
    "      --color=WHEN    auto (the default: on a terminal), always or never\n"
    "  -h, --help\n"
    "  -V, --version\n"
    "\n"
    "Ends with 0 if the stream is sound, 1 if it is not or has no parameter N, 2 after an error.\n";

namespace {

constexpr int Color = 256; // behind all characters

template <class T>
T NumberOf(const std::string& option, std::string_view text) {
    const bool isHex = text.starts_with("0x");
    const auto number = isHex ? Number<T>(text.substr(2), 16) : Number<T>(text);
    if (!number)
        Refuse(option, text, "a number is needed, or it is too large");
    return *number;
}

Options::Action KeywordForm(const std::string& form) {
    if (!form.empty() && form != "parameters")
        Refuse("keyword", form, "this is not \"parameters\"");
    return form.empty() ? Options::Action::Keyword : Options::Action::KeywordParameters;
}

void Act(Options& options, Options::Action action) {
    if (options.action != Options::Action::Show && options.action != action)
        throw UsageError("one of --check, --keyword, --help and --version is enough");
    options.action = action;
}

void Set(Options& options, int option, const std::string& value) {
    switch (option) {
    case 'c':
        Act(options, Options::Action::Check);
        break;
    case 'k':
        Act(options, KeywordForm(value));
        break;
    case 'o':
        options.offset = NumberOf<std::size_t>("offset", value);
        break;
    case 'a':
        options.all = true;
        break;
    case 'i':
        options.form.id = NumberOf<std::uint32_t>("id", value);
        break;
    case 'v':
        options.form.values = true;
        break;
    case 'C':
        options.form.ccsid = NumberOf<std::uint16_t>("ccsid", value);
        break;
    case 'x':
        options.hex = true;
        break;
    case Color:
        options.color = ColorWhenOf(value);
        break;
    case 'h':
        Act(options, Options::Action::Help);
        break;
    case 'V':
        Act(options, Options::Action::Version);
        break;
    default:
        throw UsageError("");
    }
}

} // namespace

Options ParseOptions(int argc, char* argv[]) {
    static const option known[] = {
        {"check", no_argument, nullptr, 'c'},         {"keyword", optional_argument, nullptr, 'k'},
        {"offset", required_argument, nullptr, 'o'},  {"all", no_argument, nullptr, 'a'},
        {"id", required_argument, nullptr, 'i'},      {"values", no_argument, nullptr, 'v'},
        {"ccsid", required_argument, nullptr, 'C'},   {"hex", no_argument, nullptr, 'x'},
        {"color", required_argument, nullptr, Color}, {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},       {nullptr, 0, nullptr, 0}};
    Options options;
    for (int option = 0;
         (option = getopt_long(argc, argv, "ck::o:ai:vC:xhV", known, nullptr)) != -1;)
        Set(options, option, optarg == nullptr ? "" : optarg);
    const auto files =
        std::span(argv, static_cast<std::size_t>(argc)).subspan(static_cast<std::size_t>(optind));
    if (files.size() > 1)
        throw UsageError("one FILE is looked at, not " + std::to_string(files.size()));
    if (!files.empty())
        options.file = files.front();
    if (options.form.id && options.form.values)
        throw UsageError("--values are in no parameter that --id could name");
    const bool isTree = options.action == Options::Action::Show;
    if (!isTree && (options.hex || options.form.id || options.form.ccsid))
        throw UsageError("--hex, --id and --ccsid belong to the tree");
    return options;
}
