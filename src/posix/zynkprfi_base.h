// The connection to the SQLite database that a store is.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include <sqlite3.h>

#include "zynkprfi_file.h"

namespace zynkprfi {

/// What fails is thrown as Failure.
class Connection {
  public:
    /// To a file that exists.
    Connection(const std::string& path, const zynkplat::FileIdentity& identity);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() = default;

    enum class State {
        Current,
        Replaced, ///< another file has the name, or none has it
        Lost,     ///< the descriptor is of another file, or of none
    };
    /// A host may close all descriptors that it finds, and an administrator may put another file in
    /// the place. Who reads may see the latter a moment later.
    State Look(bool isWriting);

    /// Whether Look would notice that its descriptor has become another file's.
    bool IsWatched() const { return _descriptor >= 0; }
    bool IsReadOnly() const { return sqlite3_db_readonly(_base.get(), "main") != 0; }
    bool IsInTransaction() const { return sqlite3_get_autocommit(_base.get()) == 0; }
    std::int64_t LatestId() const { return sqlite3_last_insert_rowid(_base.get()); }
    /// Whether there is a store in the file. A file that has something else in it fails.
    bool HasStore() const;
    /// Makes one, in the transaction that is open.
    void MakeStore() { Execute(_schema); }
    void Run(const char* sql);
    /// Begins a transaction that may write, when it is this process's turn.
    void BeginWriting();

    /// In the child of a fork, which never uses it again.
    void LeaveToParent() noexcept;

    Connection* next = nullptr; ///< of those that the process must not close

  private:
    friend class Statement;

    static const char* const _schema;

    struct Closer {
        void operator()(sqlite3* base) const { sqlite3_close(base); }
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    struct Header;
    class Turn;

    Header ReadHeader() const;
    void Execute(const char* sql);
    sqlite3_stmt* Prepared(const char* sql);
    /// Throws what the code means, if it is one of a failure.
    void Check(int code) const;

    std::string _path;
    zynkplat::FileIdentity _identity;
    int _descriptor = -1; ///< -1 if it can't be told
    long long _lookedAt = 0;
    bool _isTurnStuck = false; ///< it came to nothing to wait for it
    std::unique_ptr<sqlite3, Closer> _base;
    std::unordered_map<const char*, std::unique_ptr<sqlite3_stmt, Closer>> _statements;
};

/// A use of a statement, which ends with this object. The statement is kept prepared, by the
/// address of its text.
class Statement {
  public:
    Statement(Connection& connection, const char* sql)
        : _connection(connection), _statement(connection.Prepared(sql)) {}
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_reset(_statement); }

    /// Begins anew with these parameters; whether there is a row.
    template <class... Parameters>
    bool Start(const Parameters&... parameters) {
        sqlite3_reset(_statement);
        int index = 0;
        (Bind(++index, parameters), ...);
        return Next();
    }
    /// Whether there is one more row.
    bool Next();

    /// @name Columns of the row
    /// @{
    std::int64_t Number(int column) const { return sqlite3_column_int64(_statement, column); }
    /// Valid until the next row.
    std::string_view Bytes(int column) const;
    /// @}

  private:
    void Bind(int index, std::int64_t number);
    void Bind(int index, std::string_view bytes);

    Connection& _connection;
    sqlite3_stmt* _statement;
};

} // namespace zynkprfi
