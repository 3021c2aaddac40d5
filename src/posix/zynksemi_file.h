// The files in which processes share a mutex.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include <pthread.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "zynkstr.h"

namespace zynksem {

/// The name of a file, ended by NULs.
using Path = std::array<char, 64>;

/// The file of the lock with this name. The name is hashed, as it may be longer than a file's and
/// may hold any byte.
Path PathOfLock(const ZynString& name);
/// Whether there is anything of this name.
bool Exists(const Path& path);

/// What stands in a file.
struct SharedMutex {
    /// Tells a file of ours, made by a library that lays it out alike.
    struct Head {
        char magic[8] = {'Z', 'Y', 'N', 'M', 'T', 'X', '\0', '\1'};
        std::uint32_t size = sizeof(SharedMutex);
        std::uint32_t mutexSize = sizeof(pthread_mutex_t);
    } head;
    pthread_mutex_t mutex = {};            ///< robust; the recursion is each process's own
    std::atomic<std::uint64_t> grants = 0; ///< changed by who holds the mutex

    /// Takes the mutex. What a dead owner has left is taken as if it was free. 0 or the error
    /// number.
    int Lock() noexcept;
    /// Whether no thread holds it any more, nor has yet to be noticed to have ended with it.
    bool IsLeft() noexcept;
};

/// An open file with a mutex in it.
///
/// A file comes into being under its name as a whole, and whoever has it open holds a shared lock
/// on it. Who gets the exclusive one was the last and removes it. So a process may be killed at any
/// moment: its locks go with it, and a file that it leaves serves the next one.
class MutexFile {
  public:
    explicit MutexFile(const Path& path) : _path(path) {}

    /// Opens the file, which is created if it is missing. What stands there and is none of ours is
    /// EINVAL, or what the system says to it. 0 or the error number.
    int Open();
    /// Closes it, and removes it if nobody else has it open and `mayRemove`; 0 or the error number.
    int Close(bool mayRemove) noexcept;

    const Path& Name() const { return _path; }
    SharedMutex* operator->() const { return _mutex; }

  private:
    int OpenExisting();
    int Create();
    int Map(int fd);
    bool Is(const struct stat& status) const;
    bool HasItsName() const;

    const Path _path;
    int _fd = -1; ///< for reading only, so that nothing written to its number by mistake goes in
    dev_t _device = 0; ///< with the next, which file it is
    ino_t _inode = 0;
    SharedMutex* _mutex = nullptr;
};

} // namespace zynksem
