#include "zynktrcb.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <random>
#include <thread>

#include <unistd.h>

#include "contract/failing.h"
#include "zynktrcb_walk.h"
#include "zynkvoc.h"

namespace {

constexpr unsigned long Size = 1000;
/// Takes long to clear and to copy, so that others meet a switch in the middle.
constexpr unsigned long Large = 1UL << 22U;

/// What the receiver has got, and what it is to do with it.
std::vector<ZynBinary> kept;
std::function<int(ZynBinary&)> receive;
int switches = 0;

/// Two words of the wire at `at`.
std::string Words(const char* at, std::initializer_list<std::uint32_t> words) {
    std::string expected;
    for (const std::uint32_t word : words)
        for (int shift = 24; shift >= 0; shift -= 8)
            expected += static_cast<char>(word >> shift);
    return std::string(at, expected.size()) == expected ? "" : "differs";
}

class TraceBuffer : public testing::Test {
  protected:
    TraceBuffer() {
        kept.clear();
        switches = 0;
        receive = [](ZynBinary& area) {
            kept.emplace_back(area.Data(), area.Length());
            return 0;
        };
        ZynTrace::SetExternalization(true, [](ZynBinary& area) { return receive(area); });
    }
    ~TraceBuffer() override { ZynTrace::SetExternalization(false, nullptr); }

    static std::string Lines(const ZynBinary& area) {
        std::string lines;
        zynktrcb::AreaWalk walk(area.Data(), area.Length());
        while (const auto line = walk.Next())
            lines += *line;
        return lines;
    }
    std::string Dump() {
        ZynBinary oldest;
        ZynBinary middle;
        ZynBinary newest;
        buffer.DumpBuffers(oldest, middle, newest);
        return Bytes(oldest) + "|" + Bytes(middle) + "|" + Bytes(newest);
    }

