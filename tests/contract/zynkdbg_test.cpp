#include "contract/failing.h"

namespace {

TEST(CheckRoutines, CutTheLineAndGiveTheirNames) {
    std::string names;
    for (const auto fail : {zynkRequire, zynkEnsure, zynkInvariant, zynkAssert})
        try {
            fail(std::string(3000, 'c').c_str(), "zynkstr.inl", 88);
        } catch (const ZynAssertionException& failure) {
            EXPECT_EQ(Bytes(failure.Condition()).size(), 511U);
            EXPECT_THAT(failure.Condition().C_str(), testing::HasSubstr(" in zynkstr.inl(88): cc"));
            names += Bytes(failure.Origin().Function() | " ");
        }
    EXPECT_EQ(names, "zynkRequire zynkEnsure zynkInvariant zynkAssert ");
}

TEST(CheckSites, PassWhileTheConditionHolds) {
    int evaluated = 0;
    ZYN_REQUIRE(++evaluated == 1);
    Fails("1 + 1 == 3", {[] { ZYN_ENSURE(1 + 1 == 3); }}, "Post-condition");
    Fails("as told", {[&] { ZYN_ASSERT_TEXT(evaluated != 1, "as told"); }}, "Assertion");
    ZynBinary::RepRef broken(ZynBinary::Rep::Allocate(1, 1));
    broken->_len = 2;
    Fails(invariant, {[&] { ZYN_INVARIANT(broken); }}, "Invariant");
}

} // namespace
