// The walks over the tree of keys. What is read in several steps is read of one moment; its lines
// are traced when the store has been let go, for a line may run functions of the host.
#include "zynkprf_impl.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "zynkadr.h"
#include "zynkbin.h"
#include "zynkplat.h"
#include "zynksem.h"
#include "zynktrc.h"
#include "zynkxcp.h"

using zynkreg::Reading;
using zynkreg::Success;
using zynkreg::Writing;

namespace {

constexpr const char* DefaultRoot = R"(Software\KOR\Tessera Flow\3.2)";
constexpr int OpenRetries = 5;
// Scrambles the values that are not to stand in the store in clear.
constexpr const char* StoreKey = "Qarvelidon";

// What the lines about a failed operation of the store have in common.
struct Failed {
    const char* service;
    long result;
};

std::ostream& operator<<(std::ostream& os, const Failed& failed) {
    return os << failed.service << "() , RetCode = " << std::to_string(failed.result)
              << " , ReasonCode = 0 , ";
}

std::string_view View(const ZynString& text) {
    return {text.C_str(), text.Length()};
}

ZynString Text(std::string_view bytes) {
    ZynString text(CreateEmpty, bytes.size());
    if (!bytes.empty())
        std::memcpy(text.PreRead(), bytes.data(), bytes.size());
    text.PostRead(bytes.size());
    return text;
}

ZynString NumberText(std::string_view bytes) {
    std::int32_t number = 0;
    std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
    return {std::to_string(number).c_str()};
}

// Each text has a NUL behind it, and the list one more.
ZynString ListText(std::string_view bytes) {
    for (int closing = 0; closing < 2 && bytes.ends_with('\0'); ++closing)
        bytes.remove_suffix(1);
    std::string texts(bytes);
    std::replace(texts.begin(), texts.end(), '\0', '\n');
    return Text(texts);
}

ZynString ValueText(unsigned long type, std::string_view bytes) {
    if (type == zynkreg::Number)
        return NumberText(bytes);
    if (type == zynkreg::List)
        return ListText(bytes);
    return Text(bytes.substr(0, bytes.find('\0')));
}

bool IsHexText(const ZynString& text) {
    if (text.IsNull() || text.Length() % 2 != 0)
        return false;
    constexpr const char* Digits = "0123456789ABCDEFabcdef";
    return std::strspn(text.C_str(), Digits) == text.Length();
}

// Appends as ZynString::MakeList does, and also what is no text in this process's locale: a name
// that another one has written must not hide the others.
void AppendToList(std::string& list, std::string_view item) {
    if (!list.empty() && !item.empty() && list.back() != '\n')
        list += '\n';
    list += item.starts_with('\n') ? item.substr(1) : item;
}

// What a walk has come to. It is closed, unless that is where the walk began.
class Opened {
  public:
    Opened(HKEY key, HKEY start) : _key(key), _start(start) {}
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    ~Opened() {
        if (_key != _start)
            zynkreg::RegCloseKey(_key);
    }

    HKEY Get() const { return _key; }

