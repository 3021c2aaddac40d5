// Streams that nobody has thought of: made at random in two ways, or damaged.
#include <bit>
#include <random>

#include "stream/stream_script.h"

namespace {

std::string Real(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    return Word(bits >> 32U) + Word(bits);
}

using N = unsigned long;
struct Form {
    const char* word;
    std::string (*bytes)(N n);
} const Forms[] = {
    {"string", [](N n) { return Counted(Text(n)); }},
    {"binary", [](N n) { return Counted(Text(n)); }},
    {"fixed", [](N n) { return Padded(Text(n)); }},
    {"long", Word},
    {"int", Word},
    {"ulong", Word},
    {"short", [](N n) { return Word(n % 65536); }},
    {"bool", [](N n) { return Word(n != 0 ? 1 : 0); }},
    {"float", [](N n) { return Word(std::bit_cast<unsigned>(static_cast<float>(n) / -2)); }},
    {"double", [](N n) { return Real(static_cast<double>(n) / 2); }},
};

// Adds values to a script that writes them, and answers their bytes.
std::string Fill(std::mt19937& random, int depth, std::string& script) {
    std::string bytes;
    for (unsigned long count = random() % 7; count != 0; --count) {
        const unsigned long form = random() % (depth > 0 ? 16 : std::size(Forms));
        const unsigned long word = random();
        if (form < std::size(Forms)) {
            const unsigned long n = form > 2 ? word : word % 50 == 0 ? 3000 : word % 13;
            script.append(" ").append(Forms[form].word).append(std::to_string(n));
            bytes += Forms[form].bytes(n);
        } else if (form < 13) {
            script.append(" (").append(std::to_string(word | 1U));
            bytes += Frame(word | 1U, Fill(random, depth - 1, script));
            script += " )";
        } else {
            script.append(word % 4 < 2 ? " {" : " <").append(std::to_string(word % 2));
            bytes += Whole(Fill(random, depth - 1, script), ZynConverter::GetCurrentOSCodePage(),
                           ZynStream::Knd(word % 2));
            script += " }";
        }
    }
    return bytes;
}

TEST(ZynStreamRandom, IsWrittenAndReadAsAPlainEncoderDoes) {
    const unsigned short ccsid = ZynConverter::GetCurrentOSCodePage();
    for (unsigned int seed = 0; seed < 400 && !HasFailure(); ++seed) {
        std::mt19937 random(seed);
        const auto kind = ZynStream::Knd(seed % 2);
        const ZynStream stream(seed * 8UL, kind, ccsid);
        std::string script;
        const std::string bytes = Whole(Fill(random, 5, script), ccsid, kind);
        const std::string end = std::to_string(bytes.size()) + " eof";
        EXPECT_EQ(Play(stream, script), end + " open") << script;
        EXPECT_EQ(Sent(stream), bytes) << script;
        for (std::size_t at = 0; (at = script.find(' ', at)) != std::string::npos; ++at)
            script.replace(at, 1, " ="); // now it reads
        EXPECT_EQ(Play(bytes, script), end) << script;
    }
}

// Whether a reader who knows the values finds them. One who walks and looks at the damage must come
// to an end as well, and what is wrong with bytes is never told by a contract check.
bool Survives(const std::string& bytes) {
    const std::string walk = Failure([&] {
        ZynStream in = Received(bytes);
        std::ostringstream os;
        os << in;
        in.StreamKeywordDelimited2(os, 0);
        unsigned long id = 0;
        for (unsigned long left = bytes.size(); !in.Eof(); in.PrefetchNextParm(id).SkipNextParm())
            if (left-- == 0)
                throw std::string("a walk without end");
    });
    EXPECT_THAT(walk, testing::MatchesRegex("|(ContentError|Truncated|KindError).*"));
    const std::string read =
        Play(bytes, "[1 =long7 [2 =string4 =binary3 ] =bool1 ] [3 =double3 =string5 ] "
                    "[4 ={0 [5 =short65535 ] =} ] [6 ]");
    EXPECT_THAT(read, testing::MatchesRegex("[0-9].*|=.*|(ContentError|ParmM|Truncated|Kind).*"));
    return std::isdigit(read.front()) != 0;
}

// With its gates open every operation on a parameter goes its long way, with all tests and steps.
TEST(ZynStreamRandom, ShortWaysDoWhatTheLongOnesDo) {
    const std::string words[] = {
        "(1",     "(2",    "(3",     "(0",    ")",        ")",      "=(1",   "=(2",   "=(3",
        "=)",     "=)",    "=next1", "next2", "skip",     "get",    "jump",  "long7", "=long7",
        "string", "=long", "start",  "end",   "truncate", "clear",  "close", "index", "unindex",
        "find1",  "find2", "erase1", "to36",  "to99999",  "fixed16"};
    const unsigned long levels[] = {0, ZynTrace::FlowLevel};
    const unsigned long level = ZynTrace::Level();
    for (unsigned int seed = 0; seed < 3000 && !HasFailure(); ++seed) {
        std::string did[2];
        for (int way = 0; way < 2; ++way) {
            ZynTrace::SetFilter(levels[way], 0, 0);
            std::mt19937 random(seed);
            const ZynStream stream(seed % 3 == 0 ? 0 : 2000, ZynStream::Plain, 819);
            Play(stream, "(1 (2 long7 ) (1 (3 string3 ) (2 ) ) ) (2 (1 ) ) (3 long7 )");
            Player cursors[] = {Player(stream), Player(stream)};
            for (int step = 0; step < 60; ++step) {
                const std::string& word = words[random() % std::size(words)];
                const bool isOther = random() % 5 == 0;
                did[way] += word + ": " + cursors[isOther].Play(word) + " of " +
                            std::to_string(stream.Length()) + "\n";
            }
            if (!Failure([&] { did[way] += Sent(stream); }).empty())
                did[way] += "not sent";
        }
        EXPECT_EQ(did[0], did[1]) << seed;
    }
    ZynTrace::SetFilter(level, 0, 0);
}

TEST(ZynStreamRandom, DamageIsToldByTheStreamsExceptions) {
    const std::string good =
        Whole(Frame(1, Word(7) + Frame(2, Counted(Text(4)) + Counted(Text(3))) + Word(1)) +
                  Frame(3, Real(1.5) + Counted(Text(5))) + Frame(4, Whole(Frame(5, Word(65535)))) +
                  Frame(6, ""),
              ZynConverter::GetCurrentOSCodePage());
    EXPECT_TRUE(Survives(good));
    for (unsigned long length = 0; length < good.size(); ++length) {
        std::string cut = good.substr(0, length);
        EXPECT_FALSE(Survives(cut)) << length;
        EXPECT_FALSE(length >= 20 && Survives(cut.replace(12, 4, Word(length)))) << length;
    }
    for (unsigned long at = 0; at < good.size(); ++at)
        for (const int change : {1, 2, 4, 8, 16, 32, 64, 128, 0, 255}) {
            std::string bytes = good;
            bytes[at] = static_cast<char>(change % 255 == 0 ? change : good[at] ^ change);
            if (at / 4 != 4) // the code page: texts in another are a matter of conversion
                Survives(bytes);
        }
}

TEST(ZynStreamRandom, WalksOverGarbageEnd) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::string body(random() % 4, 'x');
        for (unsigned long n = random() % 30; n != 0; --n)
            body.insert(0, Word(random() % 4 == 0 ? random() : random() % 40));
        Survives(Whole(body));
    }
}

} // namespace
