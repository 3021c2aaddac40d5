#include "zynkprf.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "zynkprf_impl.h"
#include "zynksem.h"
#include "zynktrc.h"
#include "zynkxcp.h"

namespace {

constexpr const char* DefaultLanguage = "enu";
constexpr unsigned long LanguageLength = 3;

bool HoldsBlank(const ZynString& name) {
    return std::memchr(name.C_str(), ' ', name.Length()) != nullptr;
}

bool IsAscii(const ZynString& name) {
    return std::all_of(name.C_str(), name.C_str() + name.Length(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool HoldsPassword(const ZynString& name) {
    constexpr std::string_view Word = "password";
    const auto isAlike = [](char c, char lower) { return (c | 0x20) == lower; };
    const char* const end = name.C_str() + name.Length();
    return std::search(name.C_str(), end, Word.begin(), Word.end(), isAlike) != end;
}

// A text that is none in the locale has no characters to count.
bool HasLetters(const ZynString& text, unsigned long count) {
    try {
        return text.LengthChar() == count;
    } catch (const ZynOSException&) {
        return false;
    }
}

#define REQUIRE_NAME(key) ZYN_REQUIRE_TEXT(!HoldsBlank(key), "key.Position(ZynString(\" \")) == 0")

ZynString UpperCase(const ZynString& name) {
    ZynString upper(name);
    upper.ToUpperCase();
    return upper;
}

bool ListHas(const ZynString& list, const ZynString& name) {
    std::istringstream items(list.IsNull() ? "" : list.C_str());
    for (std::string item; std::getline(items, item);)
        if (item == name.C_str())
            return true;
    return false;
}

template <class Open>
ZynProfileImpl* Opened(Open open) {
    auto impl = std::make_unique<ZynProfileImpl>();
    open(*impl);
    return impl.release();
}

const ZynMutexSemaphore& CurrentConfigLock() {
    static const ZynMutexSemaphore& lock = *new ZynMutexSemaphore;
    return lock;
}

// Null until it is known. Guarded by the lock, as are all copies of it.
ZynString& CurrentConfigString() {
    static ZynString& cfg = *new ZynString;
    return cfg;
}

ZynString DefaultConfig() {
    if (const char* const cfg = std::getenv("ZYN_DEFAULT_CONFIGURATION"); cfg != nullptr)
        return {cfg};
    ZynProfileImpl general;
    general.OpenGeneralConfig(false);
    return general.Find("DefaultConfigurationID");
}

} // namespace

ZynProfile::~ZynProfile() {
    Close();
}

void ZynProfile::Close() {
    delete _pImpl;
    _pImpl = nullptr;
}

void ZynProfile::OpenInstall(bool upd) {
    ZYN_FLOW("ZynProfile::OpenInstall", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(_pImpl == nullptr, "_pImpl == 0");
    _pImpl = Opened([&](ZynProfileImpl& impl) { impl.OpenInstall(upd); });
}

void ZynProfile::OpenGeneralConfig(bool upd) {
    ZYN_FLOW("ZynProfile::OpenGeneralConfig", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(_pImpl == nullptr, "_pImpl == 0");
    _pImpl = Opened([&](ZynProfileImpl& impl) { impl.OpenGeneralConfig(upd); });
}

void ZynProfile::OpenConfig(const ZynString& cfg, bool upd) {
    ZYN_FLOW("ZynProfile::OpenConfig", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(_pImpl == nullptr && !cfg.IsNull() && cfg.Length() > 0,
                     "_pImpl == 0 && !cfg.IsNull() && cfg.Length() > 0");
    _pImpl = Opened([&](ZynProfileImpl& impl) { impl.OpenConfig(UpperCase(cfg), upd); });
}

void ZynProfile::OpenCurrentUser(const ZynString& cfg, bool upd) {
    ZYN_FLOW("ZynProfile::OpenCurrentUser", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(_pImpl == nullptr && !cfg.IsNull() && cfg.Length() > 0,
                     "_pImpl == 0 && !cfg.IsNull() && cfg.Length() > 0");
    _pImpl = Opened([&](ZynProfileImpl& impl) { impl.OpenCurrentUser(UpperCase(cfg), upd); });
}

bool ZynProfile::IsEncoded(const ZynString& key) {
    if (IsAscii(key))
        return HoldsPassword(key);
    try {
        ZynString lower(key);
        return lower.ToLowerCase().MatchesPattern("*password*", '?', '*');
    } catch (const ZynOSException&) {
        return HoldsPassword(key); // it is no text in this locale
    }
}

ZynString ZynProfile::Find(const ZynString& key, bool encoded) const {
    ZYN_FLOW("ZynProfile::Find", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(_pImpl != nullptr && !key.IsNull(), "_pImpl != 0 && !key.IsNull()");
    REQUIRE_NAME(key);
    const ZynString value = _pImpl->Find(key);
    return encoded || IsEncoded(key) ? ZynProfileImpl::Unscramble(value) : value;
}

void ZynProfile::Insert(const ZynString& key, const ZynString& value, bool encoded) {
    ZYN_FLOW("ZynProfile::Insert", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(_pImpl != nullptr && !key.IsNull() && !value.IsNull(),
                     "_pImpl != 0 && !key.IsNull() && !value.IsNull()");
    REQUIRE_NAME(key);
    _pImpl->Insert(key, encoded || IsEncoded(key) ? ZynProfileImpl::Scramble(value) : value);
}

void ZynProfile::Erase(const ZynString& key) {
    ZYN_FLOW("ZynProfile::Erase", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(_pImpl != nullptr && !key.IsNull(), "_pImpl != 0 && !key.IsNull()");
    REQUIRE_NAME(key);
    _pImpl->Erase(key);
}

bool ZynProfile::EraseConfig(const ZynString& cfg) {
    ZYN_FLOW("ZynProfile::EraseConfig", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(!cfg.IsNull() && cfg.Length() > 0);
    return ZynProfileImpl::EraseConfig(cfg);
}

bool ZynProfile::EraseCurrentUser(const ZynString& cfg) {
    ZYN_FLOW("ZynProfile::EraseCurrentUser", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(!cfg.IsNull() && cfg.Length() > 0);
    return ZynProfileImpl::EraseCurrentUser(cfg);
}

ZynString ZynProfile::Configs() {
    ZYN_FLOW("ZynProfile::Configs", ZynTrace::FlowLevel, ZynTrace::Kernel);
    return ZynProfileImpl::Configs();
}

ZynString ZynProfile::CurrentConfig() {
    ZYN_FLOW("ZynProfile::CurrentConfig", ZynTrace::FlowLevel, ZynTrace::Kernel);
    const ZynMutexSemaphoreAssumption held(CurrentConfigLock());
    if (CurrentConfigString().IsNull()) {
        const ZynString cfg = DefaultConfig();
        if (cfg.IsNull())
            ZYN_THROW_INT(ZynNoDefaultConfigException(ZYN_ORIGIN("ZynProfile::CurrentConfig")));
        CurrentConfig(cfg);
    }
    return {CurrentConfigString().C_str()};
}

// The lock is held over the assignment only, so that other threads may read: the trace asks for the
// configuration again.
void ZynProfile::CurrentConfig(const ZynString& cfg) {
    ZYN_FLOW("ZynProfile::CurrentConfig", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(!cfg.IsNull() && cfg.Length() > 0);
    const ZynString upper = UpperCase(cfg);
    if (!ListHas(Configs(), upper))
        ZYN_THROW_INT(ZynNoSuchConfigException(ZYN_ORIGIN("ZynProfile::CurrentConfig"), cfg));
    {
        const ZynMutexSemaphoreAssumption held(CurrentConfigLock());
        CurrentConfigString() = upper.C_str();
    }
    ZynTrace::ReInit();
}

ZynString ZynProfile::Language() {
    ZYN_FLOW("ZynProfile::Language", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZynProfileImpl installation;
    installation.OpenInstall(false);
    ZynString language = installation.Find("Language");
    if (language.IsNull()) {
        ZYN_TRACE(1, ZynTrace::Error, ZynTrace::Kernel,
                  "No Language info found in installation profile!"
                      << " Setting default (enu).");
        language = DefaultLanguage;
    }
    ZYN_TRACE(3, ZynTrace::Flow, ZynTrace::Kernel, "Language is: " << language);
    if (!HasLetters(language, LanguageLength)) {
        const int error = errno;
        ZYN_TRACE(1, ZynTrace::Error, ZynTrace::Kernel,
                  "Language() failed: Errno: " << std::to_string(error));
        ZYN_THROW_INT(
            ZynOSException(ZYN_ORIGIN("ZynProfile::Language"), "Profile Find Language", error, 0));
    }
    return language;
}
