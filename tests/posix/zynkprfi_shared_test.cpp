// A store that processes and threads share: how they wait, and what stays of it when they are
// killed.
#include <chrono>
#include <random>
#include <thread>

#include <fcntl.h>

#include "posix/process.h"
#include "posix/store_fixture.h"
#include "zynkprfi_file.h"

namespace {

TEST_F(StoreTest, IsSharedByThreadsAndForks) {
    const HKEY key = Create(LocalMachine, "k");
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 10; ++i) {
                const std::string name = std::to_string(thread) + " " + std::to_string(i);
                EXPECT_EQ(Set(key, name, name), Success);
                const Process child([&] {
                    EXPECT_EQ(Get(key, name), "1:" + name);
                    EXPECT_EQ(Set(key, name, "child"), Success);
                });
                EXPECT_EQ(child.Wait(), 0);
                EXPECT_EQ(Get(key, name), "1:child");
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(Names(key, &RegEnumValue).size(), 40U);
    // The forking thread's own reading begins anew on both sides; its change is the parent's.
    const Reading extent(key);
    EXPECT_EQ(Get(key, "0 0"), "1:child");
    const Process reader([&] { EXPECT_EQ(Set(key, "0 0", "x"), Success); });
    EXPECT_EQ(reader.Wait(), 0);
    EXPECT_EQ(Get(key, "0 0"), "1:x");
    Writing change(key);
    EXPECT_EQ(Set(key, "0 0", "y"), Success);
    const Process lost([&] {
        EXPECT_EQ(Get(key, "0 0"), "10021");
        EXPECT_EQ(change.Commit(), StoreFailed + SQLITE_MISUSE);
    });
    EXPECT_EQ(lost.Wait(), 0);
    EXPECT_EQ(change.Commit(), Success);
}

/// A number from the environment, to have more of something by hand.
int Count(const char* variable, int usual) {
    const char* const value = std::getenv(variable);
    return value != nullptr ? std::atoi(value) : usual;
}

// They also make the store at the same time.
TEST_F(StoreTest, LosesNoWriteOf16Processes) {
    const int writes = Count("ZYN_TEST_WRITES", 20);
    std::vector<Process> processes;
    processes.reserve(16);
    for (int process = 0; process < 16; ++process)
        processes.emplace_back([&] {
            alarm(0);
            const HKEY key = Create(Create(LocalMachine, "all"), "k");
            const std::string prefix = std::to_string(process) + " ";
            for (int i = 0; i < writes; ++i)
                EXPECT_EQ(Set(key, prefix + std::to_string(i), prefix), Success);
        });
    for (const Process& process : processes)
        EXPECT_EQ(process.Wait(), 0);
    EXPECT_EQ(Names(LocalMachine, &RegEnumKeyEx).size(), 1U);
    const auto names = Names(Opened(Opened(LocalMachine, "all"), "k"), &RegEnumValue);
    EXPECT_EQ(names.size(), 16U * static_cast<unsigned>(writes));
}

// The byte is what processes of all versions agree on.
TEST_F(StoreTest, WaitsForWhoeverIsAheadToBegin) {
    using std::chrono::milliseconds;
    const HKEY key = Create(LocalMachine, "k");
    const auto holdByte = [&](const Signal& held) {
        struct flock lock = {F_WRLCK, SEEK_SET, 0x4000'0200, 1, 0};
        EXPECT_EQ(fcntl(open(File().c_str(), O_RDWR), F_OFD_SETLK, &lock), 0);
        held.Say();
        pause();
    };
    const auto timeOfChange = [&] {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Set(key, "v", "x"), Success);
        return std::chrono::steady_clock::now() - start;
    };
    for (const bool isKilled : {true, false}) {
        const Signal held;
        const Process ahead([&] { holdByte(held); });
        held.Await();
        std::thread killer([&] {
            usleep(100000);
            if (isKilled)
                ahead.Kill();
        });
        EXPECT_GT(timeOfChange(), milliseconds(isKilled ? 90 : 1900));
        if (!isKilled) { // who seems to be stopped delays once
            EXPECT_LT(timeOfChange(), milliseconds(1900));
        }
        killer.join();
        if (!isKilled)
            ahead.Kill();
    }
}

// Its locks would outlive the parent.
TEST_F(StoreTest, IsNotHeldOpenByChildren) {
    const HKEY key = Create(LocalMachine, "k");
    const auto descriptors = [&] {
        return zynkprfi::DescriptorsOf(zynkprfi::IdentityOf(File())).value().size();
    };
    EXPECT_EQ(descriptors(), 1U);
    const Process child([&] {
        EXPECT_EQ(descriptors(), 0U);
        EXPECT_EQ(Set(key, "v", "x"), Success);
        EXPECT_EQ(descriptors(), 1U);
    });
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(Set(key, "v", "y"), Success);
}

TEST_F(StoreTest, HoldsWhatWasAnsweredWhenAWriterIsKilled) {
    std::minstd_rand random(4711);
    int answered = 0;
    for (int round = Count("ZYN_TEST_KILLS", 100); round > 0; --round) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const Process writer([&] {
            for (int number = answered;; ++number) {
                Writing change(LocalMachine);
                const HKEY key = Create(LocalMachine, std::to_string(number));
                Set(key, "v", std::string(random() % 20000, 'x'));
                Set(key, "last", std::to_string(number));
                if (change.Commit() != Success ||
                    write(ends[1], &number, sizeof number) != sizeof number)
                    return;
            }
        });
        close(ends[1]);
        int number = 0;
        const auto isTold = [&] { return read(ends[0], &number, sizeof number) > 0; };
        for (auto awaited = random() % 4; awaited > 0 && isTold(); --awaited)
            answered = number + 1;
        usleep(static_cast<useconds_t>(random() % 10000));
        writer.Kill();
        while (isTold())
            answered = number + 1;
        close(ends[0]);
        const Reading extent(LocalMachine);
        const auto keys = Names(LocalMachine, &RegEnumKeyEx);
        const bool hasOneMore = keys.size() == static_cast<unsigned>(answered) + 1;
        EXPECT_TRUE(hasOneMore || keys.size() == static_cast<unsigned>(answered));
        for (const std::string& key : keys)
            EXPECT_EQ(Get(Opened(LocalMachine, key), "last"), "1:" + key);
        if (!keys.empty()) {
            EXPECT_EQ(Sqlite("PRAGMA integrity_check"), "ok");
        }
        if (hasOneMore)
            ++answered;
    }
    EXPECT_GT(answered, 0);
}

} // namespace
