#include "order_file.h"

#include <charconv>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "channel.h"

namespace {

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view Blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(Blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(Blanks) - first + 1);
}

ZynString Text(std::string_view text) {
    return {std::string(text).c_str()};
}

template <class T>
T Number(std::string_view text) {
    T number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw MessageError("\"" + std::string(text) + "\" is not a number");
    return number;
}

std::vector<ZynString> List(std::string_view text) {
    std::vector<ZynString> items;
    for (;;) {
        const std::size_t comma = text.find(',');
        items.push_back(Text(Trimmed(text.substr(0, comma))));
        if (items.back().Length() == 0)
            throw MessageError("there is an empty flag");
        if (comma == std::string_view::npos)
            return items;
        text.remove_prefix(comma + 1);
    }
}

ZynBinary FileContent(const std::filesystem::path& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error)
        throw MessageError(path.string() + ": " + error.message());
    if (size > Channel::MaxMessage)
        throw MessageError(path.string() + " is too long for a message");
    ZynBinary content(CreateEmpty, size);
    std::ifstream file(path, std::ios::binary);
    if (!file.read(content.PreRead(), static_cast<std::streamsize>(size)))
        throw MessageError(path.string() + " can't be read");
    content.PostRead(size);
    return content;
}

class OrderFile {
  public:
    explicit OrderFile(const std::filesystem::path& path) : _path(path) {}
    OrderFile(const OrderFile&) = delete; // the settings lead into this one
    OrderFile& operator=(const OrderFile&) = delete;

    WorkOrder Read() {
        std::ifstream file(_path);
        if (!file)
            throw std::runtime_error(_path.string() + ": can't be opened");
        for (std::string line; std::getline(file, line);) {
            ++_line;
            const std::string_view text = Trimmed(line);
            if (!text.empty() && text.front() != '#')
                ReadLine(text);
        }
        for (const auto& [key, setting] : _settings)
            if (setting.isRequired && setting.line == 0)
                Fail("the file ends without a line for \"" + key + "\"");
        return _order;
    }

  private:
    struct Setting {
        bool isRequired;
        std::function<void(std::string_view)> set;
        int line = 0; ///< where it was made; 0 before that
    };

    [[noreturn]] void Fail(const std::string& what) const {
        throw std::runtime_error(_path.string() + ':' + std::to_string(_line) + ": " + what);
    }

    void ReadLine(std::string_view text) {
        const std::size_t sign = text.find('=');
        if (sign == std::string_view::npos)
            Fail("this is not \"key = value\"");
        const std::string key(Trimmed(text.substr(0, sign)));
        const std::string_view value = Trimmed(text.substr(sign + 1));
        const auto found = _settings.find(key);
        if (found == _settings.end())
            Fail("\"" + key + "\" is not a key of an order");
        if (value.empty())
            Fail("\"" + key + "\" has no value");
        Setting& setting = found->second;
        if (setting.line != 0)
            Fail("\"" + key + "\" stands in line " + std::to_string(setting.line) + " already");
        setting.line = _line;
        try {
            setting.set(value);
        } catch (const MessageError& error) {
            Fail(error.what());
        }
    }

    void SetPriority(std::string_view value) {
        _order.priority = Number<long>(value);
        CheckPriority(_order.priority);
    }

    void SetDueDate(std::string_view value) {
        _order.dueDate = Text(value);
        CheckDueDate(_order.dueDate);
    }

    void SetAmount(std::string_view value) {
        _order.amount = Number<double>(value);
        CheckAmount(_order.amount);
    }

    void SetFlags(std::string_view value) {
        _order.flags = List(value);
        CheckFlagCount(_order.flags.size());
    }

    void SetAttachment(std::string_view value) {
        _order.attachment = FileContent(_path.parent_path() / value);
        _order.attachmentName = Text(value);
    }

    std::filesystem::path _path;
    int _line = 0;
    WorkOrder _order;
    std::map<std::string, Setting> _settings = {
        {"process", {true, [this](std::string_view v) { _order.process = Text(v); }}},
        {"process handle", {true, [this](std::string_view v) { _order.processHandle = Text(v); }}},
        {"instance", {true, [this](std::string_view v) { _order.instance = Text(v); }}},
        {"instance handle",
         {true, [this](std::string_view v) { _order.instanceHandle = Text(v); }}},
        {"starter", {true, [this](std::string_view v) { _order.starter = Text(v); }}},
        {"priority", {true, [this](std::string_view v) { SetPriority(v); }}},
        {"due", {false, [this](std::string_view v) { SetDueDate(v); }}},
        {"amount", {true, [this](std::string_view v) { SetAmount(v); }}},
        {"flags", {false, [this](std::string_view v) { SetFlags(v); }}},
        {"attachment", {false, [this](std::string_view v) { SetAttachment(v); }}},
    };
};

} // namespace

WorkOrder ReadOrderFile(const std::filesystem::path& path) {
    return OrderFile(path).Read();
}