  private:
    HKEY _key;
    HKEY _start;
};

// Opens a child. A handle that is invalid at the moment may be valid at the next one.
long OpenChild(HKEY parent, const ZynString& name, unsigned long access, const ZynString& path,
               std::optional<Reading>& reading, HKEY& child) {
    long result = zynkreg::RegOpenKeyEx(parent, name, access, child);
    for (int tries = OpenRetries; result == zynkreg::InvalidHandle && tries > 0; --tries) {
        reading.reset();
        ZYN_TRACE_IN("ZynProfileImpl::OpenKey", 1, ZynTrace::Error, ZynTrace::Kernel,
                     "RegOpenKeyEx(" << path << ") failed. Retrying " << std::to_string(tries)
                                     << " times...");
        result = zynkreg::RegOpenKeyEx(parent, name, access, child);
    }
    return result;
}

// Goes from `key` down a path, closing each key behind it. In the end `key` is the last one, or
// null if there is a failure.
long Walk(HKEY& key, const ZynString& path, bool create, unsigned long access) {
    std::optional<Reading> reading(key);
    for (const std::string_view name : zynkreg::NamesOf(View(path))) {
        HKEY child = 0;
        const long result = create ? zynkreg::RegCreateKeyEx(key, Text(name), access, child)
                                   : OpenChild(key, Text(name), access, path, reading, child);
        zynkreg::RegCloseKey(key);
        key = result == Success ? child : 0;
        if (result != Success)
            return result;
    }
    return Success;
}

// Reads a value into `bytes`; empty if it is. The service that failed, if one has.
Failed ReadValue(HKEY hkey, const ZynString& name, unsigned long& type, std::string& bytes) {
    const Reading reading(hkey);
    unsigned long length = 0;
    long result = zynkreg::RegQueryValueEx(hkey, name, type, nullptr, length);
    if (result == Success && length > 0) {
        bytes.resize(length);
        result = zynkreg::RegQueryValueEx(hkey, name, type, bytes.data(), length);
        bytes.resize(result == Success ? length : 0);
    }
    return {"RegQueryValueEx", result};
}

struct NameList {
    unsigned long count = 0;
    std::string names;
};

Failed ReadNames(HKEY hkey, bool subkeys, NameList& list) {
    const Reading reading(hkey);
    zynkreg::KeyInfo info;
    if (const long result = zynkreg::RegQueryInfoKey(hkey, info); result != Success)
        return {"RegQueryInfoKey", result};
    for (unsigned long index = subkeys ? info.subkeys : info.values; index-- > 0; ++list.count) {
        ZynString name;
        const long result = subkeys ? zynkreg::RegEnumKeyEx(hkey, index, name)
                                    : zynkreg::RegEnumValue(hkey, index, name);
        if (result != Success)
            return {subkeys ? "RegEnumKeyEx" : "RegEnumValue", result};
        AppendToList(list.names, View(name));
    }
    return {nullptr, Success};
}

} // namespace

// The byte of a separator may be part of a character.
std::vector<std::string_view> zynkreg::NamesOf(std::string_view path) {
    constexpr char Separator = '\\';
    zynkplat::MultiByte& multiByte = zynkplat::CurrentMultiByte();
    std::vector<std::string_view> names;
    for (std::size_t from = 0, at = 0; from < path.size(); from = ++at) {
        while (at < path.size() && path[at] != Separator)
            at += static_cast<std::size_t>(
                std::max(1, multiByte.Length(path.data() + at, path.size() - at)));
        if (at > from)
            names.push_back(path.substr(from, at - from));
    }
    return names;
}

ZynProfileImpl::~ZynProfileImpl() {
    zynkreg::RegCloseKey(_hkey);
}

void ZynProfileImpl::Open(HKEY root, const ZynString& suffix, bool upd) {
    ZYN_REQUIRE(_hkey == 0);
    _hkey = OpenKey(root, GetKey(suffix), upd, upd);
    _upd = upd;
}

void ZynProfileImpl::OpenInstall(bool upd) {
    Open(zynkreg::LocalMachine, "\\Installation", upd);
}

void ZynProfileImpl::OpenGeneralConfig(bool upd) {
    Open(zynkreg::LocalMachine, "\\Configuration", upd);
}

void ZynProfileImpl::OpenConfig(const ZynString& cfg, bool upd) {
    Open(zynkreg::LocalMachine, ZynString("\\Configuration\\") | cfg, upd);
}

void ZynProfileImpl::OpenCurrentUser(const ZynString& cfg, bool upd) {
    Open(zynkreg::CurrentUser, ZynString("\\Configuration\\") | cfg, upd);
}

// The root with `suffix` behind it. The string made belongs to the caller alone.
ZynString ZynProfileImpl::GetKey(const ZynString& suffix) {
    static const ZynMutexSemaphore& lock = *new ZynMutexSemaphore;
    static std::string& root = *new std::string;
    const ZynMutexSemaphoreAssumption held(lock);
    if (root.empty()) {
        const char* const value = std::getenv("ZYN_REGISTRY_ROOT");
        root = value != nullptr && *value != '\0' ? value : DefaultRoot;
        ZYN_TRACE(9, ZynTrace::General, ZynTrace::Kernel, "Registry key used: " << root);
    }
    return ZynString(root.c_str()) | suffix;
}

