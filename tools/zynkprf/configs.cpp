#include "configs.h"

#include <algorithm>
#include <cstdlib>

#include "commands.h"
#include "output_text.h"
#include "quoted.h"
#include "zynkprf.h"
#include "zynkxcp.h"

namespace {

constexpr const char* DefaultName = "DefaultConfigurationID";
constexpr const char* LanguageName = "Language";
constexpr const char* DefaultLanguage = "enu";
constexpr std::size_t LanguageLength = 3;

const Place General = {Base::Configurations, {}};
const Place Installation = {Base::Installation, {}};

// As programs find it: in upper case. Nothing if there is none.
std::optional<std::string> DefaultConfig() {
    const auto value = Key(General, Key::Access::Read).Find(DefaultName);
    return value ? std::optional(ConfigName(value->bytes)) : std::nullopt;
}

void SetDefaultConfig(const std::string& name) {
    Key(General, Key::Access::Create).Insert(DefaultName, {zynkreg::Text, name});
}

std::string NewConfigName(const std::string& name) {
    if (!IsConfigName(name))
        throw UsageError("a configuration can't be named " + NameText(name) +
                         ": 1 to 8 letters and digits are needed");
    return ConfigName(name);
}

// Programs look a configuration up in a list of names, where case counts.
void RequireFound(const std::string& name) {
    const Key general(General, Key::Access::Read);
    if (!general.IsThere())
        NoSuchConfig(name);
    if (std::ranges::count(general.Subkeys(), name) == 0) {
        if (IsThere(ConfigPlace(name, false)))
            throw std::runtime_error("configuration " + NameText(name) +
                                     " does not stand in capitals, so no program finds it");
        NoSuchConfig(name);
    }
}

void SetFacts(const Options& options) {
    constexpr std::pair<Option::Bit, const char*> Facts[] = {
        {Option::Language, LanguageName},
        {Option::Vrm, "VRM"},
        {Option::ServiceLevel, "ServiceLevel"},
        {Option::Components, "InstalledComponents"}};
    const Key installation(Installation, Key::Access::Create);
    for (const auto& [option, name] : Facts)
        if (options.Has(option))
            installation.Insert(name, {zynkreg::Text, options.values.at(option)});
    if (!installation.Find(LanguageName))
        installation.Insert(LanguageName, {zynkreg::Text, DefaultLanguage});
}

// In a moment or not at all.
template <class Change>
void InOneChange(HKEY root, const Change& change) {
    zynkreg::Writing writing(root);
    change();
    Check(writing.Commit(), "the store can't be changed");
}

} // namespace

void NoSuchConfig(const std::string& name) {
    throw Missing("there is no configuration " + NameText(name));
}

Place ConfigPlace(const std::string& name, bool ofUser) {
    return {ofUser ? Base::UserConfigurations : Base::Configurations, {ConfigName(name)}};
}

bool IsThere(const Place& place) {
    return Key(place, Key::Access::Read).IsThere();
}

std::string CurrentConfig() {
    constexpr const char* Variable = "ZYN_DEFAULT_CONFIGURATION";
    if (const char* const name = std::getenv(Variable); name != nullptr && *name == '\0')
        throw Missing(std::string(Variable) + " is set, but names no configuration");
    try {
        return ToBytes(ZynProfile::CurrentConfig());
    } catch (const ZynNoDefaultConfigException&) {
        throw Missing("there is no default configuration; tell one by --config=CFG, or \"use\" it");
    } catch (const ZynNoSuchConfigException& error) {
        NoSuchConfig(ToBytes(error.ConfigId()));
    } catch (const ZynOSException& error) {
        throw std::runtime_error(std::string(StoreName(Base::Configurations)) + ": " +
                                 Explained(error.ReturnCode()));
    }
}

int Initialize(const Options& options) {
    if (options.Has(Option::Language)) {
        const std::string& language = options.values.at(Option::Language);
        const auto isLetter = [](char c) {
            return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        };
        if (language.size() != LanguageLength || !std::ranges::all_of(language, isLetter))
            Refuse("language", language, "three letters are needed");
    }
    const std::string name = options.words.empty() ? "" : NewConfigName(options.words.front());
    InOneChange(zynkreg::LocalMachine, [&] {
        if (name.empty() &&
            (!IsThere(General) || Key(General, Key::Access::Read).Subkeys().empty()))
            throw UsageError("there is no configuration yet: tell the name of the first one");
        SetFacts(options);
        if (name.empty())
            return;
        const Key made(ConfigPlace(name, false), Key::Access::Create);
        RequireFound(name);
        if (!DefaultConfig())
            SetDefaultConfig(name);
    });
    return Done;
}

int ListConfigs(const Options& options) {
    const bool ofUser = options.Has(Option::User);
    const Key configs({ofUser ? Base::UserConfigurations : Base::Configurations, {}},
                      Key::Access::Read);
    const auto current = DefaultConfig();
    if (configs.IsThere())
        for (const std::string& name : configs.Subkeys())
            WriteOut((name == current ? "* " : "  ") + NameText(name) + "\n");
    return Done;
}

int CreateConfig(const Options& options) {
    const std::string name = NewConfigName(options.words.front());
    InOneChange(zynkreg::LocalMachine, [&] {
        if (IsThere(ConfigPlace(name, false)))
            throw std::runtime_error("configuration " + name + " is there already");
        const Key made(ConfigPlace(name, false), Key::Access::Create);
    });
    return Done;
}

int RemoveConfig(const Options& options) {
    const bool ofUser = options.Has(Option::User);
    const Place config = ConfigPlace(options.words.front(), ofUser);
    bool wasDefault = false;
    InOneChange(config.Root(), [&] {
        if (!IsThere(config))
            NoSuchConfig(config.path.front());
        EraseTree(config);
        wasDefault = !ofUser && DefaultConfig() == config.path.front();
        if (wasDefault)
            Key(General, Key::Access::Change).Erase(DefaultName);
    });
    if (wasDefault)
        Warn("there is no default configuration any more");
    return Done;
}

int UseConfig(const Options& options) {
    const std::string name = ConfigName(options.words.front());
    InOneChange(zynkreg::LocalMachine, [&] {
        RequireFound(name);
        SetDefaultConfig(name);
    });
    return Done;
}
