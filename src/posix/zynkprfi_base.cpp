#include "zynkprfi_base.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zynkprf_store.h"

namespace zynkprfi {

namespace {

// Tells that a database is a store.
constexpr unsigned long ApplicationId = 0x5A594E53;
constexpr unsigned long FormatVersion = 1;

// The waits differ, so that those who wait don't come at the same moment again.
void Wait(std::chrono::microseconds most) {
    std::uint16_t random = 0;
    sqlite3_randomness(sizeof random, &random);
    std::this_thread::sleep_for(most / 4 + most * random / 87'381);
}

// Another process has the store: waits, for as long as it takes.
int AwaitStore(void*, int tries) {
    Wait(std::chrono::microseconds(250 * std::min(tries + 1, 4)));
    return 1;
}

long long Milliseconds() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1'000'000;
}

unsigned long Word(const unsigned char* bytes) {
    unsigned long word = 0;
    for (int i = 0; i < 4; ++i)
        word = word << 8U | bytes[i];
    return word;
}

} // namespace

// SQLite's own lock is had by whoever comes at the right moment, which is as a rule the one that
// has just given it up. So only one process at a time tries for it: the one that has this byte of
// the file. The others try for the byte, the more often the longer they wait. It goes with its
// process; a system that has no such locks costs the order and no more.
class Connection::Turn {
  public:
    Turn(int file, std::chrono::milliseconds patience) : _file(file) {
        using std::chrono::milliseconds;
        const auto start = std::chrono::steady_clock::now();
        while (!(_isMine = Lock(F_WRLCK)) && (errno == EAGAIN || errno == EACCES)) {
            const auto waited = std::chrono::steady_clock::now() - start;
            if (waited >= patience) {
                _isInVain = true;
                return;
            }
            Wait(waited > milliseconds(500) ? milliseconds(1) : milliseconds(4));
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        if (_isMine)
            Lock(F_UNLCK);
    }
    bool IsInVain() const { return _isInVain; }

  private:
    // Of the descriptor, not of the process: it doesn't go when another one is closed.
    bool Lock(short kind) const {
        struct flock lock = {};
        lock.l_type = kind;
        lock.l_whence = SEEK_SET;
        lock.l_start = 0x4000'0200; // behind those that SQLite locks
        lock.l_len = 1;
        return fcntl(_file, F_OFD_SETLK, &lock) == 0;
    }

    int _file;
    bool _isMine = false;
    bool _isInVain = false;
};

// A process that is stopped while it has the byte keeps the others waiting once.
void Connection::BeginWriting() {
    using std::chrono::milliseconds;
    constexpr milliseconds Patience(2000);
    const Turn turn(_descriptor, _isTurnStuck ? milliseconds(0) : Patience);
    _isTurnStuck = turn.IsInVain();
    Run("BEGIN IMMEDIATE");
}

// The description of the file is the parent's as well: its locks would stay for as long as the
// child lives. The child has no locks of its own yet that closing it could take away.
void Connection::LeaveToParent() noexcept {
    if (IsWatched() && zynkplat::IdentityOf(_descriptor) == _identity)
        close(_descriptor);
    _descriptor = -1;
}

// Ids of keys are never used again: a handle of a key that has been deleted must not open another.
const char* const Connection::_schema =
    "PRAGMA application_id=0x5A594E53; PRAGMA user_version=1;"
    "CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
    " name BLOB NOT NULL, folded BLOB NOT NULL, UNIQUE(parent, folded));"
    "CREATE TABLE key_values(id INTEGER PRIMARY KEY, key INTEGER NOT NULL,"
    " name BLOB NOT NULL, folded BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL,"
    " UNIQUE(key, folded));";

// The beginning of the file, as its format has it.
struct Connection::Header {
    unsigned char bytes[100];
    sqlite3_int64 size;