// Takes `parent` over: it is closed, also when the walk fails. Null if there is no such key.
HKEY ZynProfileImpl::OpenKey(HKEY parent, const ZynString& path, bool create, bool write) {
    ZYN_REQUIRE_TEXT(parent != 0, "hkey != 0");
    static const ZynMutexSemaphore& lock = *new ZynMutexSemaphore;
    const ZynMutexSemaphoreAssumption held(lock);
    HKEY key = parent;
    const long result = Walk(key, path, create, write ? zynkreg::ReadWrite : zynkreg::Read);
    if (result != Success && result != zynkreg::NotFound)
        ZYN_THROW_INT(ZynOSException(
            ZYN_ORIGIN("ZynProfileImpl::OpenKey"),
            ZynString(write ? "RegCreateKeyEx(" : "RegOpenKeyEx(") | path | ")", result, 0));
    return key;
}

ZynString ZynProfileImpl::Find(const ZynString& name) const {
    return Find(_hkey, name);
}

ZynString ZynProfileImpl::Find(const ZynString& subkey, const ZynString& name) const {
    const Opened key(OpenKey(_hkey, subkey, false, false), _hkey);
    return Find(key.Get(), name);
}

ZynString ZynProfileImpl::Find(HKEY hkey, const ZynString& name) {
    unsigned long type = 0;
    std::string bytes;
    if (const Failed failed = ReadValue(hkey, name, type, bytes); failed.result != Success) {
        ZYN_TRACE(3, ZynTrace::SystemCall, ZynTrace::Kernel, failed << "key = '" << name << "'");
        return {};
    }
    if (bytes.empty()) {
        ZYN_TRACE(33, ZynTrace::General, ZynTrace::Kernel, "Found key with empty value");
        return {""};
    }
    return ValueText(type, bytes);
}

ZynString ZynProfileImpl::Keys(bool subkeys) const {
    return Keys(_hkey, subkeys);
}

ZynString ZynProfileImpl::Keys(const ZynString& subkey, bool subkeys) const {
    const Opened key(OpenKey(_hkey, subkey, false, false), _hkey);
    return Keys(key.Get(), subkeys);
}

ZynString ZynProfileImpl::Keys(HKEY hkey, bool subkeys) {
    NameList list;
    if (const Failed failed = ReadNames(hkey, subkeys, list); failed.result != Success)
        ZYN_TRACE(3, ZynTrace::SystemCall, ZynTrace::Kernel, failed);
    return list.count > 0 ? Text(list.names) : ZynString();
}

// These change what the object stands for.
// NOLINTBEGIN(readability-make-member-function-const)
void ZynProfileImpl::Insert(const ZynString& name, const ZynString& value) {
    ZYN_REQUIRE(_upd);
    Insert(_hkey, name, value, zynkreg::Text);
}

void ZynProfileImpl::Insert(const ZynString& subkey, const ZynString& name, const ZynString& value,
                            unsigned long type) {
    ZYN_REQUIRE(_upd);
    const Opened key(OpenKey(_hkey, subkey, true, true), _hkey);
    Insert(key.Get(), name, value, type);
}

void ZynProfileImpl::Erase(const ZynString& name) {
    ZYN_REQUIRE(_hkey != 0 && _upd);
    ZYN_TRACE(33, ZynTrace::SystemCall, ZynTrace::Kernel, "RegDeleteValue(  Key=" << name << " )");
    if (const long result = zynkreg::RegDeleteValue(_hkey, name); result != Success)
        ZYN_THROW_INT(
            ZynOSException(ZYN_ORIGIN("ZynProfileImpl::Erase"), "RegDeleteValue", result, 0));
}

