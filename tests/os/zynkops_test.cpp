#include "contract/failing.h"

#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "zynkops.h"
#include "zynkplat.h"

namespace {

namespace fs = std::filesystem;

const std::string program = fs::read_symlink("/proc/self/exe");

TEST(ProcessFacts, Ids) {
    EXPECT_EQ(ZynOpSys::ProcessID(), static_cast<unsigned long>(getpid()));
    EXPECT_EQ(ZynOpSys::ThreadID(), ZynOpSys::ProcessID()); // as the first thread
    EXPECT_EQ(ZynOpSys::NullThreadID(), 0U);
    unsigned long other = 0;
    std::thread([&] { other = ZynOpSys::ThreadID(); }).join();
    EXPECT_NE(other, 0U);
    EXPECT_FALSE(ZynOpSys::ThreadIDEqual(other, ZynOpSys::ThreadID()));
    EXPECT_TRUE(ZynOpSys::ThreadIDEqual(ZynOpSys::ThreadID(), ZynOpSys::ThreadID()));
    EXPECT_EQ(ZynOpSys::ThreadIDAsKey(7), 7U);
    EXPECT_EQ(ZynOpSys::Platform(), ZynPlatform::Linux);
}

// Also of a child whose birth no handler of the runtime is told.
TEST(ProcessFacts, OfAChildWithoutHandlers) {
    ZynOpSys::ThreadID();
    const pid_t child = _Fork();
    if (child == 0)
        _exit(ZynOpSys::ThreadID() == static_cast<unsigned long>(getpid()) &&
                      zynkplat::CurrentProcessId() != ZynOpSys::_pid
                  ? 0
                  : 1);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// That the buffer's size counts the terminator, and the names themselves.
void CheckUser() {
    const passwd* const entry = getpwuid(getuid());
    const std::string name = entry == nullptr ? "" : entry->pw_name;
    char buffer[1000];
    EXPECT_EQ(zynkplat::LoginUserName(buffer, name.size() + 1), entry != nullptr);
    EXPECT_FALSE(zynkplat::LoginUserName(buffer, name.size()));
    EXPECT_EQ(Bytes(ZynOpSys::AuthenticatedUserID()),
              Bytes(ZynString(name.size() > 48 ? "" : name.c_str()).AsUpperCase()));
}

TEST(ProcessFacts, OfTheUserAndOfAForkedChild) {
    CheckUser();
    const auto child = [] {
        Fails("_pid == GetCurrentProcessId()", {ZynOpSys::ProcessID}, "Assertion");
        EXPECT_EQ(ZynOpSys::ThreadID(), static_cast<unsigned long>(getpid()));
        EXPECT_EQ(geteuid() == 0 ? setuid(54321) : 0, 0); // who has no name
        CheckUser();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

// Run by the test below, as a file that it removes.
TEST(ProcessFacts, DISABLED_OfThisProgramFile) {
    ASSERT_GT(fs::hard_link_count(program), 1U);
    fs::remove(program);
    if (program.size() < 1024)
        EXPECT_EQ(ZynOpSys::ExeFileNameAsString(), program.c_str());
    else
        Fails("rc != 0", {ZynOpSysExeFileNameAsString, ZynOpSys::ExeFileNameAsString},
              "Post-condition");
}

TEST(ProcessFacts, OfTheProgramFile) {
    EXPECT_EQ(ZynOpSysExeFileNameAsString(), program);
    const fs::path top = program + "_" + std::to_string(getpid());
    fs::path folder = top;
    while (folder.string().size() < 800)
        folder /= std::string(100, 'x');
    fs::create_directories(folder);
    for (const std::size_t size : {1023U, 1024U}) {
        const fs::path copy = folder / std::string(size - folder.string().size() - 1, 'y');
        fs::create_hard_link(program, copy);
        EXPECT_EXIT(execl(copy.c_str(), copy.c_str(), "--gtest_also_run_disabled_tests",
                          "--gtest_filter=*.DISABLED_OfThisProgramFile", nullptr),
                    testing::ExitedWithCode(0), "");
    }
    fs::remove_all(top);
}

} // namespace
