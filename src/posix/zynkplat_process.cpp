// What a POSIX host tells about the running process, and its files as a whole.
#include <cxxabi.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <string_view>

#include "zynkplat.h"
#include "zynkplat_descriptor.h"
#include "zynkvoc.h"

namespace zynkplat {

namespace {

constexpr std::string_view DeletedMark = " (deleted)";
constexpr std::size_t LongestUserEntry = 1UL << 20U;
constexpr std::size_t BytesAtATime = 1UL << 14U;

// A word of memory that is 0 again in whatever way a child of this process came into being; null on
// a system that has none.
std::atomic<unsigned long>* MapWipedWord() {
    constexpr std::size_t Size = sizeof(std::atomic<unsigned long>);
    void* const page =
        mmap(nullptr, Size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return nullptr;
    if (madvise(page, Size, MADV_WIPEONFORK) != 0) {
        munmap(page, Size);
        return nullptr;
    }
    return new (page) std::atomic<unsigned long>(0);
}

struct KnownThread {
    unsigned long process; ///< whose thread it is
    unsigned long id;
};
[[gnu::tls_model("initial-exec")]] constinit thread_local KnownThread knownThread = {};

// The key whose destructor tells the end of a thread.
constinit pthread_key_t threadEnd = 0;
constinit std::atomic<bool> hasThreadEnd{false};
constinit std::atomic<bool> areThreadEndsForgotten{false};

bool CopyText(std::string_view text, char* buffer, unsigned long size) {
    if (text.size() >= size)
        return false;
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = '\0';
    return true;
}

} // namespace

int Platform() {
    return ZynPlatform::Linux;
}

// Both stand in every line of a trace, so they are asked of the system once in a process.
unsigned long CurrentProcessId() {
    static std::atomic<unsigned long>* const known = MapWipedWord();
    unsigned long id = known != nullptr ? known->load(std::memory_order_relaxed) : 0;
    if (id == 0) {
        id = static_cast<unsigned long>(getpid());
        if (known != nullptr)
            known->store(id, std::memory_order_relaxed);
    }
    return id;
}

unsigned long CurrentThreadId() {
    const unsigned long process = CurrentProcessId();
    if (knownThread.process != process)
        knownThread = {process, static_cast<unsigned long>(gettid())};
    return knownThread.id;
}

void PassThreadEnd() {
    try {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) { // NOLINT(bugprone-empty-catch): all others are the caller's
    }
}

bool AtThreadEnd(void (*end)()) {
    static const bool isMade = [] {
        const auto call = [](void* function) { reinterpret_cast<void (*)()>(function)(); };
        return hasThreadEnd = !areThreadEndsForgotten && pthread_key_create(&threadEnd, call) == 0;
    }();
    return isMade && hasThreadEnd &&
           pthread_setspecific(threadEnd, reinterpret_cast<void*>(end)) == 0;
}

void ForgetThreadEnds() {
    areThreadEndsForgotten = true;
    if (hasThreadEnd.exchange(false))
        pthread_key_delete(threadEnd);
}

Uncancelled::Uncancelled() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &_before);
}

Uncancelled::~Uncancelled() {
    pthread_setcancelstate(_before, nullptr);
}

// The system marks the name of a file that has been removed, as an update of a running program
// does. A name that really ends like this is one of a file that exists.
bool ExeFileName(char* buffer, unsigned long size) {
    char path[PATH_MAX + 1];
    const ssize_t length = readlink("/proc/thread-self/exe", path, PATH_MAX);
    if (length <= 0 || length == PATH_MAX)
        return false;
    path[length] = '\0';
    std::string_view name(path, static_cast<std::size_t>(length));
    if (name.ends_with(DeletedMark) && access(path, F_OK) != 0)
        name.remove_suffix(DeletedMark.size());
    return CopyText(name, buffer, size);
}

// The real user: the effective one of a set-user-id program is its file's owner.
bool LoginUserName(char* buffer, unsigned long size) {
    passwd entry = {};
    passwd* found = nullptr;
    std::string strings(BytesAtATime, '\0');
    int error = ERANGE;
    for (; error == ERANGE && strings.size() <= LongestUserEntry;
         strings.resize(strings.size() * 2)) {
        error = getpwuid_r(getuid(), &entry, strings.data(), strings.size(), &found);
        if (error == 0)
            return found != nullptr && CopyText(found->pw_name, buffer, size);
    }
    return false;
}

// The first look keeps it from opening what does something on being opened; the second one sees
// what has taken the file's place since. O_NONBLOCK is for that one, and for files of the system
// that wait for news.
bool ReadRegularFile(const char* name, unsigned long most, std::string& content) {
    struct stat status = {};
    if (stat(name, &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    const Descriptor file(open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    content.clear();
    char bytes[BytesAtATime];
    for (;;) {
        const ssize_t n = read(file.Get(), bytes, sizeof bytes);
        if (n == 0)
            return true;
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 || static_cast<unsigned long>(n) > most - content.size())
            return false;
        content.append(bytes, static_cast<std::size_t>(n));
    }
}

} // namespace zynkplat