void ZynProfileImpl::EraseKey(const ZynString& key) {
    ZYN_REQUIRE(_hkey != 0 && _upd);
    EraseKey(_hkey, key);
}

// NOLINTEND(readability-make-member-function-const)

void ZynProfileImpl::Insert(HKEY hkey, const ZynString& name, const ZynString& value,
                            unsigned long type) {
    ZYN_REQUIRE(hkey != 0);
    const auto number = static_cast<std::int32_t>(type == zynkreg::Number ? value.AsLong() : 0);
    // The text by which a database is opened has a password in it.
    const bool isHidden = View(name) == "XAOpenString";
    ZYN_TRACE(33, ZynTrace::SystemCall, ZynTrace::Kernel,
              "RegSetValueEx(  Key=" << name << " is set to value = "
                                     << (isHidden ? "********" : value.C_str()) << " )");
    const long result =
        type == zynkreg::Number
            ? zynkreg::RegSetValueEx(hkey, name, type, reinterpret_cast<const char*>(&number),
                                     sizeof number)
            : zynkreg::RegSetValueEx(hkey, name, type, value.C_str(), value.Length());
    if (result != Success)
        ZYN_THROW_INT(
            ZynOSException(ZYN_ORIGIN("ZynProfileImpl::Insert"), "RegSetValueEx", result, 0));
}

// A key and all below it, each behind what is below it.
std::vector<ZynString> ZynProfileImpl::Tree(HKEY hkey, const ZynString& key) {
    std::vector<ZynString> keys;
    std::vector<ZynString> waiting = {key};
    while (!waiting.empty()) {
        keys.push_back(waiting.back());
        waiting.pop_back();
        const ZynString path = keys.back();
        const ZynString names = Keys(Opened(OpenKey(hkey, path, false, true), hkey).Get(), true);
        std::istringstream below(names.IsNull() ? "" : names.C_str());
        for (std::string name; std::getline(below, name);)
            waiting.push_back(path | "\\" | name.c_str());
    }
    std::reverse(keys.begin(), keys.end());
    return keys;
}

// All of it or nothing: nobody meets half a configuration. The lines come first, for while the
// store is held nothing may run that waits for it.
void ZynProfileImpl::EraseKey(HKEY hkey, const ZynString& key) {
    const std::vector<ZynString> keys = Tree(hkey, key);
    for (const ZynString& erased : keys)
        ZYN_TRACE(33, ZynTrace::SystemCall, ZynTrace::Kernel,
                  "RegDeleteKey(  Key=" << erased << " )");
    long result = Success;
    {
        Writing writing(hkey);
        for (auto erased = keys.begin(); erased != keys.end() && result == Success; ++erased)
            result = zynkreg::RegDeleteKey(hkey, *erased);
        if (result == Success)
            result = writing.Commit();
    }
    if (result != Success)
        ZYN_THROW_INT(
            ZynOSException(ZYN_ORIGIN("ZynProfileImpl::EraseKey"), "RegDeleteKey", result, 0));
}

bool ZynProfileImpl::EraseConfig(const ZynString& cfg) {
    EraseKey(zynkreg::LocalMachine, GetKey(ZynString("\\Configuration\\") | cfg));
    return true;
}

bool ZynProfileImpl::EraseCurrentUser(const ZynString& cfg) {
    EraseKey(zynkreg::CurrentUser, GetKey(ZynString("\\Configuration\\") | cfg));
    return true;
}

ZynString ZynProfileImpl::Configs() {
    ZynProfileImpl general;
    general.OpenGeneralConfig(false);
    return general.Keys(true);
}

ZynString ZynProfileImpl::Scramble(const ZynString& clear) {
    const ZynBinary hex = ZynUser::V2PasswordEncode(StoreKey, clear).AsHexString();
    return {hex.Data(), static_cast<long>(hex.Length())};
}

ZynString ZynProfileImpl::Unscramble(const ZynString& scrambled) {
    if (!IsHexText(scrambled))
        return {};
    return ZynUser::V2PasswordDecode(StoreKey, ZynBinary::FromHexString(scrambled.C_str()));
}
