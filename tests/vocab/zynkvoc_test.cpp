// Every class of the vocabulary in both directions, by its table; and what the table can't tell.
#include <gmock/gmock.h>

#include <cstdlib>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "zynkvoc.h"

namespace {

unsigned long allocations = 0;

struct Member {
    std::string word;
    int number;
    bool isRead = true;
    bool isShown = true;
};

/// A class with its conversions over plain numbers.
struct Vocabulary {
    std::string name;
    int otherwise;
    const ZynString& (*show)(int);
    int (*read)(const ZynString&);
    std::vector<Member> members;
};

const std::vector<Vocabulary>& Vocabularies() {
    static const std::vector<Vocabulary> all = {
#define ZYN_VOCABULARY(Class, Enum, Default)                                                       \
    {#Class, Class::Default,                                                                       \
     [](int n) -> const ZynString& { return Class::ToString(static_cast<Class::Enum>(n)); },       \
     [](const ZynString& word) -> int { return Class::FromString(word); }, {
#define ZYN_MEMBER(Name, Number) {#Name, Number},
#define ZYN_MEMBER_READ(Name, Number) {#Name, Number, true, false},
#define ZYN_MEMBER_SHOWN(Name, Number) {#Name, Number, false, true},
#define ZYN_MEMBER_UPPERCASE(Name, Number, Word) {#Name, Number},
#define ZYN_END(Class, Enum)                                                                       \
    }                                                                                              \
    }                                                                                              \
    ,
#define ZYN_END_UPPERCASE(Class, Enum) ZYN_END(Class, Enum)
#include "zynkvoc.def"
    };
    return all;
}

TEST(Vocabulary, HoldsWhatItsTableTells) {
    const ZynString& illegal = ZynAS::ToString(static_cast<ZynAS::Type>(3));
    EXPECT_EQ(illegal, "<illegal>");
    unsigned long members = 0;
    for (const Vocabulary& v : Vocabularies()) {
        std::set<int> shown;
        for (const Member& m : v.members) {
            ++members;
            EXPECT_EQ(v.read(m.word.c_str()), m.isRead ? m.number : v.otherwise) << v.name;
            if (m.isShown) {
                EXPECT_EQ(v.show(m.number), m.word.c_str()) << v.name;
                EXPECT_TRUE(shown.insert(m.number).second) << v.name << ' ' << m.number;
            }
        }
        std::vector<int> others = {65536, 0x7FFFFFFF, -0x7FFFFFFF};
        for (int number = -300; number < 40000; ++number)
            others.push_back(number);
        for (const int number : others)
            if (!shown.contains(number) && &v.show(number) != &illegal)
                ADD_FAILURE() << v.name << ' ' << number;
        for (const ZynString& word :
             {ZynString(), ZynString(""), ZynString("notset"), ZynString("READY"),
              ZynString("<illegal>"), ZynString(v.members[0].word.c_str()) | " "})
            EXPECT_EQ(v.read(word), v.otherwise) << v.name << ' ' << word;
    }
    EXPECT_EQ(Vocabularies().size(), 92U);
    EXPECT_EQ(members, 479U);
}

TEST(Vocabulary, DirectionsDifferWhereTold) {
    EXPECT_EQ(ZynAS::ToString(ZynAS::Disabled), "Inactive");
    EXPECT_EQ(ZynAS::FromString("Disabled"), 32);
    ZynString cut("Disabled-");
    cut.PreRead()[8] = '\0';
    EXPECT_EQ(ZynAS::FromString(cut), 32); // a text ends at its first NUL
    EXPECT_EQ(ZynAuditDevice::ToString(ZynAuditDevice::NotSet), "<illegal>");
    EXPECT_EQ(ZynSvrRequest::ToString(ZynSvrRequest::ProcessHoldQueue), "ProcessHoldQueue");
    EXPECT_EQ(ZynSvrRequest::FromString("ProcessHoldQueue"), ZynSvrRequest::NotSet);
    EXPECT_EQ(ZynBool::FromString("true"), ZynBool::NotSet);
    EXPECT_EQ(ZynSeverity::FromString("Fatal"), ZynSeverity::Information);
    EXPECT_EQ(ZynListState::FromString(""), ZynListState::QueryRewriteNeeded);
    EXPECT_EQ(ZynProcTemplGDCState::FromString("NotSet"), ZynProcTemplGDCState::NotUsed);
}

TEST(Vocabulary, ReadsUpperCaseWords) {
    const std::pair<const char*, int> activity[] = {{"NOTSET", 0},
                                                    {"READY", 1},
                                                    {"FORCE_FINISHED", 1024},
                                                    {"DISABLED", 32},
                                                    {"INACTIVE", 32},
                                                    {"IN_ERROR", 128},
                                                    {"CHECKED_OUT", 64},
                                                    {"EXPIRED", 32768},
                                                    {"FORCEDFINISHED", 0},
                                                    {"Ready", 0},
                                                    {"", 0}};
    for (const auto& [word, number] : activity)
        EXPECT_EQ(ZynAS::FromUppercaseString(word), number) << word;
    EXPECT_EQ(ZynBS::FromUppercaseString("SUSPENDING"), 64);
    EXPECT_EQ(ZynBS::FromUppercaseString("CHECKED_OUT"), ZynBS::NotSet);
    EXPECT_EQ(ZynBS::FromUppercaseString(ZynString()), ZynBS::NotSet);
}

TEST(Vocabulary, SharesItsWordsAndAllocatesNothing) {
    const ZynString word("ActivityForceRestartedWorkitemForRequestorEnabled");
    const unsigned long before = allocations;
    const bool areOne = &ZynAS::ToString(ZynAS::NotSet) == &ZynWIKind::ToString(ZynWIKind::NotSet);
    const int number = ZynPendingChange::FromString(word);
    const unsigned long after = allocations;
    EXPECT_EQ(after, before);
    EXPECT_TRUE(areOne);
    EXPECT_EQ(number, 35);
}

} // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* const p = std::malloc(size); p != nullptr)
        return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t /*size*/) noexcept {
    std::free(p);
}
