// Locks between processes, and what one finds when another has been killed.
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <thread>

#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "contract/failing.h"
#include "posix/process.h"
#include "zynksem.h"
#include "zynksemi_file.h"

namespace {

namespace fs = std::filesystem;

ZynString Name(const std::string& text) {
    return ("zynksemi " + std::to_string(getpid()) + text).c_str();
}

fs::path FileOf(const ZynString& name) {
    return zynksem::PathOfLock(name).data();
}

/// The call must fail with this service and error number.
void Fails(const std::string& service, int error, const std::function<void()>& call) {
    const std::string text = "ZynOSException, ServiceName=" + service +
                             ", ReturnCode=0, ReasonCode=" + std::to_string(error) + ", ";
    EXPECT_THAT(call, testing::Throws<ZynOSException>(
                          testing::ResultOf(Printed<ZynOSException>, testing::StartsWith(text))));
}

TEST(NamedLock, LosesNoTurnOf200Processes) {
    constexpr int Turns = 25;
    const ZynString name = Name("turns");
    auto* const counter = static_cast<volatile int*>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::vector<Process> processes;
    processes.reserve(200);
    for (int i = 0; i < 200; ++i)
        processes.emplace_back([&] {
            for (int turn = 0; turn < Turns; ++turn) {
                ZynMutexSemaphore lock(name);
                const ZynMutexSemaphoreAssumption held(lock);
                const int found = *counter;
                std::this_thread::yield();
                *counter = found + 1;
            }
        });
    for (const Process& process : processes)
        EXPECT_EQ(process.Wait(), 0);
    EXPECT_EQ(*counter, 200 * Turns);
    EXPECT_FALSE(fs::exists(FileOf(name)));
}

TEST(NamedLock, IsGrantedOnceWhenItsOwnerIsKilled) {
    const ZynString name = Name("killed");
    const Signal held;
    std::optional<ZynMutexSemaphore> left(name);
    std::thread([&] { left->Request(); }).join();
    const Process owner([&] {
        ZynMutexSemaphore lock(name);
        lock.Request();
        lock.Request();
        held.Say();
        pause();
    });
    held.Await();
    EXPECT_NO_THROW(left.reset());
    const Process waiter([&] {
        ZynMutexSemaphore lock(name);
        lock.Request();
        lock.Release();
        Fails("ReleaseMutex", EPERM, [&] { lock.Release(); });
    });
    usleep(50000);
    owner.Kill();
    EXPECT_EQ(waiter.Wait(), 0);
    ZynMutexSemaphore(name).Request(); // at the time of the waiter the owner was still ending
    EXPECT_FALSE(fs::exists(FileOf(name)));
}

// Here the file goes between its opening and the lock on it.
TEST(NamedLock, IsMadeAnewIfItsFileIsRemovedMeanwhile) {
    const ZynString name = Name("anew");
    {
        const ZynMutexSemaphore leaves(name);
        EXPECT_EQ(Process([] {}).Wait(), 0);
    }
    const int fd = open(FileOf(name).c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(flock(fd, LOCK_EX), 0);
    std::thread opener([&] {
        const ZynMutexSemaphore lock(name);
        EXPECT_TRUE(fs::exists(FileOf(name)));
    });
    usleep(50000);
    EXPECT_TRUE(fs::remove(FileOf(name)));
    close(fd);
    opener.join();
}

// These processes create and remove their lock most of the time.
TEST(NamedLock, IsWholeWheneverProcessesAreKilled) {
    const ZynString name = Name("storm");
    std::minstd_rand random(20041);
    for (int round = 0; round < 100; ++round) {
        const auto work = [&] {
            for (;;)
                ZynMutexSemaphore(name).Request();
        };
        const Process first(work);
        const Process second(work);
        usleep(static_cast<useconds_t>(random() % 4000));
        first.Kill();
        usleep(static_cast<useconds_t>(random() % 4000));
        second.Kill();
    }
    ZynMutexSemaphore(name).Request();
    EXPECT_FALSE(fs::exists(FileOf(name)));
}

// The system marks the mutex of neither owner as left.
TEST(NamedLock, IsGrantedIfTheSystemForgetsItsOwner) {
    const ZynString name = Name("forgotten");
    const Process other([&] {
        ZynMutexSemaphore lock(name);
        std::thread([&] {
            lock.Request();
            execl("/bin/true", "true", nullptr);
        }).join();
    });
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_TRUE(fs::exists(FileOf(name)));
    const Process next([&] {
        alarm(20);
        ZynMutexSemaphore lock(name);
        lock.Request();
    });
    EXPECT_EQ(next.Wait(), 0);
    EXPECT_FALSE(fs::exists(FileOf(name)));
}

TEST(NamedLock, IsHadByThreadsThatOutliveTheFirst) {
    const Process process([] {
        std::thread([] {
            while (fs::exists("/proc/self/exe")) // as long as there is the first one
                std::this_thread::yield();
            const ZynString name = Name("outlived");
            ZynMutexSemaphore lock(name);
            lock.Request();
            ZynMutexSemaphore(name).Request();
            lock.Release();
            _exit(testing::Test::HasFailure() ? 1 : 0);
        }).detach();
        syscall(SYS_exit, 0);
    });
    EXPECT_EQ(process.Wait(), 0);
}

TEST(NamedLock, DoesNotTouchWhatIsNotItsOwn) {
    const ZynString name = Name("foreign");
    const fs::path file = FileOf(name);
    const zynksem::SharedMutex::Head head;
    std::string whole(sizeof(zynksem::SharedMutex), '\0');
    std::memcpy(whole.data(), &head, sizeof head);
    const auto holds = [&](const std::string& bytes) { std::ofstream(file) << bytes; };
    const std::tuple<int, std::function<void()>> cases[] = {
        {EISDIR, [&] { fs::create_directory(file); }},
        {ELOOP, [&] { fs::create_symlink("/dev/null", file); }},
        {EINVAL, [&] { EXPECT_EQ(mkfifo(file.c_str(), 0666), 0); }},
        {EINVAL, [&] { holds(""); }},
        {EINVAL, [&] { holds(whole + "x"); }},
        {EINVAL, [&] { holds(whole.substr(1) + "x"); }},
        {EINVAL, [&] { holds(whole.substr(0, whole.size() - 1)); }},
    };
    for (const auto& [error, make] : cases) {
        make();
        Fails("OpenMutex", error, [&] { ZynMutexSemaphore{name}; });
        EXPECT_TRUE(fs::remove(file));
    }
    ZynMutexSemaphore(name).Request();
}

TEST(NamedLock, IsAFileForAllUsersAndLeavesOtherDescriptorsAlone) {
    EXPECT_EQ(FileOf("a"), "/dev/shm/zynkernn-mutex-0CC175B9C0F1B6A831C399E269772661");
    const ZynString name = Name("descriptors");
    const Process process([&] {
        umask(0777);
        close(STDIN_FILENO);
        std::optional<ZynMutexSemaphore> lock(name);
        struct stat file = {};
        EXPECT_EQ(stat(FileOf(name).c_str(), &file), 0);
        EXPECT_EQ(file.st_mode, S_IFREG | 0666U);
        EXPECT_EQ(flock(open(FileOf(name).c_str(), O_RDONLY), LOCK_EX | LOCK_NB), -1);
        int fd = STDERR_FILENO;
        for (struct stat open = {}; open.st_ino != file.st_ino;)
            fstat(++fd, &open);
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(dup2(STDERR_FILENO, fd), fd);
        lock.reset();
        EXPECT_NE(fcntl(fd, F_GETFD), -1);
        const rlimit none = {};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        Fails("CreateMutex", EMFILE, [&] { ZynMutexSemaphore{Name("more")}; });
    });
    EXPECT_EQ(process.Wait(), 0);
    ZynMutexSemaphore(name).Request();
    EXPECT_FALSE(fs::exists(FileOf(name)));
}

TEST(NamedLock, IsTheSameInTheChildOfAFork) {
    const ZynString name = Name("forked");
    const Signal gone;
    std::optional<ZynMutexSemaphore> lock(name);
    lock->Request();
    const Process child([&] {
        Fails("ReleaseMutex", EPERM, [&] { lock->Release(); });
        lock->Request();
        gone.Await();
        EXPECT_TRUE(fs::exists(FileOf(name)));
        ZynMutexSemaphore(name).Request();
    });
    const Process heir([&] { EXPECT_NO_THROW(lock.reset()); });
    EXPECT_EQ(heir.Wait(), 0);
    lock.reset();
    gone.Say();
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_TRUE(fs::exists(FileOf(name)));
    ZynMutexSemaphore(name).Request();
    EXPECT_FALSE(fs::exists(FileOf(name)));
}

// What a thread keeps for itself is destroyed in rounds.
TEST(UnnamedLock, IsHeldUntilTheVeryEndOfItsThread) {
    static ZynMutexSemaphore lock;
    pthread_key_t late = 0;
    pthread_key_create(&late, [](void*) { EXPECT_NO_THROW(lock.Release()); });
    std::thread([&] {
        lock.Request();
        lock.Request();
        pthread_setspecific(late, &lock);
    }).join();
    lock.Request();
    EXPECT_EQ(pthread_key_delete(late), 0);
}

TEST(UnnamedLock, IsACopyInTheChildOfAFork) {
    ZynMutexSemaphore own;
    ZynMutexSemaphore others;
    const Signal held;
    const Signal end;
    own.Request();
    own.Request();
    std::thread other([&] {
        others.Request();
        held.Say();
        end.Await();
    });
    held.Await();
    const Process child([&] {
        own.Release();
        own.Release();
        others.Request();
        others.Release();
        for (ZynMutexSemaphore* const lock : {&own, &others})
            Fails("ReleaseMutex", EPERM, [&] { lock->Release(); });
    });
    EXPECT_EQ(child.Wait(), 0);
    end.Say();
    other.join();
}

} // namespace
