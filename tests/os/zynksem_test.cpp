#include <cerrno>
#include <future>
#include <memory>
#include <random>
#include <thread>

#include "contract/failing.h"
#include "zynksem.h"

namespace {

using Semaphore = std::unique_ptr<ZynMutexSemaphore>;

const std::string process = std::to_string(std::random_device()());

ZynString Name(const std::string& text) {
    return (process + text).c_str();
}

/// One without a name and one with.
std::vector<Semaphore> Kinds() {
    std::vector<Semaphore> kinds(2);
    kinds[0] = std::make_unique<ZynMutexSemaphore>();
    kinds[1] = std::make_unique<ZynMutexSemaphore>(Name("kinds"));
    return kinds;
}

void InThread(const std::function<void()>& work) {
    std::thread(work).join();
}

/// A thread that takes the semaphore and gives it back.
class Other {
  public:
    explicit Other(ZynMutexSemaphore& semaphore)
        : _done(std::async(std::launch::async, [&] {
              semaphore.Request();
              semaphore.Release();
          })) {}
    bool Waits() const {
        return _done.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
    }
    void Ends() { _done.get(); }

  private:
    std::future<void> _done;
};

/// A thread that holds the semaphore twice until it ends.
class Holder {
  public:
    explicit Holder(ZynMutexSemaphore& semaphore)
        : _thread([&] {
              semaphore.Request();
              semaphore.Request();
              _held.set_value();
              _end.get_future().wait();
          }) {
        _held.get_future().wait();
    }
    void End() {
        _end.set_value();
        _thread.join();
    }

  private:
    std::promise<void> _held, _end;
    std::thread _thread;
};

/// The release must fail as one by a thread that does not hold the lock.
void IsNoOwner(const std::function<void()>& release) {
    const std::string text = "ZynOSException, ServiceName=ReleaseMutex, ReturnCode=0, ReasonCode=" +
                             std::to_string(EPERM) + ", Origin=File=zynksemi, Line=";
    const auto line = testing::AllOf(testing::StartsWith(text),
                                     testing::EndsWith("ZynMutexSemaphoreImpl::Release"));
    EXPECT_THAT(release,
                testing::Throws<ZynOSException>(testing::ResultOf(Printed<ZynOSException>, line)));
}

TEST(ZynMutexSemaphore, IsHeldUntilItIsReleasedAsOftenAsRequested) {
    for (const Semaphore& lock : Kinds()) {
        IsNoOwner([&] { lock->Release(); });
        lock->Request();
        lock->Request();
        lock->Release();
        const auto fail = [&] {
            const ZynMutexSemaphoreAssumption held(*lock);
            throw 1;
        };
        EXPECT_THROW(fail(), int);
        Other other(*lock);
        EXPECT_TRUE(other.Waits());
        InThread([&] { IsNoOwner([&] { lock->Release(); }); });
        EXPECT_TRUE(other.Waits());
        lock->Release();
        other.Ends();
        IsNoOwner([&] { lock->Release(); });
        Other(*lock).Ends();
    }
}

TEST(ZynMutexSemaphore, IsOneForAllObjectsWithItsNameEachOfWhichReleasesItsOwnHolds) {
    ZynMutexSemaphore first(Name("one"));
    auto second = std::make_unique<ZynMutexSemaphore>(Name("one"));
    auto third = std::make_unique<ZynMutexSemaphore>(Name("one"));
    Holder(*second).End();
    Holder(*third).End();
    first.Request();
    second->Request();
    second->Request();
    InThread([&] { IsNoOwner([&] { second->Release(); }); });
    Other other(first);
    second.reset();
    third.reset();
    EXPECT_TRUE(other.Waits());
    first.Release();
    other.Ends();
}

TEST(ZynMutexSemaphore, CanNotReleaseAnothersHoldWhenItGoes) {
    std::vector<Semaphore> kinds = Kinds();
    Holder unnamed(*kinds[0]);
    Holder named(*kinds[1]);
    for (Semaphore& lock : kinds)
        IsNoOwner([&] { delete lock.release(); });
    ZynMutexSemaphore again(Name("kinds"));
    Other other(again);
    EXPECT_TRUE(other.Waits());
    named.End();
    other.Ends();
    unnamed.End();
}

TEST(ZynMutexSemaphore, IsGrantedWhenItsOwnerHasEnded) {
    for (Semaphore& lock : Kinds()) {
        Holder owner(*lock);
        Other waiting(*lock);
        Other alsoWaiting(*lock);
        EXPECT_TRUE(waiting.Waits() && alsoWaiting.Waits());
        owner.End();
        waiting.Ends();
        alsoWaiting.Ends();
        Holder(*lock).End();
        lock->Request();
        lock->Release();
        IsNoOwner([&] { lock->Release(); });
        Holder(*lock).End();
        EXPECT_NO_THROW(lock.reset());
    }
}

TEST(ZynMutexSemaphore, LosesNoTurnOfManyThreads) {
    for (const Semaphore& lock : Kinds()) {
        int counter = 0;
        std::vector<std::future<void>> threads(8);
        for (auto& thread : threads)
            thread = std::async(std::launch::async, [&] {
                for (int turn = 0; turn < 5000; ++turn) {
                    const ZynMutexSemaphoreAssumption held(*lock);
                    const ZynMutexSemaphoreAssumption again(*lock);
                    ++counter;
                }
            });
        threads.clear();
        EXPECT_EQ(counter, 8 * 5000);
    }
}

TEST(ZynMutexSemaphore, TakesNamesOfAnyBytesUpTo259) {
    const std::string longest = Bytes(Name(std::string(259, '/'))).substr(0, 258);
    std::vector<Semaphore> locks;
    for (const char* end : {"a", "b", ""})
        locks.push_back(std::make_unique<ZynMutexSemaphore>((longest + end).c_str()));
    for (const char* text : {"/", "\\", "n", "N", "\xFF\x01%s", "..", " "})
        locks.push_back(std::make_unique<ZynMutexSemaphore>(Name(text)));
    for (const Semaphore& lock : locks) {
        const ZynMutexSemaphoreAssumption held(*lock);
        for (const Semaphore& other : locks)
            if (other != lock)
                Other(*other).Ends();
    }
    Fails("name.Length() > 0 && name.Length() < MAX_PATH",
          {[&] { ZynMutexSemaphore{(longest + "ab").c_str()}; }});
    Fails("!name.IsNull() && name.Length() > 0",
          {[] { ZynMutexSemaphore{ZynString()}; }, [] { ZynMutexSemaphore{""}; }});
}

} // namespace
