#include "zynksemi_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include "zynkplat.h"
#include "zynkplat_descriptor.h"

namespace zynksem {

using zynkplat::Descriptor;

namespace {

// In memory: a mutex must not outlive the system's run, as its owner does not.
constexpr const char* Directory = "/dev/shm";
constexpr mode_t AllUsers = 0666;

/// 0, or the error number of a call that answers -1 for a failure.
int Error(int result) {
    return result == -1 ? errno : 0;
}

/// The result of a call that a signal can interrupt.
template <class Call>
int Persist(Call call) {
    int error = EINTR;
    while (error == EINTR)
        error = call();
    return error;
}

/// The descriptor, but none of the first three: a process that has closed its standard output still
/// writes to it, and that must not go into a mutex.
int NoStandardOne(int fd) {
    if (fd < 0 || fd > STDERR_FILENO)
        return fd;
    const Descriptor standard(fd);
    return fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

// That of the process is empty once its first thread has ended.
Path PathOf(int fd) {
    Path path = {};
    std::snprintf(path.data(), path.size(), "/proc/thread-self/fd/%d", fd);
    return path;
}

/// The same file once more.
int ForReading(int fd) {
    return NoStandardOne(open(PathOf(fd).data(), O_RDONLY | O_CLOEXEC));
}

int LockShared(int fd) {
    return Persist([fd] { return Error(flock(fd, LOCK_SH)); });
}

// Reads: a page that a foreign file lacks would only be missed where memory is accessed.
bool IsOurs(int fd, const struct stat& status) {
    const SharedMutex::Head ours;
    SharedMutex::Head found;
    return S_ISREG(status.st_mode) && status.st_size == sizeof(SharedMutex) &&
           pread(fd, &found, sizeof found, 0) == sizeof found &&
           std::memcmp(&found, &ours, sizeof ours) == 0;
}

int InitMutex(pthread_mutex_t& mutex) {
    pthread_mutexattr_t attributes;
    int error = pthread_mutexattr_init(&attributes);
    if (error != 0)
        return error;
    error = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    if (error == 0)
        error = pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    if (error == 0)
        error = pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return error;
}

// Puts a free mutex into a file that nobody uses. The system does not mark each mutex whose owner
// is gone: not that of a thread which has become another program, nor one of more than it keeps
// count of for a thread.
int Renew(int fd) {
    SharedMutex mutex;
    if (const int error = InitMutex(mutex.mutex); error != 0)
        return error;
    return pwrite(fd, &mutex, sizeof mutex, 0) == sizeof mutex ? 0 : EIO;
}

} // namespace

static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

Path PathOfLock(const ZynString& name) {
    const ZynBinary text(name.C_str(), std::strlen(name.C_str()));
    const ZynBinary digest = text.ToMD5().AsHexString();
    Path path = {};
    std::snprintf(path.data(), path.size(), "%s/zynkernn-mutex-%s", Directory, digest.Data());
    return path;
}

bool Exists(const Path& path) {
    struct stat status = {};
    return lstat(path.data(), &status) == 0;
}

int SharedMutex::Lock() noexcept {
    const int error = pthread_mutex_lock(&mutex);
    return error == EOWNERDEAD ? pthread_mutex_consistent(&mutex) : error;
}

bool SharedMutex::IsLeft() noexcept {
    const int error = pthread_mutex_trylock(&mutex);
    if (error == EOWNERDEAD)
        pthread_mutex_consistent(&mutex);
    if (error == 0 || error == EOWNERDEAD)
        pthread_mutex_unlock(&mutex);
    return error != EBUSY;
}

// Each turn of this loop is another process's creation or removal.
int MutexFile::Open() {
    for (;;) {
        if (const int error = OpenExisting(); error != ENOENT)
            return error;
        if (const int error = Create(); error != EEXIST)
            return error;
    }
}

// ENOENT also if it has been removed meanwhile.
int MutexFile::OpenExisting() {
    // What is no regular file is not waited for, nor does it become the process's terminal.
    constexpr int Flags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    const Descriptor file(NoStandardOne(open(_path.data(), Flags)));
    const int fd = file.Get();
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0)
        return errno;
    if (!IsOurs(fd, status))
        return EINVAL;
    Descriptor kept(ForReading(fd));
    if (kept.Get() < 0)
        return errno;
    _device = status.st_dev;
    _inode = status.st_ino;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0 && HasItsName())
        if (const int error = Renew(fd); error != 0)
            return error;
    // Both: the mapping holds the one, also if all descriptors are closed behind our back.
    if (const int error = LockShared(fd); error != 0)
        return error;
    if (const int error = LockShared(kept.Get()); error != 0)
        return error;
    if (!HasItsName())
        return ENOENT;
    if (const int error = Map(fd); error != 0)
        return error;
    _fd = kept.Keep();
    return 0;
}

// EEXIST if another process was faster. The file has no name until it is complete.
int MutexFile::Create() {
    const Descriptor file(NoStandardOne(open(Directory, O_TMPFILE | O_RDWR | O_CLOEXEC, AllUsers)));
    const int fd = file.Get();
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0 || fchmod(fd, AllUsers) != 0)
        return errno;
    _device = status.st_dev;
    _inode = status.st_ino;
    // Memory that is short is told here and not by a signal at the first access.
    int error = Persist([&] { return posix_fallocate(fd, 0, sizeof(SharedMutex)); });
    Descriptor kept(ForReading(fd));
    if (error == 0 && kept.Get() < 0)
        error = errno;
    if (error == 0)
        error = LockShared(fd);
    if (error == 0)
        error = LockShared(kept.Get());
    if (error == 0)
        error = Map(fd);
    if (error != 0)
        return error;
    new (_mutex) SharedMutex;
    error = InitMutex(_mutex->mutex);
    if (error == 0) {
        const Path self = PathOf(fd);
        error = Error(linkat(AT_FDCWD, self.data(), AT_FDCWD, _path.data(), AT_SYMLINK_FOLLOW));
    }
    if (error != 0)
        munmap(_mutex, sizeof *_mutex);
    else
        _fd = kept.Keep();
    return error;
}

int MutexFile::Map(int fd) {
    void* const memory =
        mmap(nullptr, sizeof(SharedMutex), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED)
        return errno;
    _mutex = static_cast<SharedMutex*>(memory);
    return 0;
}

bool MutexFile::Is(const struct stat& status) const {
    return status.st_dev == _device && status.st_ino == _inode;
}

bool MutexFile::HasItsName() const {
    struct stat status = {};
    return lstat(_path.data(), &status) == 0 && Is(status);
}

int MutexFile::Close(bool mayRemove) noexcept {
    const zynkplat::Uncancelled extent; // no exception passes here
    const int error = Error(munmap(_mutex, sizeof *_mutex));
    // Who turns into a daemon closes all descriptors, and then the number is another file's.
    struct stat status = {};
    if (fstat(_fd, &status) != 0 || !Is(status))
        return EBADF;
    if (mayRemove && flock(_fd, LOCK_EX | LOCK_NB) == 0) {
        // Only the file's owner may remove it. Then it stays for the next one.
        if (HasItsName())
            unlink(_path.data());
        // Not left to the closing: a process that is just being started may have the file open too.
        flock(_fd, LOCK_UN);
    }
    const int closeError = Error(close(_fd));
    return error != 0 ? error : closeError;
}

} // namespace zynksem
