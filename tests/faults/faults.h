// What a process needs of the system and does not get, each in its turn.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <string>
#include <vector>

#include "contract/failing.h"

/// What fails: a call of the system with `error`, or, as ENOMEM, an allocation.
struct Fault {
    static constexpr int ShortWrite = -1; ///< a write of half of the bytes

    int error;
    bool andAllBehind = false; ///< all of them from the n-th one on
};

/// The n-th one of the calling thread from now on fails. So do those of the runtime, ICU and
/// SQLite, but for allocations where a sanitizer has them.
class Failing {
  public:
    Failing(const Fault& wanted, long n);
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;
    ~Failing();

    /// Ends it; whether one has failed.
    static bool Stop();
};

/// In any program: no memory.
inline const std::vector<Fault> noMemory = {{ENOMEM}, {ENOMEM, true}};

/// Does `act` to what `make` makes with each of the faults: where the first call fails, where the
/// second one does, and so on until it makes no more. It must end in either way: it is done, and
/// `show` tells of the subject what it does when nothing fails; or one of the `failures` is thrown,
/// the subject is as it was, and `act` can be done to it.
template <class Make, class Act, class Show>
void FailEach(const std::vector<Fault>& faults, const std::string& name, Make make, Act act,
              Show show, const testing::Matcher<const std::string&>& failures = "bad_alloc") {
    const std::string before = show(make());
    auto whole = make();
    act(whole);
    const std::string after = show(whole);
    const auto* const told = testing::UnitTest::GetInstance()->current_test_info()->result();
    const int toldBefore = told->total_part_count();
    for (const Fault& fault : faults)
        for (long n = 1, failed = 1; failed != 0 && told->total_part_count() == toldBefore; ++n) {
            SCOPED_TRACE(name + ", error " + std::to_string(fault.error) + " at " +
                         std::to_string(n) + (fault.andAllBehind ? "..." : ""));
            auto subject = make();
            std::string thrown;
            {
                const Failing failing(fault, n);
                try {
                    act(subject);
                    failed = Failing::Stop();
                } catch (const std::bad_alloc&) {
                    failed = Failing::Stop();
                    thrown = "bad_alloc";
                } catch (const ZynException& e) {
                    failed = Failing::Stop();
                    thrown = Printed(e);
                }
            }
            EXPECT_TRUE(failed != 0 || thrown.empty()) << thrown;
            EXPECT_EQ(show(subject), thrown.empty() ? after : before) << thrown;
            if (thrown.empty())
                continue;
            EXPECT_THAT(thrown, failures);
            act(subject);
            EXPECT_EQ(show(subject), after);
        }
}
