// The store operations on a host without a registry.
#include <algorithm>

#include "zynkprf_store.h"
#include "zynkprfi_store.h"

namespace zynkreg {

using zynkprfi::Failure;
using zynkprfi::Fold;
using zynkprfi::Kind;
using zynkprfi::OpenKey;
using zynkprfi::RootId;
using zynkprfi::Statement;
using zynkprfi::Store;
using zynkprfi::Value;

namespace {

constexpr unsigned long Writes = ReadWrite & ~Read;
constexpr long NotCommitted = -1;

std::string_view Bytes(const ZynString& text) {
    return text.IsNull() ? std::string_view() : std::string_view(text.C_str(), text.Length());
}

ZynString Text(std::string_view bytes) {
    ZynString text(CreateEmpty, bytes.size());
    bytes.copy(text.PreRead(), bytes.size());
    text.PostRead(bytes.size());
    return text;
}

// What the calling thread does while it lives is not disturbed.
class Extent {
  public:
    explicit Extent(Store& store) : _store(store) { _store.Enter(); }
    Extent(const Extent&) = delete;
    Extent& operator=(const Extent&) = delete;
    ~Extent() { _store.Leave(); }

  private:
    const zynkplat::Uncancelled _uncancelled;
    Store& _store;
};

// No exception leaves an operation. One of another kind is that there is no memory.
template <class Work>
long Guarded(Store& store, Work work) noexcept {
    try {
        return work();
    } catch (const Failure& failure) {
        return store.Fail(failure.code);
    } catch (...) {
        return store.Fail(StoreFailed + SQLITE_NOMEM);
    }
}

template <class Work>
long WithKey(HKEY handle, Work work) noexcept {
    Store* const store = Store::Of(handle);
    if (store == nullptr)
        return InvalidHandle;
    const Extent extent(*store);
    const OpenKey* const key = store->Find(handle);
    if (key == nullptr)
        return InvalidHandle;
    return Guarded(*store, [&] { return work(*store, *key); });
}

// `without` is the answer where there is no store. A key that has been deleted has nothing in it.
template <class Work>
long Look(HKEY handle, long without, Work work) noexcept {
    return WithKey(handle, [&](Store& store, const OpenKey& key) {
        if (!store.BeginReading())
            return without;
        return store.IsOfItsFile(key) ? work(store, key.id) : NotFound;
    });
}

template <class Work>
long Change(HKEY handle, bool mayCreate, Work work) noexcept {
    return WithKey(handle, [&](Store& store, const OpenKey& key) {
        if (!key.mayWrite)
            return AccessDenied;
        if (!store.BeginWriting(mayCreate && key.id == RootId))
            return key.id == RootId ? NotFound : KeyDeleted;
        const long code =
            store.IsOfItsFile(key) && store.Has(key.id) ? work(store, key.id) : KeyDeleted;
        store.EndChange(code == Success);
        return code;
    });
}

// The key at the end of a path; 0 if there is none. What is left of the path may be the name of one
// key to who made it: in his code page the byte of a separator is part of a character.
std::int64_t Walk(Store& store, std::int64_t key, std::string_view path) {
    std::int64_t found = 0;
    for (const std::string_view name : NamesOf(path)) {
        const std::string_view rest =
            path.substr(static_cast<std::size_t>(name.data() - path.data()));
        if (found = store.FindKeyAsSpelt(key, rest); found != 0)
            return found;
        if (found = store.FindKey(key, name); found == 0)
            return 0;
        key = found;
    }
    return found;
}

long NameAt(HKEY handle, Kind kind, unsigned long index, ZynString& name) noexcept {
    return Look(handle, NoMoreItems, [&](Store& store, std::int64_t key) {
        const auto& names = store.Names(kind, key);
        if (index >= names.size())
            return NoMoreItems;
        name = Text(names[index].text);
        return Success;
    });
}

} // namespace

long RegOpenKeyEx(HKEY parent, const ZynString& name, unsigned long access, HKEY& child) noexcept {
    return Look(parent, NotFound, [&](Store& store, std::int64_t key) {
        const std::int64_t found = store.FindKey(key, Bytes(name));
        if (found == 0)
            return NotFound;
        if ((access & Writes) != 0 && !store.MayWrite())
            return AccessDenied;
        child = store.Add(found, (access & Writes) != 0);
        return Success;
    });
}

long RegCreateKeyEx(HKEY parent, const ZynString& name, unsigned long access,
                    HKEY& child) noexcept {
    if (const long code = RegOpenKeyEx(parent, name, access, child); code != NotFound)
        return code;
    HKEY made = 0;
    const long code = Change(parent, true, [&](Store& store, std::int64_t key) {
        std::int64_t id = store.FindKey(key, Bytes(name));
        if (id == 0) {
            Statement(store.Base(), "INSERT INTO keys(parent, name, folded) VALUES(?1, ?2, ?3)")
                .Start(key, Bytes(name), Fold(Bytes(name)));
            id = store.Base().LatestId();
            store.Keep(zynkprfi::Keys, key, Bytes(name));
        }
        made = store.Add(id, (access & Writes) != 0);
        return Success;
    });
    if (code == Success)
        child = made;
    else
        RegCloseKey(made);
    return code;
}

long RegCloseKey(HKEY key) noexcept {
    if (key == 0 || key == LocalMachine || key == CurrentUser)
        return Success;
    return WithKey(key, [&](Store& store, const OpenKey&) {
        store.Remove(key);
        return Success;
    });
}

long RegQueryValueEx(HKEY key, const ZynString& name, unsigned long& type, char* buffer,
                     unsigned long& length) noexcept {
    return Look(key, NotFound, [&](Store& store, std::int64_t id) {
        const Value* const value = store.FindValue(id, Bytes(name));
        if (value == nullptr)
            return NotFound;
        const std::string& data = value->data;
        const bool fits = buffer != nullptr && data.size() <= length;
        type = static_cast<std::uint32_t>(value->type);
        length = data.size();
        if (fits)
            data.copy(buffer, length);
        return fits || buffer == nullptr ? Success : MoreData;
    });
}

long RegSetValueEx(HKEY key, const ZynString& name, unsigned long type, const char* bytes,
                   unsigned long length) noexcept {
    return Change(key, true, [&](Store& store, std::int64_t id) {
        const std::string_view data(bytes, length);
        const std::int64_t kind = static_cast<std::uint32_t>(type);
        if (const Value* const value = store.FindValue(id, Bytes(name)); value != nullptr) {
            Statement(store.Base(), "UPDATE key_values SET type=?2, data=?3 WHERE id=?1")
                .Start(value->id, kind, data);
            store.ForgetValue();
        } else {
            Statement(
                store.Base(),
                "INSERT INTO key_values(key, name, folded, type, data) VALUES(?1, ?2, ?3, ?4, ?5)")
                .Start(id, Bytes(name), Fold(Bytes(name)), kind, data);
            store.Keep(zynkprfi::Values, id, Bytes(name));
        }
        return Success;
    });
}

long RegDeleteValue(HKEY key, const ZynString& name) noexcept {
    return Change(key, false, [&](Store& store, std::int64_t id) {
        const Value* const value = store.FindValue(id, Bytes(name));
        if (value == nullptr)
            return NotFound;
        Statement(store.Base(), "DELETE FROM key_values WHERE id=?1").Start(value->id);
        store.Forget();
        return Success;
    });
}

long RegDeleteKey(HKEY parent, const ZynString& path) noexcept {
    return Change(parent, false, [&](Store& store, std::int64_t key) {
        const std::int64_t id = Walk(store, key, Bytes(path));
        if (id == 0)
            return NotFound;
        if (Statement(store.Base(), "SELECT 1 FROM keys WHERE parent=?1").Start(id))
            return HasSubkeys;
        Statement(store.Base(), "DELETE FROM key_values WHERE key=?1").Start(id);
        Statement(store.Base(), "DELETE FROM keys WHERE id=?1").Start(id);
        store.Forget();
        return Success;
    });
}

long RegQueryInfoKey(HKEY key, KeyInfo& info) noexcept {
    info = {};
    return Look(key, Success, [&](Store& store, std::int64_t id) {
        const auto count = [&](Kind kind, unsigned long& number, unsigned long& longest) {
            const auto& names = store.Names(kind, id);
            number = names.size();
            for (const zynkprfi::Name& name : names)
                longest = std::max(longest, name.text.size());
        };
        count(zynkprfi::Keys, info.subkeys, info.longestSubkey);
        count(zynkprfi::Values, info.values, info.longestValue);
        return info.subkeys + info.values > 0 || store.Has(id) ? Success : NotFound;
    });
}

long RegEnumKeyEx(HKEY key, unsigned long index, ZynString& name) noexcept {
    return NameAt(key, zynkprfi::Keys, index, name);
}

long RegEnumValue(HKEY key, unsigned long index, ZynString& name) noexcept {
    return NameAt(key, zynkprfi::Values, index, name);
}

Reading::Reading(HKEY key) noexcept : _store(Store::Of(key)) {
    if (_store != nullptr)
        static_cast<Store*>(_store)->Enter();
}

Reading::~Reading() {
    const zynkplat::Uncancelled extent;
    if (_store != nullptr)
        static_cast<Store*>(_store)->Leave();
}

Writing::Writing(HKEY key) noexcept : _store(Store::Of(key)), _result(InvalidHandle) {
    if (_store == nullptr)
        return;
    const zynkplat::Uncancelled extent;
    Store& store = *static_cast<Store*>(_store);
    store.Enter();
    store.EnterWriting();
    if (store.Find(key) != nullptr)
        _result = Guarded(store, [&] {
            store.BeginWriting(false);
            return NotCommitted;
        });
}

Writing::~Writing() {
    if (_store == nullptr)
        return;
    const zynkplat::Uncancelled extent;
    Store& store = *static_cast<Store*>(_store);
    store.LeaveWriting(_result == Success);
    store.Leave();
}

long Writing::Commit() noexcept {
    const zynkplat::Uncancelled extent;
    if (_result == NotCommitted)
        _result = static_cast<Store*>(_store)->CommitWriting();
    return _result;
}

} // namespace zynkreg
