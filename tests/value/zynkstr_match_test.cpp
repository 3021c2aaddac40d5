#include "contract/failing.h"

namespace {

// The match with a try at every place that may do, and every try a match of its own.
bool PlainMatch(const char* text, const char* pattern, char single, char multi) {
    for (; *pattern != '\0'; ++pattern, ++text) {
        if (*pattern == multi) {
            for (;; ++text) {
                if (PlainMatch(text, pattern + 1, single, multi))
                    return true;
                if (*text == '\0')
                    return false;
            }
        }
        if (*text == '\0' || (*pattern != single && *pattern != *text))
            return false;
    }
    return *text == '\0';
}

// All texts of up to `maxSize` characters.
std::vector<std::string> AllTexts(const std::string& alphabet, std::size_t maxSize) {
    std::vector<std::string> texts = {""};
    for (std::size_t i = 0; texts[i].size() < maxSize; ++i)
        for (const char c : alphabet)
            texts.push_back(texts[i] + c);
    return texts;
}

TEST(StringPattern, MatchesAsATryAtEveryPlace) {
    const std::vector<std::string> texts = AllTexts("ab*", 4);
    unsigned long matches = 0;
    for (const auto& [single, multi] : std::vector<std::pair<char, char>>{
             {'?', '*'}, {'*', '*'}, {'?', 'a'}, {'a', '*'}, {'\0', '*'}, {'?', '\0'}})
        for (const std::string& pattern : AllTexts("ab?*", 5))
            for (const std::string& text : texts) {
                const bool expected = PlainMatch(text.c_str(), pattern.c_str(), single, multi);
                matches += expected ? 1 : 0;
                ASSERT_EQ(ZynString(text.c_str()).MatchesPattern(pattern.c_str(), single, multi),
                          expected)
                    << text << ' ' << pattern << ' ' << single << multi;
            }
    EXPECT_GT(matches, 20000U);
}

TEST(StringPattern, OfManyWildcardsEnds) {
    std::string pattern;
    for (int i = 0; i < 40; ++i)
        pattern += "*a?";
    const ZynString text(std::string(10000, 'a').c_str());
    EXPECT_FALSE(text.MatchesPattern((pattern + "b").c_str(), '?', '*'));
    EXPECT_FALSE(text.MatchesPattern((pattern + "*b*").c_str(), '?', '*'));
    EXPECT_TRUE(text.MatchesPattern((pattern + "*").c_str(), '?', '*'));
}

TEST(StringPattern, NeedsTwoTexts) {
    const ZynString null;
    Fails("!IsNull() && !pattern.IsNull()",
          {[&] { null.MatchesPattern("a", '?', '*'); },
           [&] { ZynString("a").MatchesPattern(null, '?', '*'); }});
}

} // namespace
