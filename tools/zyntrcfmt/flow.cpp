#include "flow.h"

#include <algorithm>
#include <string_view>

namespace {

// What is kept of an input that only enters functions, of all threads and of one.
constexpr unsigned long MaxOpen = 1UL << 16U;
constexpr std::size_t MaxDepth = 1024;
constexpr std::size_t MaxName = 256;

enum class Step { None, Entry, Exit };

// Takes the text of an entry or exit line off its function's name.
Step TakeStep(std::string_view& line) {
    for (const auto& [end, step] :
         {std::pair(",  >entry", Step::Entry), std::pair(",  <exit", Step::Exit)}) {
        if (line.ends_with(end)) {
            line.remove_suffix(std::string_view(end).size());
            return step;
        }
    }
    // The report of a fault tells in its entry line which one it is.
    if (!line.ends_with(" Exception occurred >entry"))
        return Step::None;
    line = line.substr(0, line.find(", "));
    return Step::Entry;
}

} // namespace

std::size_t Flow::Follow(const Entry& entry) {
    if (entry.kind != Entry::Kind::Line)
        return 0;
    std::string_view function = std::string_view(entry.text).substr(entry.head.length);
    function = function.substr(0, function.find('\n'));
    const bool mayStep = entry.head.category.empty() || entry.head.category == "Fl";
    const Step step = mayStep ? TakeStep(function) : Step::None;
    function = function.substr(0, MaxName);

    const std::string thread = entry.head.Thread();
    const auto found = _open.find(thread);
    const std::size_t depth = found == _open.end() ? 0 : found->second.size();
    if (step == Step::Entry) {
        const bool isKept = _count < MaxOpen && depth < MaxDepth;
        ++(isKept ? _count : _missing);
        if (isKept)
            _open[thread].emplace_back(function);
    }
    if (step != Step::Exit)
        return depth;

    std::size_t left = depth;
    while (left > 0 && found->second[left - 1] != function)
        --left;
    if (left == 0) {
        ++_exits;
        return depth;
    }
    // A function is left with all that it has entered.
    _missing += depth - left;
    _count -= depth - left + 1;
    found->second.resize(left - 1);
    if (left == 1)
        _open.erase(found);
    return left - 1;
}
