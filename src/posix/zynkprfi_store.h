// A store: its lock, its open keys, its transactions and what is found in it.
#pragma once

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <vector>

#include "zynkprf_store.h"
#include "zynkprfi_base.h"

namespace zynkprfi {

/// The id of a root, which has no row.
constexpr std::int64_t RootId = 0;

struct OpenKey {
    std::int64_t id;
    bool mayWrite;
    unsigned long file; ///< the number of the file that it is in
};

enum Kind { Keys, Values };

struct Name {
    Name(std::int64_t number, std::string_view bytes);

    std::int64_t id;
    std::string text;
    std::string upper; ///< of a name that is not all ASCII
};

struct Value {
    std::int64_t id;
    std::int64_t type;
    std::string data;
};

/// Its lock is held for all but `Of`. It is never destroyed.
class Store {
  public:
    /// The one that a handle belongs to; null if there is none.
    static Store* Of(HKEY handle) noexcept;

    explicit Store(Scope scope) : _scope(scope) {}
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Takes the lock and gives it back; they nest. A transaction ends with the outermost.
    void Enter() noexcept;
    void Leave() noexcept;

    /// @name Open keys
    /// @{
    HKEY Add(std::int64_t id, bool mayWrite);
    /// Null if there is none.
    const OpenKey* Find(HKEY handle) const;
    bool Remove(HKEY handle) { return _keys.erase(handle) != 0; }
    /// Another file in the place of the key's own may have another one of that id.
    bool IsOfItsFile(const OpenKey& key) const { return key.id == RootId || key.file == _file; }
    /// @}

    /// @name Transactions
    /// @{
    /// False if there is no store.
    bool BeginReading();
    /// The same, unless one is to be made.
    bool BeginWriting(bool mayCreate);
    /// A change of one operation, which is in the store with it unless a Writing is open.
    void EndChange(bool isComplete);
    /// The operation failed in the store; answers the code.
    long Fail(long code) noexcept;

    void EnterWriting() noexcept;
    /// What the Writing, which is the innermost, has failed with.
    long CommitWriting() noexcept;
    void LeaveWriting(bool isCommitted) noexcept;
    /// @}

    /// @name What is found; a transaction is open
    /// @{
    Connection& Base() { return *_connection; }
    bool MayWrite();
    bool Has(std::int64_t key);
    /// 0 if there is none.
    std::int64_t FindKey(std::int64_t parent, std::string_view name);
    /// The same, but for case where that is the locale's matter.
    std::int64_t FindKeyAsSpelt(std::int64_t parent, std::string_view name);
    /// Null if there is none. It is kept, as are names, until the transaction ends or changes.
    const Value* FindValue(std::int64_t key, std::string_view name);
    /// In the order of creation.
    const std::vector<Name>& Names(Kind kind, std::int64_t key);
    /// For who changes what is kept: the latest row is a new name, a value is another one, and
    /// anything may be.
    void Keep(Kind kind, std::int64_t key, std::string_view name);
    void ForgetValue() { _kept.key = -1; }
    void Forget() { _kept = {}; }
    /// @}

  private:
    enum class Transaction { None, Reading, Writing };

    static std::array<Store, 2>& All();
    static void PrepareFork() noexcept;
    static void ContinueParent() noexcept;
    static void BeginChild() noexcept;

    bool Open(bool isWriting, bool mayCreate);
    void Abandon() noexcept;
    void End(const char* how);
    void Rollback() noexcept;
    const Name* FindAlike(Kind kind, std::int64_t key, std::string_view name);

    const Scope _scope;

    std::mutex _mutex;
    std::atomic<const void*> _owner = nullptr; ///< the thread that holds it
    int _depth = 0;

    std::map<HKEY, OpenKey> _keys;
    HKEY _handles = 0; ///< how many there have been

    std::unique_ptr<Connection> _connection;
    zynkplat::FileIdentity _identity = {};
    unsigned long _file = 0; ///< the number of the one that is open

    Transaction _transaction = Transaction::None;
    bool _isRefused = false; ///< a change, for the connection can only read
    bool _isKnown = false;   ///< the file is known to have a store
    int _writings = 0;
    HKEY _handlesBefore = 0; ///< how many there were ahead of the outermost Writing
    long _failure = 0;       ///< why that can't be committed

    struct List {
        std::int64_t key = -1;
        std::vector<Name> names;
    };
    struct Kept {
        List lists[2];
        std::int64_t key = -1;
        std::string name;
        Value value;
    };
    Kept _kept;
};

/// The folded form of a name, by which it is looked for: in capitals if it is all ASCII.
std::string Fold(std::string_view name);

} // namespace zynkprfi