    ZynTraceBuffer buffer{Size};
    const ZynTraceBufReg areas = buffer.Register();
};

TEST_F(TraceBuffer, HasTheBytesOfItsRecords) {
    const auto sequence = zynkxdr::LoadWord(areas.buffer0 + 8);
    EXPECT_EQ(Words(areas.buffer0, {28, 0xFFFFFFFF}), "");
    EXPECT_EQ(Words(areas.buffer0 + 12, {0x10000, ZynPlatform::Linux}), "");
    EXPECT_EQ(Words(areas.buffer0 + 24, {28, 0, 0}), "");
    EXPECT_EQ(Words(areas.buffer1, {0, 0}), "");
    EXPECT_EQ(Dump(), "||");
    buffer.Append(ZynString("0123456789"));
    EXPECT_EQ(Words(areas.buffer0 + 28, {22, 1}), "");
    EXPECT_EQ(std::string(areas.buffer0 + 36, 10), "0123456789");
    EXPECT_EQ(Words(areas.buffer0 + 46, {22, 0}), "");
    for (int i = 0; i < 3; ++i)
        buffer.Flush();
    EXPECT_EQ(Words(areas.buffer0 + 8, {sequence + 3, 0x10000}), "");
    ASSERT_EQ(kept.size(), 3U);
    EXPECT_EQ(kept[0].Length(), 50U);
    EXPECT_EQ(kept[1].Length(), 28U);
}

// Two bytes stay free at the end of an area.
TEST_F(TraceBuffer, SwitchesWhereALineDoesNotFit) {
    const std::string half(Size / 2 - 12, 'a');
    buffer.Append(half);
    const std::string exact(Size - 2 - 28 - Size / 2 - 12, 'b');
    buffer.Append(exact);
    EXPECT_TRUE(kept.empty());
    buffer.Append(std::string_view(""));
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(kept[0].Length(), Size - 2);
    EXPECT_EQ(Lines(kept[0]), half + exact);
    // One that fits into no area is dropped behind one switch.
    buffer.Append(std::string(Size, 'c'));
    EXPECT_EQ(kept.size(), 2U);
    buffer.Append(std::string(Size - 2 - 28 - 12, 'd'));
    EXPECT_EQ(kept.size(), 2U);
    buffer.Flush();
    EXPECT_EQ(Lines(kept[2]), std::string(Size - 2 - 28 - 12, 'd'));
}

TEST_F(TraceBuffer, IsDumpedFromOldToNew) {
    for (const char* const line : {"a\n", "b\n", "c\n", "d\n"}) {
        buffer.Append(ZynString(line));
        buffer.Append(ZynString(line));
        buffer.Flush();
    }
    EXPECT_EQ(Dump(), "c\nc\n|d\nd\n|");
    // What it has got since then stands within its older length.
    buffer.Append(ZynString("e\n"));
    buffer.Append(ZynString("f\n"));
    EXPECT_EQ(Dump(), "c\nc\n|d\nd\n|e\nf\n");
    buffer.Append(ZynString("gone\n"));
    EXPECT_EQ(Dump(), "c\nc\n|d\nd\n|e\nf\n");
}

// Whatever the receiver does with an area, the lines to come have one.
TEST_F(TraceBuffer, OutlivesItsReceiver) {
    std::vector<ZynBinary> shared;
    const std::vector<std::function<int(ZynBinary&)>> receivers = {[&](ZynBinary& area) {
                                                                       shared.push_back(area);
                                                                       return 0;
                                                                   },
                                                                   [](ZynBinary& area) {
                                                                       area.SetNull();
                                                                       return 0;
                                                                   },
                                                                   [](ZynBinary& area) {
                                                                       area = ZynBinary("x", 1);
                                                                       return 0;
                                                                   },
                                                                   [](ZynBinary& area) -> int {
                                                                       const ZynBinary copy = area;
                                                                       throw std::runtime_error(
                                                                           "a receiver's fault");
                                                                   }};
    int thrown = 0;
    const auto append = [&](char c) {
        try {
            buffer.Append(std::string(600, c));
        } catch (const std::runtime_error&) {
            ++thrown;
        }
    };
    for (int round = 0; round < 4; ++round)
        for (const auto& receiver : receivers) {
            receive = receiver;
            append('a');
            append('b');
        }
    for (const ZynBinary& area : shared)
        EXPECT_EQ(area.Length(), 28U + 612U);
    EXPECT_EQ(buffer.Register().buffer2, areas.buffer2);
    shared.clear();
    EXPECT_EQ(thrown, 8);
    append('d');
    EXPECT_THAT(Dump(), testing::EndsWith(std::string(600, 'd')));
}

// Others may fill the area that comes, as the receiver does here.
TEST_F(TraceBuffer, HasRoomForEachLineThatFits) {
    const auto line = [](char c) { return std::string(Size - 2 - 28 - 12, c); };
    receive = [&](ZynBinary& area) {
        kept.push_back(area);
        if (kept.size() == 1)
            buffer.Append(line('b'));
        return 0;
    };
    for (const char c : {'a', 'c'})
        buffer.Append(line(c));
    buffer.Flush();
    ASSERT_EQ(kept.size(), 3U);
    EXPECT_EQ(Lines(kept[0]) + Lines(kept[1]) + Lines(kept[2]), line('a') + line('b') + line('c'));
}

TEST_F(TraceBuffer, LosesItsReceiverAtAnyTime) {
    const std::jthread changing([](const std::stop_token& stop) {
        for (bool on = false; !stop.stop_requested(); on = !on)
            ZynTrace::SetExternalization(on, [](ZynBinary&) { return 0; });
    });
    ZynTraceBuffer large(Large);
    for (int i = 0; i < 100; ++i)
        EXPECT_NO_THROW(large.Append(std::string(Large - 2 - 28 - 12, 'x')));
}

TEST_F(TraceBuffer, DropsTheLineOfAHandlerThatHasNoTurn) {
    ZynTrace::SetExternalization(false, nullptr);
    static ZynTraceBuffer large(Large);
    static const std::string tooLong(Large, 'x');
    signal(SIGALRM, [](int) { large.Append(std::string_view(tooLong)); });
    for (int i = 0; i < 100; ++i) {
        ualarm(200, 0);
        large.Flush();
    }
    ualarm(0, 0);
}

// The receiver of another thread is awaited; it may flush and switch off, and is not cancelled.
TEST_F(TraceBuffer, IsSwitchedOffBehindItsReceivers) {
    std::atomic<int> calls{0};
    ZynTraceBufReg inside = areas;
    receive = [&](ZynBinary&) {
        if (calls++ != 0)
            return 0;
        pthread_cancel(pthread_self());
        usleep(50000);
        ZynTrace::Flush();
        ZynTrace::SetXt(false, nullptr, &inside);
        return switches = calls;
    };
    ZynTrace::SetXt(true, nullptr, nullptr);
    std::thread([] { ZynTrace::Flush(); }).detach();
    while (calls == 0)
        std::this_thread::yield();
    ZynTrace::SetXt(false, nullptr, nullptr);
    EXPECT_EQ(std::pair(switches, inside.size), std::pair(2, 0UL));
}

TEST(TraceArea, IsWalkedUpToItsDamage) {
    receive = [](ZynBinary& area) {
        kept.emplace_back(area.Data(), area.Length());
        return 0;
    };
    kept.clear();
    ZynTrace::SetExternalization(true, [](ZynBinary& area) { return receive(area); });
    {
        ZynTraceBuffer buffer(Size);
        for (const char* const line : {"one\n", "two\n", "three\n"})
            buffer.Append(ZynString(line));
    }
    ZynTrace::SetExternalization(false, nullptr);
    const std::string whole = Bytes(kept.at(0));
    const std::string all = "one\ntwo\nthree\n";
    const auto walked = [](const std::string& bytes) {
        std::string lines;
        zynktrcb::AreaWalk walk(bytes.data(), bytes.size());
        while (const auto line = walk.Next())
            lines += *line;
        return lines;
    };
    EXPECT_EQ(walked(whole), all);
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (const int mask : {1, 0x80, 0xFF}) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ mask);
            const std::string lines = walked(damaged);
            const bool isText =
                (at >= 36 && at < 40) || (at >= 52 && at < 56) || (at >= 68 && at < 74);
            EXPECT_TRUE(isText ? lines.size() == all.size() : all.starts_with(lines)) << at;
            EXPECT_EQ(walked(whole.substr(0, at)),
                      at == 44 ? "one\n" : all.substr(0, walked(whole.substr(0, at)).size()));
        }
    // Bytes of any kind.
    std::mt19937 random(3);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes = whole.substr(0, 28);
        for (std::size_t i = random() % 60; i > 0; --i)
            bytes += static_cast<char>(random() % 3 == 0 ? random() : random() % 32 == 0 ? 12 : 0);
        EXPECT_LE(walked(bytes).size(), bytes.size());
    }
}

} // namespace
