#include "exchange.h"

#include <algorithm>
#include <optional>

#include "commands.h"
#include "configs.h"
#include "input.h"
#include "output_text.h"
#include "value.h"

namespace {

// A key that has others below it comes into being with them.
bool HasOwnSection(const std::vector<Section>& sections, std::size_t at) {
    const auto& section = sections[at];
    if (!section.values.empty() || at + 1 == sections.size())
        return true;
    const Place& next = sections[at + 1].place;
    return next.base != section.place.base ||
           next.path.size() <= section.place.path.size(); // each is ahead of what is below it
}

void Collect(const Place& top, std::vector<Section>& sections) {
    for (const Place& place : Tree(top)) {
        const Key key(place, Key::Access::Read);
        Section& section = sections.emplace_back(Section{place, {}});
        for (const std::string& name : key.Names())
            section.values.emplace_back(name, key.Get(name));
    }
}

std::vector<Section> CollectAll() {
    std::vector<Section> sections;
    Collect({Base::Installation, {}}, sections);
    Collect({Base::Configurations, {}}, sections);
    Collect({Base::UserConfigurations, {}}, sections);
    return sections;
}

std::vector<Section> CollectConfigs(const std::vector<std::string>& names) {
    std::vector<Section> sections;
    for (const std::string& name : names) {
        const std::size_t before = sections.size();
        Collect(ConfigPlace(name, false), sections);
        Collect(ConfigPlace(name, true), sections);
        if (sections.size() == before)
            NoSuchConfig(name);
    }
    return sections;
}

// In clear only if the name is a password's to whoever imports it.
Passwords FormOf(const std::string& name, Passwords passwords) {
    return IsPasswordEverywhere(name) ? passwords : Passwords::AsStored;
}

// One change of all that belongs below a root; not made if there is nothing.
class Change {
  public:
    Change(HKEY root, const std::vector<Section>& sections) {
        for (const Section& section : sections)
            if (section.place.Root() == root)
                Write(root, section);
    }
    void Commit(const char* what) {
        if (_writing)
            Check(_writing->Commit(), what);
    }

  private:
    void Write(HKEY root, const Section& section) {
        if (!_writing)
            _writing.emplace(root);
        const Key key(section.place, Key::Access::Create);
        for (const auto& [name, value] : section.values)
            key.Insert(name, value);
    }

    std::optional<zynkreg::Writing> _writing;
};

} // namespace

int ExportStore(const Options& options) {
    const auto passwords =
        options.Has(Option::ShowPasswords) ? Passwords::Clear : Passwords::AsStored;
    std::vector<Section> sections;
    {
        const zynkreg::Reading machine(zynkreg::LocalMachine);
        const zynkreg::Reading user(zynkreg::CurrentUser);
        sections = options.words.empty() ? CollectAll() : CollectConfigs(options.words);
    }
    WriteOut("# Written by zynkprf export, read by zynkprf import.\n");
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const Section& section = sections[i];
        if (HasOwnSection(sections, i))
            WriteOut("\n" + HeadingOf(section.place) + "\n");
        for (const auto& [name, value] : section.values)
            WriteOut(NameText(name) + " = " + ValueText(name, value, FormOf(name, passwords)) +
                     "\n");
    }
    return Done;
}

int ImportStore(const Options& options) {
    const std::string file = options.words.empty() ? "-" : options.words.front();
    const std::vector<Section> sections = ReadSections(file, ReadInput(file, 0));
    // Both are complete before the first of them is in its store.
    Change machine(zynkreg::LocalMachine, sections);
    Change user(zynkreg::CurrentUser, sections);
    machine.Commit("nothing has been imported");
    user.Commit("the user's settings have not been imported, all else has");
    return Done;
}
