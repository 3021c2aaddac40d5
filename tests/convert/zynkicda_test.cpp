#include "zynkicda.h"

#include <atomic>
#include <thread>

#include "contract/failing.h"
#include "trace/lines.h"
#include "zynkconv.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Code pages that ICU knows.
constexpr unsigned short CodePages[] = {37,  273, 437,  500, 819, 850,
                                        852, 912, 1252, 943, 970, 1386};

// Stays for good, as the converters in it do.
ZynIconvDescriptorArray& NewArray() {
    static auto& arrays = *new std::vector<ZynIconvDescriptorArray*>;
    arrays.push_back(new ZynIconvDescriptorArray);
    return *arrays.back();
}

TEST(DescriptorArray, GivesEachPairASlotForGood) {
    TraceLines lines(1);
    ZynIconvDescriptorArray& array = NewArray();
    std::vector<UConverter*> sources;
    for (int pair = 0; pair < 12; ++pair) {
        const unsigned short ccsid = CodePages[pair];
        ASSERT_EQ(array.IconvDescriptorIndex(ccsid, 1208), pair);
        sources.push_back(array.GetDescriptorSrc(pair));
        array.FreeDescriptor(pair);
    }
    const std::vector<std::string> told = lines.Take();
    ASSERT_EQ(told.size(), 13U);
    EXPECT_EQ(told[0], "01,Gn,Kr ICU descriptor  from source code page KOR-037 to target code page "
                       "UTF-8 created");
    EXPECT_EQ(told[8], "01,Gn,Kr Iconv descriptor array enlarged. Max number of entries = 16");
    EXPECT_EQ(array.IconvDescriptorIndex(1208, 37), 12);
    for (int pair = 0; pair < 12; ++pair) {
        EXPECT_EQ(array.IconvDescriptorIndex(CodePages[pair], 1208), pair);
        EXPECT_EQ(array.GetDescriptorSrc(pair), sources[static_cast<std::size_t>(pair)]);
        EXPECT_NE(array.GetDescriptorTgt(pair), nullptr);
        array.FreeDescriptor(pair);
    }
    EXPECT_EQ(lines.Take().size(), 1U);
}

TEST(DescriptorArray, LeavesTheSlotOfAnUnknownPairFree) {
    TraceLines lines(1);
    ZynIconvDescriptorArray& array = NewArray();
    const struct {
        unsigned short source;
        unsigned short target;
        const char* names;
    } rows[] = {{9998, 850, "KOR-9998 to codepage KOR-850"},
                {850, 9998, "KOR-850 to codepage KOR-9998"},
                {9998, 9999, "KOR-9998 to codepage KOR-9999"}};
    for (const auto& row : rows) {
        EXPECT_THAT([&] { array.IconvDescriptorIndex(row.source, row.target); },
                    testing::Throws<ZynConverter::InvalidCodePage>(testing::ResultOf(
                        Printed<ZynConverter::InvalidCodePage>,
                        testing::StartsWith("InvalidCodePage: No conversion from codepage " +
                                            std::string(row.names) + " possible, Origin="))));
        EXPECT_THAT(lines.Take(),
                    ElementsAre("00,Er,Kr Source Codepage = KOR-" + std::to_string(row.source),
                                "00,Er,Kr Target Codepage = KOR-" + std::to_string(row.target),
                                HasSubstr("THROW_INT, InvalidCodePage: ")));
    }
    EXPECT_EQ(array.IconvDescriptorIndex(850, 1252), 0);
    EXPECT_EQ(array.IconvDescriptorIndex(1252, 850), 1);
    EXPECT_EQ(array.IconvDescriptorIndex(850, 437), 2); // no pair shares a converter
    EXPECT_NE(array.GetDescriptorSrc(0), array.GetDescriptorTgt(1));
    EXPECT_NE(array.GetDescriptorSrc(2), array.GetDescriptorTgt(1));
    EXPECT_NE(array.GetDescriptorSrc(2), array.GetDescriptorSrc(0));
    for (const int index : {0, 0, 2, 2})
        array.FreeDescriptor(index);
}

TEST(DescriptorArray, ChecksItsArguments) {
    ZynIconvDescriptorArray& array = NewArray();
    array.IconvDescriptorIndex(850, 1252);
    const auto calls = [&array](int index) {
        return std::vector<std::function<void()>>{
            [&array, index] { array.GetDescriptorSrc(index); },
            [&array, index] { array.GetDescriptorTgt(index); },
            [&array, index] { array.FreeDescriptor(index); }};
    };
    Fails("sourceCcsid != targetCcsid", {[&] { array.IconvDescriptorIndex(850, 850); }},
          "Assertion");
    Fails("index >= 0", calls(-1), "Assertion");
    Fails("index < _size", calls(8), "Assertion");
    Fails("ptr->_sourceCcsid != 0", calls(1), "Assertion");
}

TEST(DescriptorArray, LetsThreadsOfOnePairTakeTurns) {
    ZynIconvDescriptorArray& array = NewArray();
    const int pair = array.IconvDescriptorIndex(850, 1252);
    const int other = array.IconvDescriptorIndex(1252, 850);
    array.GetDescriptorSrc(pair);
    std::atomic<bool> hasOther = false;
    std::atomic<bool> isFree = false;
    std::thread thread([&] {
        array.GetDescriptorSrc(other);
        hasOther = true;
        array.FreeDescriptor(other);
        array.GetDescriptorSrc(pair);
        EXPECT_TRUE(isFree);
        array.FreeDescriptor(pair);
    });
    while (!hasOther)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    isFree = true;
    array.FreeDescriptor(pair);
    thread.join();
}

TEST(DescriptorArray, GrowsWhileOthersConvert) {
    ZynIconvDescriptorArray& array = NewArray();
    std::atomic<int> pairs = 1;
    array.IconvDescriptorIndex(CodePages[0], 1208);
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads)
        thread = std::thread([&] {
            for (int last = 0; last < 40; last = pairs - 1)
                for (int index = 0; index <= last; ++index) {
                    const ZynIconvDescriptorArray::Turn turn(array, index);
                    ++turn.SentinelSize(); // a plain number: only turns keep it whole
                }
        });
    constexpr unsigned short Targets[] = {1208, 1252, 850, 437};
    for (const unsigned short target : Targets)
        for (const unsigned short source : CodePages)
            if (source != target)
                pairs = 1 + array.IconvDescriptorIndex(source, target);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(pairs, 45);
}

TEST(DescriptorArray, OpensAPairOnceForAllThreads) {
    ZynIconvDescriptorArray& array = NewArray();
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads)
        thread = std::thread([&array] {
            for (const unsigned short ccsid : CodePages)
                EXPECT_LT(array.IconvDescriptorIndex(ccsid, 1208), 12);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(array.IconvDescriptorIndex(1208, 37), 12);
}

TEST(DescriptorArray, HasNoLocksInASingleThread) {
    TraceLines lines(1);
    ZynIconvDescriptorArray& array = NewArray();
    const int early = array.IconvDescriptorIndex(850, 1252);
    lines.Take();
    array.SetSingleThreaded();
    EXPECT_THAT(lines.Take(), ElementsAre("01,Gn,Kr Process is single-threaded."));
    const int late = array.IconvDescriptorIndex(1252, 850);
    for (const int index : {early, late}) {
        array.GetDescriptorSrc(index);
        std::thread([&] { EXPECT_NE(array.GetDescriptorSrc(index), nullptr); }).join();
        array.FreeDescriptor(index);
        array.FreeDescriptor(index);
    }
}

} // namespace
