// Files, the local time and the constants of a POSIX host.
#include "zynkplat.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zynkplat {

const char DirectorySeparator = '/';
const char* const TracePlatform = "TVL_LINUX";

namespace {

// Descriptors from here on are not among the first that a host gets.
constexpr int HighDescriptor = 960; // below the 1024 of `select` and of the usual limit

// A write beyond the process's limit of file sizes fails, as on a full disk, instead of ending it.
ssize_t WriteWithinLimit(int file, const char* bytes, unsigned long n) {
    sigset_t limitSignal;
    sigset_t before;
    sigset_t pending;
    sigemptyset(&limitSignal);
    sigaddset(&limitSignal, SIGXFSZ);
    sigpending(&pending);
    pthread_sigmask(SIG_BLOCK, &limitSignal, &before);
    const ssize_t written = write(file, bytes, n);
    if (written < 0 && errno == EFBIG && sigismember(&pending, SIGXFSZ) == 0) {
        const timespec now = {};
        sigtimedwait(&limitSignal, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return written;
}

// A host that goes into the background closes all its descriptors and opens files of its own, which
// get the lowest numbers. A line must not come into them, so the file takes a high one. It keeps
// its own where the process may have few, and 0, which counts as none.
int Moved(int file) {
    const int moved = file > 0 ? fcntl(file, F_DUPFD_CLOEXEC, HighDescriptor) : -1;
    if (moved < 0)
        return file;
    close(file);
    return moved;
}

} // namespace

// What the name may lead to must not stop the process: nothing is waited for, and no terminal
// becomes its controlling one.
int OpenForAppending(const char* name) {
    constexpr int Flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    constexpr mode_t OwnerOnly = 0600;
    const Uncancelled extent;
    return Moved(open(name, Flags, OwnerOnly));
}

bool IsLowDescriptor(int file) {
    return file < HighDescriptor;
}

bool HasFileSizeLimit() {
    rlimit limit = {};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY;
}

bool Append(int file, const char* bytes, unsigned long n, bool isLimited) {
    const Uncancelled extent;
    return (isLimited ? WriteWithinLimit(file, bytes, n) : write(file, bytes, n)) >= 0;
}

void Close(int file) {
    const Uncancelled extent;
    close(file);
}

FileIdentity IdentityOf(int file) {
    struct stat status = {};
    if (fstat(file, &status) != 0)
        return {};
    return {status.st_dev, status.st_ino};
}

void RemoveFile(const char* name) {
    unlink(name);
}

void RenameFile(const char* from, const char* to) {
    std::rename(from, to); // NOLINT(bugprone-unused-return-value): the callers don't ask
}

Moment Now() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return {now.tv_sec, static_cast<std::uint32_t>(now.tv_nsec)};
}

CivilTime LocalTime(long long second) {
    const Uncancelled extent; // it may read a file
    const auto time = static_cast<std::time_t>(second);
    std::tm parts = {};
    if (localtime_r(&time, &parts) == nullptr)
        return {};
    const auto number = [](int part) { return static_cast<unsigned long>(part); };
    return {number(parts.tm_year) + 1900, number(parts.tm_mon) + 1, number(parts.tm_mday),
            number(parts.tm_hour),        number(parts.tm_min),     number(parts.tm_sec)};
}

} // namespace zynkplat
