#include "contract/failing.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "zynkopt.h"

namespace {

using namespace std::string_literals;
using Words = std::vector<std::string>;

const std::string path = testing::TempDir() + "zynkopt_" + std::to_string(getpid());

/// The results up to the second -1 at the same place, each as "letter=value@index"; letters that
/// can't be printed and results that are none stand as numbers. "@{" and a text is a response file.
/// Without the places, up to the first -1.
std::string Parse(const std::string& spec, Words words, bool isIndexed = true) {
    words.insert(words.begin(), {spec, "program"});
    // Without a byte to spare, so that the sanitizers see every step too far.
    std::vector<std::vector<char>> texts;
    std::vector<char*> argv;
    for (std::string& word : words) {
        if (word.starts_with("@{")) {
            std::filesystem::remove(path); // a file that is cut is flushed to the disk
            std::ofstream(path, std::ios::binary) << word.substr(2);
            word = "@" + path;
        }
        argv.push_back(texts.emplace_back(word.c_str(), word.c_str() + word.size() + 1).data());
    }
    ZynOptions options(static_cast<int>(argv.size()) - 1, argv.data() + 1, argv[0]);
    std::string all;
    for (std::string last;;) {
        const int answer = options();
        const char* const value = options.OptArg();
        std::ostringstream result;
        result << (std::isgraph(answer) != 0 ? ""s + static_cast<char>(answer)
                                             : std::to_string(answer))
               << (value == nullptr ? "" : "="s + value)
               << (isIndexed ? "@" + std::to_string(options.Index()) : "");
        const bool isEnd = answer == -1 && (!isIndexed || result.str() == last);
        if (isEnd || all.size() > 10000000) // more than any row can give: it never ends
            return all;
        last = result.str();
        all += (all.empty() ? "" : " ") + last;
    }
}

std::string Replace(std::string text, char what, char by) {
    std::replace(text.begin(), text.end(), what, by);
    return text;
}

// Rows of the known letters, "ab:c*" if empty, and words behind it with "|" ahead of each, and the
// results; with "_" for a blank and ";" for a line feed.
void Check(const std::string& table) {
    for (const auto& [row, expected] : Rows<std::string, std::string>(table)) {
        std::istringstream text(Replace(Replace(row, '_', ' '), ';', '\n'));
        Words words;
        std::string spec;
        std::getline(text, spec, '|');
        for (std::string word; std::getline(text, word, '|');)
            words.push_back(word);
        EXPECT_EQ(Replace(Parse(spec.empty() ? "ab:c*" : spec, words), ' ', '_'), expected) << row;
    }
}

TEST(Options, AreTakenFromTheWords) {
    Check(
        "| -1@1  |/a a@2_-1@2  |-ab1|-a a@2_b=1@2_a@3_-1@3  |-b|1|-b:1 b=1@3_b=1@4_-1@4 "
        "|-b=1|-b:=1 b=1@2_b==1@3_-1@3  |-b:-a|-b/a b=-a@2_b=/a@3_-1@3  |-b:|1|-b| b=1@3_?@4_-1@4 "
        "|-b||-b|@no b=@3_b=@no@5_-1@5  |-b ?@2_-1@2  |-b|-a ?@3_a@3_-1@3  |-c c@2_-1@2 "
        "|-c|-a c@3_a@3_-1@3  |-c|/ab|1 c@3_a@3_b=1@4_-1@4  |-c|-|-a c@3_a@4_-1@4 "
        "|-c|-- c@3_?@3_-1@3  |-c|__5|-c__5_ c=5@3_c=5_@4_-1@4  |-c|__ c=@3_-1@3 "
        "|-xa|-a:|-: ?@2_a@3_?@3_?@4_-1@4  |-a-|-a* a@2_?@2_a@3_*@3_-1@3  |--|-a -1@2_a@3_-1@3 "
        "|--b|-a -1@2_a@3_-1@3  |-|-a -1@2_a@3_-1@3  |/|-a 0@2_a@3_-1@3  |//|/- ?@2_?@3_-1@3 "
        "|word|-a -1@1  |-a||-a a@2_-1@2  |@|@no ?@2_?@3_-1@3");
    Check("a|-a a@2_-1@2  aa:|-a1 a@2_?@2_-1@2  a:a|-a1 a=1@2_-1@2  :a*|-: ?@2_-1@2 "
          "\xE9|-\xE9 233@2_-1@2  \xFF*|-\xFF\xFF 255=\xFF@2_-1@2");
    EXPECT_EQ(Parse("", {"-a", "/"}), "?@2 0@3 -1@3");
    for (int c = 0; c < 256; ++c)
        EXPECT_EQ(isSwitchChar(static_cast<char>(c)), c == '-' || c == '/') << c;
}

TEST(ResponseFile, IsReadLineByLine) {
    Check("|@{-a;-b_1|-a a@2_b=1@2_a@3_-1@3  |@{;__-a__;_;-b;_1_2_;; a@2_b=1_2@2_-1@2 "
          "|@{|-a -1@2_a@3_-1@3  |@{;_;|-a -1@2_a@3_-1@3  |@{-ac;-b:-x a@2_c@2_b=-x@2_-1@2 "
          "|@{-b;|7 b=7@3_-1@3  |@{word;-a -1@2_a@2_-1@2  |@{--;-a -1@2_a@2_-1@2 "
          "|@{-b;@f b=@f@2_-1@2");
    const std::string nested = "@" + path + "\n";
    EXPECT_EQ(Parse("ab", {"@{" + nested + "-a\n" + nested + "-b"}), "-1@2 a@2 -1@2 b@2 -1@2");
    EXPECT_EQ(Parse("b:", {"@{-b1\0-b2\n-b3"s}), "b=1@2 -1@2");
    EXPECT_EQ(Parse("ab:", {"@{-a\r\n-b 1\r\n"}), "a@2 ?@2 b=1\r@2 -1@2");
}

TEST(ResponseFile, IsARegularFileOfSomeSize) {
    std::string many;
    for (int i = 0; i < 350000; ++i)
        many += "-a\n";
    EXPECT_EQ(Parse("a", {"@{" + many}).size(), 350000 * "a@2 "s.size() + "-1@2"s.size());
    EXPECT_EQ(Parse("a", {"@{" + std::string(3000000, '\n') + "-a"}), "a@2 -1@2");
    std::filesystem::resize_file(path, 64U << 20U);
    EXPECT_EQ(Parse("a", {"@" + path, "-a"}), "a@2 a@3 -1@3");
    std::filesystem::resize_file(path, (64U << 20U) + 1);
    const std::string fifo = path + "_fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& name : {path, fifo, "/"s, "/dev/null"s, "/dev/zero"s, "/dev/tty"s})
        EXPECT_EQ(Parse("a", {"@" + name, "-a"}), "?@2 a@3 -1@3") << name;
    std::filesystem::remove(fifo);
}

// The same as its lines as words, whatever it holds. One byte is no text in the locale of the test.
TEST(ResponseFile, IsTakenAsItsLinesWouldBe) {
    std::mt19937 random(20021);
    const std::string alphabet = "aabbbccc----/:=*x  \n\n\n\n\r\0\xFF"s;
    for (int round = 0; round < 5000 && !HasFailure(); ++round) {
        std::string content(random() % 40, '\n');
        for (char& c : content)
            c = alphabet[random() % (alphabet.size() - (random() % 16 == 0 ? 0 : 2))];
        std::istringstream text(content.c_str());
        Words lines;
        for (std::string line; std::getline(text, line);)
            if (line.erase(0, line.find_first_not_of(' ')); !line.empty())
                lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
        const bool isText = text.str().find('\xFF') == std::string::npos;
        for (const char* spec : {"ab:c*", "a*b:/c", "a:b*c"})
            EXPECT_EQ(Parse(spec, {"@{" + content}, false),
                      isText ? Parse(spec, lines, false) : "?")
                << testing::PrintToString(content);
    }
    std::filesystem::remove(path);
}

} // namespace
