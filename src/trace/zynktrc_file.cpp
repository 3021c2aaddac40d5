// The trace file: its name, its opening, its limit and its rotation.
#include "zynktrc_file.h"

#include <memory>
#include <string>
#include <utility>

#include "zynkplat.h"
#include "zynktrc.h"

constinit std::atomic<const ZynString*> ZynTrace::_TraceFileName{nullptr};
constinit unsigned long ZynTrace::_TraceFileWrittenBytes = 0;
constinit int ZynTrace::_fdesc = 0;
constinit unsigned long ZynTrace::_opentries = 0;

namespace {

// Of the file that was opened last, under the lock of the file.
constinit zynkplat::FileIdentity identity = {};
constinit bool isLost = false;    // its descriptor is another file's, or closed
constinit bool isLimited = false; // file sizes are
constinit int linesToLook = 0;    // until the two are looked at again

} // namespace

namespace zynktrc {

constinit std::atomic<int> FileLock::_users{0};

// Counts itself ahead of the look at the pointer, so that whoever has taken the pointer away and
// finds no users knows that there will be none.
FileLock::FileLock(const std::atomic<ZynMutexSemaphore*>& semaphore) {
    ++_users;
    ZynMutexSemaphore* const found = semaphore.load();
    try {
        if (found != nullptr)
            found->Request();
        _held = found;
    } catch (...) {
        --_users;
        throw;
    }
}

FileLock::~FileLock() {
    try {
        if (_held != nullptr)
            _held->Release();
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
    --_users;
}

void FileLock::Retire(std::atomic<ZynMutexSemaphore*>& semaphore) noexcept {
    static ZynMutexSemaphore* leftBehind = nullptr;
    leftBehind = semaphore.load();
    try {
        {
            const FileLock lock(semaphore);
            semaphore = nullptr;
        }
        if (_users == 0)
            delete std::exchange(leftBehind, nullptr);
    } catch (...) { // NOLINT(bugprone-empty-catch): a failure of the trace is never reported
    }
}

} // namespace zynktrc

ZynString ZynTrace::TraceFileName() {
    const bool flips = !GetEnv("ZYN_FLIP_FLOP_TRACES").IsNull();
    const bool splits = !GetEnv("ZYN_SPLIT_TRACES").IsNull();
    if (flips && splits)
        Write(_FlipFlopTrace, true);
    ZynString name = GetEnv("ZYN_TRACE_FILE");
    if (name.IsNull())
        name = "zyntrc.";
    if (name.C_str()[name.Length() - 1] != '.')
        name |= '.';
    if (!splits)
        return name | "log";
    name |= ProcessNameAsString();
    if (Read(_FlipFlopTrace))
        name |= ZynString(".") | ZynString::FromUlong(zynkplat::CurrentProcessId());
    return name;
}

const ZynString& ZynTrace::GetTraceFile() {
    if (const ZynString* const name = _TraceFileName.load(); name != nullptr)
        return *name;
    static const ZynString& early = *new ZynString(TraceFileName()); // lives to the end
    return early;
}

// The file's next line goes to the file of the present settings. A name that has been in use may
// still be read by another thread, so it stays for good.
void ZynTrace::OpenAnew() {
    struct Former {
        std::unique_ptr<const ZynString> name;
        std::unique_ptr<Former> older;
    };
    static Former* names = nullptr;
    const zynktrc::FileLock lock(_pSem);
    CloseFile();
    auto name = std::make_unique<const ZynString>(TraceFileName());
    for (const Former* former = names; former != nullptr; former = former->older.get())
        if (*former->name == *name) {
            _TraceFileName = former->name.get();
            return;
        }
    auto former = std::make_unique<Former>();
    former->name = std::move(name);
    former->older.reset(names);
    names = former.release();
    _TraceFileName = names->name.get();
}

// A host that closes all descriptors may have other files under their numbers later.
bool ZynTrace::IsOwnFile() {
    return zynkplat::IdentityOf(_fdesc) == identity;
}

void ZynTrace::CloseFile() {
    const zynktrc::FileLock lock(_pSem);
    if (_fdesc != 0 && IsOwnFile())
        zynkplat::Close(_fdesc);
    _fdesc = 0;
}

// What the host may change is not asked for at each line, where a call of the system would cost as
// much as the line, but at some, behind one that failed, and at each if the host's next files may
// get the descriptor. A limit of file sizes that is set between two looks ends the process as a
// write of its own would.
void ZynTrace::LookAtFile() {
    constexpr int LinesBetweenLooks = 64;
    linesToLook = zynkplat::IsLowDescriptor(_fdesc) ? 0 : LinesBetweenLooks;
    isLost = !IsOwnFile();
    isLimited = zynkplat::HasFileSizeLimit();
}

// The result of the open is compared with 0 only: a file that can't be opened gives -1, and is not
// tried again before the settings are read anew.
void ZynTrace::WriteToFile(std::string_view entry) {
    constexpr unsigned long MaxOpenTries = 4;
    const zynktrc::FileLock lock(_pSem);
    if (_opentries >= MaxOpenTries)
        return;
    if (_fdesc == 0) {
        ++_opentries;
        _fdesc = zynkplat::OpenForAppending(GetTraceFile().C_str());
        if (_fdesc == 0)
            return;
        _opentries = 0;
        identity = zynkplat::IdentityOf(_fdesc);
        linesToLook = 0;
    }
    if (linesToLook-- == 0)
        LookAtFile();
    if (!isLost && !zynkplat::Append(_fdesc, entry.data(), entry.size(), isLimited))
        linesToLook = 0;
    _TraceFileWrittenBytes += entry.size();
    if (Read(_FlipFlopTrace) && _TraceFileWrittenBytes > Read(_TraceFileSize))
        Rotate();
}

// The lines so far become the older of the two files that there are.
void ZynTrace::Rotate() {
    CloseFile();
    _opentries = 0;
    _TraceFileWrittenBytes = 0;
    const ZynString& name = GetTraceFile();
    // Not from a copy: others copy the name as well, and its count is a plain one.
    const std::string older = std::string(name.C_str()) + ".bak";
    zynkplat::RemoveFile(older.c_str());
    zynkplat::RenameFile(name.C_str(), older.c_str());
}
