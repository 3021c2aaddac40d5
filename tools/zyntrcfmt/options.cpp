#include "options.h"

#include <getopt.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <string_view>

#include "zynktrc_codes.h"

const char HelpText[] =
    "Usage: zyntrcfmt [OPTION]... [FILE]...\n"
    "Prints the lines of trace files and of trace buffer areas. Without a FILE, or for \"-\",\n"
    "reads standard input.\n"
    "\n"
    "Which lines, with all that belongs to them:\n"
    "  -l, --level=N[-M]       of a level up to N, or from N to M\n"
    "  -c, --category=CODES    of these categories, such as \"Fl,Er\"\n"
    "  -C, --component=CODES   of these components, such as \"Kr,St\"\n"
    "  -p, --process=NAME|PID  of this process\n"
    "  -t, --thread=TID        of this thread\n"
    "  -e, --text=TEXT         with TEXT in the function or the text\n"
    "      --since=TIME        not before TIME: \"2004-05-10\", \"14:03\" (of any day) or both\n"
    "      --until=TIME        not after TIME; \"14:03\" is that whole minute\n"
    "A line must match each kind of filter. One that is given again adds values to itself.\n"
    "\n"
    "How:\n"
    "  -f, --follow            waits for more at the end of each FILE, also of its successors\n"
    "  -s, --summary           prints counts in the place of the lines\n"
    "  -i, --indent            indents by the functions that enclose a line\n"
    "      --color=WHEN        auto (the default: on a terminal), always or never\n"
    "  -h, --help\n"
    "  -V, --version\n"
    "\n"
    "Ends with 0 if there was a line to print, 1 if there was none, 2 after an error.\n";

namespace {

constexpr std::string_view NoCode = "??"; // what lines show of a bit without a code
constexpr int Since = 256;                // behind all characters
constexpr int Until = 257;
constexpr int Color = 258;

std::pair<int, int> Levels(std::string_view text) {
    constexpr int MaxLevel = 99;
    const std::size_t dash = text.find('-');
    const auto first = dash == std::string_view::npos ? 0 : Number<int>(text.substr(0, dash));
    const auto last = Number<int>(dash == std::string_view::npos ? text : text.substr(dash + 1));
    if (!first || !last || *first < 0 || *first > *last || *last > MaxLevel)
        Refuse("level", text, "a level or a range of levels from 0 to 99 is needed");
    return {*first, *last};
}

void AddCodes(std::vector<std::string>& codes, const std::string& option, std::string_view list,
              std::span<const zynktrc::Code> known) {
    for (;;) {
        const std::string_view code = list.substr(0, list.find(','));
        const auto isCode = [&](const zynktrc::Code& other) { return code == other.text; };
        if (code != NoCode && std::ranges::none_of(known, isCode)) {
            std::string all;
            for (const zynktrc::Code& other : known)
                all += std::string(other.text) + ", ";
            Refuse(option, code, "the codes are " + all + "and " + std::string(NoCode));
        }
        codes.emplace_back(code);
        if (code.size() == list.size())
            return;
        list.remove_prefix(code.size() + 1);
    }
}

bool HasShape(std::string_view text, std::string_view shape) {
    return std::ranges::equal(text, shape, [](char c, char wanted) {
        return wanted == '0' ? c >= '0' && c <= '9' : c == wanted;
    });
}

TimeBound Bound(const std::string& option, std::string_view text) {
    constexpr std::string_view Date = "0000-00-00";
    constexpr std::string_view Time = "00:00:00.000";
    constexpr std::string_view Separators[] = {", ", " ", "T"};
    std::string_view time = text;
    std::string bound;
    if (HasShape(text.substr(0, Date.size()), Date)) {
        bound = text.substr(0, Date.size());
        if (text == bound)
            return {0, bound};
        time.remove_prefix(Date.size());
        const auto* const separator = std::ranges::find_if(
            Separators, [&](std::string_view between) { return time.starts_with(between); });
        time.remove_prefix(separator == std::end(Separators) ? time.size() : separator->size());
        bound += ", ";
    }
    // Up to the minute, the second, or a part of it.
    const std::size_t length = time.size();
    if ((length != 5 && length < 8) || length == 9 || !HasShape(time, Time.substr(0, length)))
        Refuse(option, text, "a time like '2004-05-10', '14:03:22.517' or both is needed");
    const std::size_t at = bound.empty() ? Date.size() + 2 : 0;
    return {at, bound.append(time)};
}

void Set(Options& options, int option, const std::string& value) {
    Filters& filters = options.filters;
    switch (option) {
    case 'l':
        filters.levels = Levels(value);
        break;
    case 'c':
        AddCodes(filters.categories, "category", value, zynktrc::CategoryCodes);
        break;
    case 'C':
        AddCodes(filters.components, "component", value, zynktrc::ComponentCodes);
        break;
    case 'p':
        filters.processes.push_back(value);
        break;
    case 't':
        if (const auto thread = Number<unsigned long>(value))
            filters.threads.push_back(*thread);
        else
            Refuse("thread", value, "a number is needed");
        break;
    case 'e':
        filters.texts.push_back(value);
        break;
    case Since:
        filters.since = Bound("since", value);
        break;
    case Until:
        filters.until = Bound("until", value);
        break;
    case 'f':
        options.follow = true;
        break;
    case 's':
        options.form.summary = true;
        break;
    case 'i':
        options.form.indent = true;
        break;
    case Color:
        options.color = ColorWhenOf(value);
        break;
    case 'h':
        options.action = Options::Action::Help;
        break;
    case 'V':
        options.action = Options::Action::Version;
        break;
    default:
        throw UsageError("");
    }
}

} // namespace

Options ParseOptions(int argc, char* argv[]) {
    static const option known[] = {{"level", required_argument, nullptr, 'l'},
                                   {"category", required_argument, nullptr, 'c'},
                                   {"component", required_argument, nullptr, 'C'},
                                   {"process", required_argument, nullptr, 'p'},
                                   {"thread", required_argument, nullptr, 't'},
                                   {"text", required_argument, nullptr, 'e'},
                                   {"since", required_argument, nullptr, Since},
                                   {"until", required_argument, nullptr, Until},
                                   {"follow", no_argument, nullptr, 'f'},
                                   {"summary", no_argument, nullptr, 's'},
                                   {"indent", no_argument, nullptr, 'i'},
                                   {"color", required_argument, nullptr, Color},
                                   {"help", no_argument, nullptr, 'h'},
                                   {"version", no_argument, nullptr, 'V'},
                                   {nullptr, 0, nullptr, 0}};
    Options options;
    for (int option = 0;
         (option = getopt_long(argc, argv, "l:c:C:p:t:e:fsihV", known, nullptr)) != -1;)
        Set(options, option, optarg == nullptr ? "" : optarg);
    for (char* const file :
         std::span(argv, static_cast<std::size_t>(argc)).subspan(static_cast<std::size_t>(optind)))
        options.files.emplace_back(file);
    if (options.files.empty())
        options.files.emplace_back("-");
    if (options.follow && std::ranges::count(options.files, "-") > 0)
        throw UsageError("--follow needs a FILE that it can look at again");
    if (options.follow && options.form.summary)
        throw UsageError("--summary comes at the end, and --follow has none");
    return options;
}
