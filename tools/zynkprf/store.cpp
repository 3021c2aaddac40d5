#include "store.h"

#include <algorithm>
#include <system_error>

#include "quoted.h"
#include "zynkxcp.h"

namespace {

// What the code of SQLite that stands behind StoreFailed means; nothing for a rare one.
const char* StoreFailure(long code) {
    constexpr long PrimaryCode = 0xFF;
    switch (code & PrimaryCode) {
    case 5:
    case 6:
        return "another process keeps the store busy";
    case 10:
        return "the store's file can't be read or written";
    case 11:
    case 26:
        return "the store is damaged, or its file is no store";
    case 13:
        return "there is no room left for the store";
    case 14:
        return "the store's file can't be opened";
    default:
        return nullptr;
    }
}

std::string Words(long code) {
    if (code == zynkreg::NotFound)
        return "not found";
    if (code == zynkreg::AccessDenied)
        return "access denied";
    if (code == zynkreg::KeyDeleted)
        return "another process has removed the key";
    if (code == zynkreg::HasSubkeys)
        return "another process has added a key below it";
    if (code >= zynkreg::SystemFailed)
        return std::generic_category().message(static_cast<int>(code - zynkreg::SystemFailed));
    if (code >= zynkreg::StoreFailed)
        if (const char* const words = StoreFailure(code - zynkreg::StoreFailed); words != nullptr)
            return words;
    return "";
}

std::vector<std::string> NamesBy(decltype(zynkreg::RegEnumKeyEx)& enumerate, HKEY key) {
    const zynkreg::Reading reading(key); // so that the names are not gathered anew for each
    std::vector<std::string> names;
    for (;;) {
        ZynString name;
        const long code = enumerate(key, static_cast<unsigned long>(names.size()), name);
        if (code == zynkreg::NoMoreItems)
            return names;
        Check(code, "names can't be read");
        names.push_back(ToBytes(name));
    }
}

// A tool that has written a row itself has not folded its name as the store does.
[[noreturn]] void Damaged(Base base, const std::string& name) {
    throw std::runtime_error(std::string(StoreName(base)) + " is damaged: " + NameText(name) +
                             " is listed in it, but is not found");
}

} // namespace

std::string Explained(long code) {
    const std::string words = Words(code);
    const std::string number = "code " + std::to_string(code);
    return words.empty() ? number : words + " (" + number + ")";
}

void Check(long code, const std::string& what) {
    if (code != zynkreg::Success)
        throw std::runtime_error(what + ": " + Explained(code));
}

ZynString ToString(std::string_view bytes) {
    ZynString text(CreateEmpty, bytes.size());
    bytes.copy(text.PreRead(), bytes.size());
    text.PostRead(bytes.size());
    return text;
}

std::string ToBytes(const ZynString& text) {
    return {text.C_str(), text.Length()};
}

Place Place::Child(const std::string& name) const {
    Place child = *this;
    child.path.push_back(name);
    return child;
}

const char* StoreName(Base base) {
    return base == Base::UserConfigurations ? "the user's store" : "the machine's store";
}

std::unique_ptr<ZynProfileImpl> Key::OpenBase(Base base, bool update) {
    auto open = std::make_unique<ZynProfileImpl>();
    try {
        if (base == Base::Installation)
            open->OpenInstall(update);
        else if (base == Base::Configurations)
            open->OpenGeneralConfig(update);
        else
            open->OpenCurrentUser("", update); // without a name it is the key of all of them
    } catch (const ZynOSException& error) {
        Check(error.ReturnCode(), StoreName(base));
    }
    return open;
}

void Key::Open(HKEY parent, const std::string& name, Access access, bool update) {
    HKEY child = 0;
    const unsigned long mode = update ? zynkreg::ReadWrite : zynkreg::Read;
    const long code = access == Access::Create
                          ? zynkreg::RegCreateKeyEx(parent, ToString(name), mode, child)
                          : zynkreg::RegOpenKeyEx(parent, ToString(name), mode, child);
    if (code != zynkreg::NotFound)
        Check(code,
              std::string(StoreName(_base)) + ": the key " + NameText(name) + " can't be opened");
    _open = std::make_unique<ZynProfileImpl>(child, update);
}

