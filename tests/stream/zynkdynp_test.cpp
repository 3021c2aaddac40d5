#include <climits>
#include <optional>

#include "stream/stream_script.h"

namespace {

TEST(ZynDynPointer, GrowsByDoublingAndKeepsWhatIsInFrontForAllHolders) {
    const unsigned long cases[][5] = {
        // wanted, size, kept, room behind it, size then
        {0, 1024, 1024, 0, 1024},     {1024, 1024, 1000, 24, 1024}, {1025, 2048, 2040, 9, 4096},
        {5000, 8192, 8192, 1, 16384}, {1, 1024, 9, 16376, 32768},
    };
    for (const auto& [wanted, size, kept, room, grown] : cases) {
        std::optional<ZynDynPointer> writer(ZynDynPointer(Text(wanted).data(), wanted));
        const ZynDynPointer copy(*writer);
        ZynDynPointer block(wanted);
        EXPECT_EQ(block.Size(), size);
        block = copy;
        EXPECT_EQ(std::string(block, wanted), Text(wanted));
        std::memset(block, 'y', size);
        writer->Ensure(kept, room);
        writer.reset();
        EXPECT_EQ(block.Size(), grown) << kept << '+' << room;
        EXPECT_EQ(static_cast<char*>(block), static_cast<char*>(copy));
        EXPECT_EQ(std::string(block, kept), std::string(kept, 'y'));
        std::memset(block, 'z', grown);
    }
}

TEST(ZynDynPointer, ImpossibleSizesAndPositionsAreContractFailures) {
    constexpr unsigned long Huge = 1UL << 62U;
    ZynDynPointer empty;
    ZynDynPointer block("kept", 5);
    EXPECT_TRUE(empty.Size() == 0 && static_cast<char*>(empty) == nullptr);
    EXPECT_EQ(Failure([&] { empty.Ensure(0, 1); }), "Pre-condition: _pMem->_ptr != 0");
    EXPECT_EQ(Failure([&] { block.Ensure(1025, 0); }),
              "Pre-condition: fromPosition <= _pMem->_size");
    EXPECT_EQ(Failure([&] { block.Ensure(1024, ULONG_MAX - 8); }), "Assertion: size != 0");
    EXPECT_EQ(Failure([&] { block.Ensure(4, Huge - 4); }), "Assertion: ptr != 0");
    EXPECT_EQ(Failure([] { ZynDynPointer{Huge}; }), "Assertion: _ptr != 0");
    EXPECT_THROW(ZynStream{ULONG_MAX}, ZynAssertionException);
    block = static_cast<const ZynDynPointer&>(block);
    EXPECT_STREQ(block, "kept");
}

} // namespace
