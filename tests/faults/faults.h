// Allocations that fail, each in its turn.
#pragma once

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "contract/failing.h"

/// The n-th allocation of the calling thread from now on fails; with `andAllBehind` those behind it
/// too. So do those of the runtime, ICU and SQLite, but where a sanitizer has their allocator.
class FailingAllocation {
  public:
    FailingAllocation(long n, bool andAllBehind);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    /// Ends it; whether one has failed.
    static bool Stop();
};

/// Does `act` to what `make` makes without its first allocation, without its second one, and so on
/// until it needs no more; then without all from the first one on, and so on. It must end in either
/// way: it is done, and `show` tells of the subject what it does when nothing fails; or one of the
/// `failures` is thrown, the subject is as it was, and `act` can be done to it.
template <class Make, class Act, class Show>
void FailEachAllocation(const std::string& name, Make make, Act act, Show show,
                        const testing::Matcher<const std::string&>& failures = "bad_alloc") {
    const std::string before = show(make());
    auto whole = make();
    act(whole);
    const std::string after = show(whole);
    const auto* const told = testing::UnitTest::GetInstance()->current_test_info()->result();
    const int toldBefore = told->total_part_count();
    for (const bool andAllBehind : {false, true})
        for (long n = 1, failed = 1; failed != 0 && told->total_part_count() == toldBefore; ++n) {
            SCOPED_TRACE(name + ", allocation " + std::to_string(n) + (andAllBehind ? "..." : ""));
            auto subject = make();
            std::string thrown;
            {
                const FailingAllocation failing(n, andAllBehind);
                try {
                    act(subject);
                    failed = FailingAllocation::Stop();
                } catch (const std::bad_alloc&) {
                    failed = FailingAllocation::Stop();
                    thrown = "bad_alloc";
                } catch (const ZynException& e) {
                    failed = FailingAllocation::Stop();
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