Key::Key(const Place& place, Access access) : _base(place.base) {
    // To open a base for update creates it.
    const bool update = access == Access::Create ||
                        (access == Access::Change && Key(place, Access::Read).IsThere());
    _open = OpenBase(place.base, update);
    for (const std::string& name : place.path) {
        if (!IsThere())
            return;
        Open(_open->Handle(), name, access, update);
    }
}

Key::Key(const Key& parent, const std::string& name, Access access) : _base(parent._base) {
    Open(parent._open->Handle(), name, access, access != Access::Read);
    if (!IsThere())
        Damaged(_base, name);
}

std::vector<std::string> Key::Subkeys() const {
    return NamesBy(zynkreg::RegEnumKeyEx, _open->Handle());
}

std::vector<std::string> Key::Names() const {
    return NamesBy(zynkreg::RegEnumValue, _open->Handle());
}

std::optional<Value> Key::Find(const std::string& name) const {
    if (!IsThere())
        return std::nullopt;
    const HKEY key = _open->Handle();
    const zynkreg::Reading reading(key);
    Value value;
    unsigned long length = 0;
    long code = zynkreg::RegQueryValueEx(key, ToString(name), value.type, nullptr, length);
    if (code == zynkreg::NotFound)
        return std::nullopt;
    if (code == zynkreg::Success) {
        value.bytes.resize(length);
        code =
            zynkreg::RegQueryValueEx(key, ToString(name), value.type, value.bytes.data(), length);
    }
    Check(code, NameText(name) + " can't be read");
    return value;
}

Value Key::Get(const std::string& name) const {
    auto value = Find(name);
    if (!value)
        Damaged(_base, name);
    return *std::move(value);
}

void Key::Insert(const std::string& name, const Value& value) const {
    Check(zynkreg::RegSetValueEx(_open->Handle(), ToString(name), value.type, value.bytes.data(),
                                 value.bytes.size()),
          NameText(name) + " can't be written");
}

void Key::Erase(const std::string& name) const {
    const long code = zynkreg::RegDeleteValue(_open->Handle(), ToString(name));
    if (code == zynkreg::NotFound)
        throw Missing("there is no value " + NameText(name));
    Check(code, NameText(name) + " can't be erased");
}

void Key::EraseSubkey(const std::string& name) const {
    Check(zynkreg::RegDeleteKey(_open->Handle(), ToString(name)),
          "the key " + NameText(name) + " can't be removed");
}

std::vector<Place> Tree(const Place& top) {
    std::vector<Place> places;
    std::vector<Place> waiting = {top};
    while (!waiting.empty()) {
        const Place place = std::move(waiting.back());
        waiting.pop_back();
        const Key key(place, Key::Access::Read);
        if (!key.IsThere() && place.path.size() > top.path.size())
            Damaged(place.base, place.path.back());
        if (!key.IsThere())
            continue;
        std::vector<std::string> names = key.Subkeys();
        if (!names.empty() && place.path.size() == MostLevels)
            throw std::runtime_error("there are keys more than " + std::to_string(MostLevels) +
                                     " levels deep");
        std::ranges::reverse(names);
        for (const std::string& name : names)
            waiting.push_back(place.Child(name));
        places.push_back(place);
    }
    return places;
}

void EraseTree(const Place& top) {
    struct Level {
        Key key;
        std::vector<std::string> below;
    };
    Place parent = top;
    parent.path.pop_back();
    std::vector<Level> levels;
    levels.push_back({Key(parent, Key::Access::Change), {top.path.back()}});
    for (;;) {
        Level& level = levels.back();
        if (!level.below.empty()) {
            Key child(level.key, level.below.back(), Key::Access::Change);
            std::vector<std::string> below = child.Subkeys();
            levels.push_back({std::move(child), std::move(below)});
            continue;
        }
        levels.pop_back();
        if (levels.empty())
            return;
        Level& above = levels.back();
        above.key.EraseSubkey(above.below.back());
        above.below.pop_back();
    }
}
