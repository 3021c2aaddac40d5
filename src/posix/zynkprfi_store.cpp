#include "zynkprfi_store.h"

#include <algorithm>

#include <pthread.h>

namespace zynkprfi {

namespace {

// Handles begin behind the roots; the lowest bit tells the store, as it does with these.
constexpr HKEY FirstHandle = 1ULL << 32U;
static_assert((zynkreg::LocalMachine & 1U) == Machine && (zynkreg::CurrentUser & 1U) == User);

// The store can't be had in this process any more.
constexpr long Lost = zynkreg::StoreFailed + SQLITE_MISUSE;

bool IsRoot(HKEY handle) {
    return handle == zynkreg::LocalMachine || handle == zynkreg::CurrentUser;
}

// Its address stands for a thread, and in the child of a fork for the one that forked.
thread_local constinit char thisThread = 0;

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// A text that has a NUL in it doesn't pass through the locale's functions, nor does one that isn't
// valid: it is like itself alone.
std::string UpperCase(std::string_view text) {
    std::string copy(text);
    if (copy.find('\0') != std::string::npos)
        return copy;
    return ZynString(copy.c_str()).ToUpperCase().C_str();
}

} // namespace

Name::Name(std::int64_t number, std::string_view bytes)
    : id(number), text(bytes), upper(IsAscii(bytes) ? "" : UpperCase(bytes)) {}

// The bytes of other characters must not be taken one by one: in some code pages they are letters.
std::string Fold(std::string_view name) {
    std::string folded(name);
    if (IsAscii(name))
        for (char& c : folded)
            if (c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
    return folded;
}

std::array<Store, 2>& Store::All() {
    static auto& stores = *[] {
        pthread_atfork(&PrepareFork, &ContinueParent, &BeginChild);
        return new std::array<Store, 2>{Store(Machine), Store(User)};
    }();
    return stores;
}

Store* Store::Of(HKEY handle) noexcept {
    return IsRoot(handle) || handle >= FirstHandle ? &All()[handle & 1U] : nullptr;
}

// A fork waits until no other thread has a transaction open; the calling one's reading begins anew.
void Store::PrepareFork() noexcept {
    for (Store& store : All()) {
        store.Enter();
        if (store._transaction == Transaction::Reading)
            store.Rollback();
    }
}

void Store::ContinueParent() noexcept {
    for (Store& store : All())
        store.Leave();
}

// The connection is the parent's, as are its locks. SQLite doesn't see that those of a change which
// is under way are not this process's.
void Store::BeginChild() noexcept {
    for (Store& store : All()) {
        if (store._transaction == Transaction::Writing)
            store._failure = Lost;
        if (store._connection != nullptr)
            store._connection->LeaveToParent();
        store.Abandon();
        store.Leave();
    }
}

void Store::Enter() noexcept {
    if (_owner.load(std::memory_order_relaxed) != &thisThread) {
        _mutex.lock();
        _owner.store(&thisThread, std::memory_order_relaxed);
    }
    ++_depth;
}

void Store::Leave() noexcept {
    if (--_depth > 0)
        return;
    if (_transaction != Transaction::None)
        Rollback();
    if (_connection != nullptr && (!_connection->IsWatched() || _isRefused))
        _connection.reset();
    _isRefused = false;
    _owner.store(nullptr, std::memory_order_relaxed);
    _mutex.unlock();
}

HKEY Store::Add(std::int64_t id, bool mayWrite) {
    const HKEY handle = FirstHandle + 2 * _handles + _scope;
    _keys.emplace(handle, OpenKey{id, mayWrite, _file});
    ++_handles;
    return handle;
}

const OpenKey* Store::Find(HKEY handle) const {
    static constexpr OpenKey root = {RootId, true, 0};
    if (IsRoot(handle))
        return &root;
    const auto found = _keys.find(handle);
    return found != _keys.end() ? &found->second : nullptr;
}

bool Store::Has(std::int64_t key) {
    return key == RootId || Statement(Base(), "SELECT 1 FROM keys WHERE id=?1").Start(key);
}

bool Store::Open(bool isWriting, bool mayCreate) {
    if (_connection != nullptr) {
        const auto state = _connection->Look(isWriting);
        if (state == Connection::State::Current)
            return true;
        if (state == Connection::State::Lost)
            Abandon();
        else
            _connection.reset();
    }
    const std::string path = PathOf(_scope);
    zynkplat::FileIdentity identity = IdentityOf(path);
    if (identity == zynkplat::FileIdentity{}) {
        if (!mayCreate)
            return false;
        MakeFile(path, _scope);
        identity = IdentityOf(path);
    }
    _isKnown = false;
    _connection = std::make_unique<Connection>(path, identity);
    if (identity != _identity)
        ++_file;
    _identity = identity;
    return true;
}

// SQLite opens a file to be read if it can't open it to be written at the moment, be it that there
// are too many open files. The next change tries again.
bool Store::MayWrite() {
    _isRefused = Base().IsReadOnly();
    return !_isRefused;
}

// It is kept where checks for leaks find it.
void Store::Abandon() noexcept {
    static constinit std::atomic<Connection*> abandoned = nullptr;
    _transaction = Transaction::None;
    if (_connection != nullptr) {
        _connection->next = abandoned;
        abandoned = _connection.release();
    }
}

bool Store::BeginReading() {
    if (_failure != 0)
        throw Failure{_failure};
    if (_transaction != Transaction::None)
        return true;
    if (!Open(false, false))
        return false;
    _transaction = Transaction::Reading;
    Base().Run("BEGIN");
    if (!_isKnown) {
        Statement(Base(), "SELECT 1 FROM sqlite_schema").Start();
        if (!Base().HasStore()) {
            Rollback();
            return false;
        }
        _isKnown = true;
    }
    return true;
}

// A transaction that has read can't always become one that writes, so it ends.
bool Store::BeginWriting(bool mayCreate) {
    if (_failure != 0)
        throw Failure{_failure};
    if (_transaction == Transaction::Writing)
        return true;
    if (_transaction == Transaction::Reading)
        Rollback();
    if (!Open(true, mayCreate))
        return false;
    if (!MayWrite())
        throw Failure{zynkreg::AccessDenied};
    _transaction = Transaction::Writing;
    Base().BeginWriting();
    if (Base().HasStore())
        return true;
    if (mayCreate)
        Base().MakeStore();
    else
        Rollback();
    return mayCreate;
}

void Store::EndChange(bool isComplete) {
    if (_writings > 0)
        return;
    if (isComplete)
        End("COMMIT");
    else
        Rollback();
}

long Store::Fail(long code) noexcept {
    if (_writings > 0)
        _failure = code;
    else
        Rollback();
    return code;
}

// SQLite ends a transaction by itself after some failures.
void Store::End(const char* how) {
    if (_connection != nullptr && Base().IsInTransaction())
        Base().Run(how);
    _transaction = Transaction::None;
    _kept = {};
}

void Store::Rollback() noexcept {
    try {
        End("ROLLBACK");
    } catch (...) {          // there may be no memory for the statement
        _connection.reset(); // rolls back too
        _transaction = Transaction::None;
        _kept = {};
    }
}

std::int64_t Store::FindKeyAsSpelt(std::int64_t parent, std::string_view name) {
    Statement find(Base(), "SELECT id FROM keys WHERE parent=?1 AND folded=?2");
    const std::string folded = Fold(name);
    return find.Start(parent, folded) ? find.Number(0) : 0;
}

std::int64_t Store::FindKey(std::int64_t parent, std::string_view name) {
    if (const std::int64_t found = FindKeyAsSpelt(parent, name); found != 0)
        return found;
    const Name* const alike = FindAlike(Keys, parent, name);
    return alike != nullptr ? alike->id : 0;
}

const Value* Store::FindValue(std::int64_t key, std::string_view name) {
    if (_kept.key == key && _kept.name == name)
        return &_kept.value;
    const std::string folded = Fold(name);
    Statement find(Base(), "SELECT id, type, data FROM key_values WHERE key=?1 AND folded=?2");
    if (!find.Start(key, folded)) {
        const Name* const alike = FindAlike(Values, key, name);
        if (alike == nullptr || !find.Start(key, alike->text))
            return nullptr;
    }
    _kept.key = -1;
    _kept.value = {find.Number(0), find.Number(1), std::string(find.Bytes(2))};
    _kept.name = name;
    _kept.key = key;
    return &_kept.value;
}

// Case is the locale's matter here, so the store can't look such a name up.
const Name* Store::FindAlike(Kind kind, std::int64_t key, std::string_view name) {
    if (IsAscii(name))
        return nullptr;
    const std::string upper = UpperCase(name);
    for (const Name& other : Names(kind, key))
        if (other.upper == upper)
            return &other;
    return nullptr;
}

void Store::Keep(Kind kind, std::int64_t key, std::string_view name) {
    _kept.key = -1;
    if (List& list = _kept.lists[kind]; list.key == key)
        list.names.emplace_back(Base().LatestId(), name);
}

const std::vector<Name>& Store::Names(Kind kind, std::int64_t key) {
    List& list = _kept.lists[kind];
    if (list.key != key) {
        list = {};
        Statement all(Base(), kind == Keys
                                  ? "SELECT id, name FROM keys WHERE parent=?1 ORDER BY id"
                                  : "SELECT id, name FROM key_values WHERE key=?1 ORDER BY id");
        for (bool more = all.Start(key); more; more = all.Next())
            list.names.emplace_back(all.Number(0), all.Bytes(1));
        list.key = key;
    }
    return list.names;
}

long Store::CommitWriting() noexcept {
    if (_writings > 1 || _failure != 0)
        return _failure;
    try {
        End("COMMIT");
        _handlesBefore = _handles;
        return zynkreg::Success;
    } catch (const Failure& failure) {
        return Fail(failure.code);
    } catch (...) {
        return Fail(zynkreg::StoreFailed + SQLITE_NOMEM);
    }
}

void Store::EnterWriting() noexcept {
    if (_writings++ == 0)
        _handlesBefore = _handles;
}

// Ids of keys that are not in the store after all will be used again.
void Store::LeaveWriting(bool isCommitted) noexcept {
    if (!isCommitted && _failure == 0)
        _failure = zynkreg::StoreFailed + SQLITE_ABORT;
    if (--_writings > 0)
        return;
    if (_failure != 0 || _transaction == Transaction::Writing)
        _keys.erase(_keys.lower_bound(FirstHandle + 2 * _handlesBefore), _keys.end());
    if (_transaction == Transaction::Writing)
        Rollback();
    if (_failure != Lost)
        _failure = 0;
}

} // namespace zynkprfi
