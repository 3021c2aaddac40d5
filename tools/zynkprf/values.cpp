#include <algorithm>

#include "commands.h"
#include "configs.h"
#include "output_text.h"
#include "value.h"
#include "zynkconv.h"

namespace {

Place PlaceOf(const Options& options) {
    if (options.Has(Option::Installation))
        return {Base::Installation, {}};
    if (options.Has(Option::General))
        return {Base::Configurations, {}};
    return ConfigPlace(options.Has(Option::Config) ? options.values.at(Option::Config)
                                                   : CurrentConfig(),
                       options.Has(Option::User));
}

bool HasConfig(const Place& place) {
    return place.path.empty() || IsThere({Base::Configurations, place.path});
}

// A user may have settings of a configuration that has been removed.
Place ExistingPlace(const Options& options) {
    Place place = PlaceOf(options);
    if (!HasConfig(place) && !IsThere(place))
        NoSuchConfig(place.path.front());
    return place;
}

// An empty one is what an end of the input gives as well.
std::string AskPassword(const std::string& name) {
    const auto ask = [&](const char* how) {
        return ToBytes(
            ZynConverter::ReadPasswordFromConsole(ToString(NameText(name) + how + ": ")));
    };
    std::string password = ask("");
    if (password.empty())
        throw Missing("an empty password is given as a VALUE");
    if (ask(" again") != password)
        throw Missing("the two passwords differ");
    return password;
}

std::string TheValue(const Options& options) {
    const std::string& name = options.words.front();
    if (options.words.size() == 1 && IsPassword(name) && !options.Has(Option::Number))
        return AskPassword(name);
    if (options.words.size() != 2)
        throw UsageError("set takes one VALUE; with blanks in it, it needs quotes");
    return options.words.back();
}

Value NewValue(const Options& options) {
    const std::string& name = options.words.front();
    if (options.Has(Option::List))
        return ListValue({options.words.begin() + 1, options.words.end()});
    const std::string text = TheValue(options);
    if (!options.Has(Option::Number))
        return IsPassword(name) ? PasswordValue(text) : Value{zynkreg::Text, text};
    const auto number = Number<std::int32_t>(text);
    if (!number)
        throw UsageError(Quoted(text) + " is no number from -2147483648 to 2147483647");
    return NumberValue(*number);
}

} // namespace

int ListValues(const Options& options) {
    const auto passwords =
        options.Has(Option::ShowPasswords) ? Passwords::Clear : Passwords::Hidden;
    const Place place = ExistingPlace(options);
    std::string lines;
    {
        const zynkreg::Reading reading(place.Root());
        const Key key(place, Key::Access::Read);
        if (key.IsThere())
            for (const std::string& name : key.Names())
                lines += NameText(name) + " = " + ValueText(name, key.Get(name), passwords) + "\n";
    }
    WriteOut(lines);
    return Done;
}

int GetValue(const Options& options) {
    const std::string& name = options.words.front();
    const bool isPassword = IsPassword(name);
    if (isPassword && !options.Has(Option::ShowPasswords))
        throw Missing(NameText(name) + " is a password; --show-passwords shows it");
    const auto value = Key(ExistingPlace(options), Key::Access::Read).Find(name);
    if (!value)
        throw Missing("there is no value " + NameText(name));
    if (const auto texts = TextsOf(*value)) {
        for (const std::string& text : *texts)
            WriteOut(text + "\n");
        return Done;
    }
    const auto number = NumberOf(*value);
    const auto clear = isPassword ? ClearPassword(*value) : std::nullopt;
    if (isPassword && !clear)
        throw Missing(NameText(name) + " does not stand in the store in the form of passwords");
    WriteOut((number ? std::to_string(*number) : clear.value_or(value->bytes)) + "\n");
    return Done;
}

int SetValue(const Options& options) {
    const std::string& name = options.words.front();
    if (name.empty() || name.find(' ') != std::string::npos)
        throw UsageError("the name of a value is not empty, and has no blank");
    if (IsPassword(name) && (options.Has(Option::Number) || options.Has(Option::List)))
        throw UsageError(NameText(name) + " is a password, which is a text");
    const Place place = PlaceOf(options);
    if (!HasConfig(place))
        NoSuchConfig(place.path.front());
    const Value value = NewValue(options);
    // The user's key of a configuration begins with his first setting.
    const bool isConfig = !place.path.empty() && !options.Has(Option::User);
    const Key key(place, isConfig ? Key::Access::Change : Key::Access::Create);
    if (!key.IsThere())
        NoSuchConfig(place.path.front());
    key.Insert(name, value);
    return Done;
}

int EraseValues(const Options& options) {
    const Place place = ExistingPlace(options);
    zynkreg::Writing writing(place.Root());
    const Key key(place, Key::Access::Change);
    for (const std::string& name : options.words) {
        if (!key.Find(name))
            throw Missing("there is no value " + NameText(name));
        key.Erase(name);
    }
    Check(writing.Commit(), "the values can't be erased");
    return Done;
}