    bool IsWithLog() const { return bytes[18] == 2 || bytes[19] == 2; }
    unsigned long Version() const { return Word(bytes + 60); }
    unsigned long Application() const { return Word(bytes + 68); }
};

// A database with a write-ahead log is not ours, and even to read it would make files.
Connection::Connection(const std::string& path, const zynkplat::FileIdentity& identity)
    : _path(path), _identity(identity) {
    const auto others = DescriptorsOf(identity);
    sqlite3* base = nullptr;
    constexpr int Flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE |
                          SQLITE_OPEN_EXRESCODE;
    const int code = sqlite3_open_v2(path.c_str(), &base, Flags, "unix");
    _base.reset(base);
    if (base == nullptr)
        throw Failure{zynkreg::StoreFailed + code};
    Check(code);
    const auto all = DescriptorsOf(identity);
    if (others && all)
        for (const int descriptor : *all)
            if (std::find(others->begin(), others->end(), descriptor) == others->end())
                _descriptor = descriptor;
    if (ReadHeader().IsWithLog())
        Check(SQLITE_NOTADB);
    sqlite3_busy_handler(base, &AwaitStore, nullptr);
    sqlite3_db_config(base, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(base, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(base, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(base, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    // A large change that went into the file ahead of its end would lock readers out meanwhile.
    Execute("PRAGMA cell_size_check=ON; PRAGMA synchronous=EXTRA; PRAGMA cache_spill=OFF;");
}

// The name is looked up at every reading if that comes rarely: it takes as long as a fifth of one.
Connection::State Connection::Look(bool isWriting) {
    struct stat status = {};
    if (_descriptor >= 0) {
        if (fstat(_descriptor, &status) != 0 ||
            zynkplat::FileIdentity{status.st_dev, status.st_ino} != _identity)
            return State::Lost;
        if (status.st_nlink == 0)
            return State::Replaced;
    }
    const long long now = Milliseconds();
    constexpr long long Moment = 100;
    if (!isWriting && now - _lookedAt < Moment)
        return State::Current;
    _lookedAt = now;
    return IdentityOf(_path) == _identity ? State::Current : State::Replaced;
}

bool Connection::HasStore() const {
    const Header header = ReadHeader();
    if (header.size == 0)
        return false;
    if (header.Application() != ApplicationId)
        Check(SQLITE_NOTADB);
    if (header.Version() != FormatVersion)
        Check(SQLITE_SCHEMA);
    return true;
}

// Through SQLite: to close another descriptor of the file would take its locks away.
Connection::Header Connection::ReadHeader() const {
    Header header = {};
    sqlite3_file* file = nullptr;
    sqlite3_file_control(_base.get(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    Check(file->pMethods->xFileSize(file, &header.size));
    const int code = file->pMethods->xRead(file, header.bytes, sizeof header.bytes, 0);
    if (code != SQLITE_IOERR_SHORT_READ)
        Check(code);
    return header;
}

void Connection::Execute(const char* sql) {
    Check(sqlite3_exec(_base.get(), sql, nullptr, nullptr, nullptr));
}

void Connection::Run(const char* sql) {
    Statement(*this, sql).Start();
}

sqlite3_stmt* Connection::Prepared(const char* sql) {
    auto& statement = _statements[sql];
    if (statement == nullptr) {
        sqlite3_stmt* prepared = nullptr;
        Check(sqlite3_prepare_v3(_base.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                                 nullptr));
        statement.reset(prepared);
    }
    return statement.get();
}

void Connection::Check(int code) const {
    constexpr int PrimaryCode = 0xFF;
    switch (code & PrimaryCode) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
        return;
    case SQLITE_READONLY:
    case SQLITE_PERM:
        throw Failure{zynkreg::AccessDenied};
    case SQLITE_CANTOPEN:
        if (const int error = sqlite3_system_errno(_base.get()); error == EACCES || error == EPERM)
            throw Failure{zynkreg::AccessDenied};
        [[fallthrough]];
    default:
        throw Failure{zynkreg::StoreFailed + code};
    }
}

bool Statement::Next() {
    const int code = sqlite3_step(_statement);
    _connection.Check(code);
    return code == SQLITE_ROW;
}

std::string_view Statement::Bytes(int column) const {
    const void* const bytes = sqlite3_column_blob(_statement, column);
    const int length = sqlite3_column_bytes(_statement, column);
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

void Statement::Bind(int index, std::int64_t number) {
    _connection.Check(sqlite3_bind_int64(_statement, index, number));
}

// A blob at a null pointer would be none.
void Statement::Bind(int index, std::string_view bytes) {
    _connection.Check(sqlite3_bind_blob64(_statement, index, bytes.empty() ? "" : bytes.data(),
                                          bytes.size(), SQLITE_STATIC));
}

} // namespace zynkprfi
