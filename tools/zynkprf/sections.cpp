#include <algorithm>
#include <map>
#include <utility>

#include "exchange.h"
#include "tool.h"
#include "value.h"

namespace {

constexpr std::size_t MostFaultsTold = 20;

// The same for names that the store takes for one.
std::string Folded(const std::string& name) {
    if (IsAsciiText(name))
        return AsciiUpper(name);
    constexpr const char* Other = "\xFF"; // what capitals in ASCII it has are those of others
    const bool isText = name.find('\0') == std::string::npos;
    return Other + (isText ? ToBytes(ToString(name).ToUpperCase()) : name);
}

// Names of the text, each below a number. Of two that are one in the store, the latter's value
// would replace the former's without a word.
class Names {
  public:
    struct Name {
        std::size_t number; ///< for names below it
        std::string text;
        std::size_t line;
        std::size_t ownLine = 0; ///< of its section
    };

    // The one that is there, or a new one.
    Name& Get(std::size_t above, const std::string& text, std::size_t line) {
        const Name name{_names.size() + 1, text, line};
        Name& found = _names.try_emplace({above, Folded(text)}, name).first->second;
        if (found.text != text)
            throw Fault(NameText(text) + " is there already as " + NameText(found.text) +
                        ", in line " + std::to_string(found.line) +
                        "; in this locale both are one name");
        return found;
    }

  private:
    std::map<std::pair<std::size_t, std::string>, Name> _names;
};

std::string ReadKeyName(Line& line, bool isConfig) {
    const bool isQuoted = line.IsQuoted();
    std::string name = line.KeyName("the name of a key");
    if (!isConfig || isQuoted)
        return name;
    if (!IsConfigName(name))
        throw Fault(name + " is no name of a configuration: 1 to 8 letters and digits are needed");
    return ConfigName(name);
}

// Behind the bracket.
Place ReadHeading(Line& line) {
    const std::string word = line.Word("the kind of a section");
    Place place;
    if (word == "installation")
        place.base = Base::Installation;
    else if (word == "user")
        place.base = Base::UserConfigurations;
    else if (word != "general" && word != "config")
        throw Fault(word + " is none of installation, general, config and user");
    while (!line.Take(']'))
        place.path.push_back(
            ReadKeyName(line, place.path.empty() && place.base != Base::Installation));
    if (word == "general" ? !place.path.empty() : word == "config" && place.path.empty())
        throw Fault(word == "config" ? "the name of the configuration is missing"
                                     : "there are only configurations below [general]");
    if (place.path.size() > MostLevels)
        throw Fault("it is more than " + std::to_string(MostLevels) + " levels deep");
    line.End();
    return place;
}

class Reader {
  public:
    void ReadLine(std::string_view text, std::size_t number);
    std::vector<Section> Sections() && { return std::move(_sections); }

  private:
    void Enter(const Place& place, std::size_t number);
    void ReadValueLine(Line& line, std::size_t number);

    std::vector<Section> _sections;
    Names _keys;
    Names _values; // below the numbers of sections
};

void Reader::Enter(const Place& place, std::size_t number) {
    auto* key = &_keys.Get(0, HeadingOf({place.base, {}}), number);
    for (const std::string& name : place.path)
        key = &_keys.Get(key->number, name, number);
    if (key->ownLine != 0)
        throw Fault("the section is there already, in line " + std::to_string(key->ownLine));
    key->ownLine = number;
}

void Reader::ReadValueLine(Line& line, std::size_t number) {
    const std::string name = line.IsQuoted() ? line.QuotedText() : line.Word("a name");
    if (!line.Take('='))
        throw Fault("\"=\" is missing");
    Value value = ReadValue(name, line);
    const Names::Name& known = _values.Get(_sections.size(), name, number);
    if (known.line != number)
        throw Fault(NameText(name) + " is there already, in line " + std::to_string(known.line));
    _sections.back().values.emplace_back(name, std::move(value));
}

void Reader::ReadLine(std::string_view text, std::size_t number) {
    Line line(text);
    if (line.IsEnd())
        return;
    if (line.Take('[')) {
        _sections.emplace_back(); // also if it is wrong: values behind it are not
        _sections.back().place = ReadHeading(line);
        Enter(_sections.back().place, number);
    } else if (_sections.empty()) {
        throw Fault("there is no section around it");
    } else {
        ReadValueLine(line, number);
    }
}

} // namespace

std::string HeadingOf(const Place& place) {
    std::string heading = place.base == Base::Installation         ? "[installation"
                          : place.base == Base::UserConfigurations ? "[user"
                          : place.path.empty()                     ? "[general"
                                                                   : "[config";
    bool isConfig = place.base != Base::Installation;
    for (const std::string& name : place.path) {
        // Without quotes it would be another one.
        const bool isBare = !isConfig || (IsConfigName(name) && ConfigName(name) == name);
        heading += " " + (isBare && NameText(name) == name ? name : QuotedKey(name));
        isConfig = false;
    }
    return heading + "]";
}

std::vector<Section> ReadSections(const std::string& name, std::string_view text) {
    constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(ByteOrderMark))
        text.remove_prefix(ByteOrderMark.size());
    Reader reader;
    std::size_t faults = 0;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        try {
            reader.ReadLine(line, number);
        } catch (const Fault& fault) {
            if (++faults <= MostFaultsTold)
                Warn(name + ":" + std::to_string(number) + ": " + fault.what());
        }
    }
    if (faults > MostFaultsTold)
        Warn("and " + std::to_string(faults - MostFaultsTold) + " more");
    if (faults > 0)
        throw std::runtime_error(name + ": nothing has been imported");
    return std::move(reader).Sections();
}
