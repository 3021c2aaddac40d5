// The test programs' main: as GoogleTest's own, but in the locale that the environment asks for,
// and never on the stores of the machine.
#include <gmock/gmock.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

fs::path OwnFolder() {
    return fs::temp_directory_path() / ("zynkern-tests-" + std::to_string(getpid()));
}

// A program that is started by hand begins again with stores of its own: the library has opened
// those of the machine ahead of this, if there are any.
void LeaveTheMachinesStores(char* argv[]) {
    if (std::getenv("ZYN_STORE_MACHINE") != nullptr && std::getenv("ZYN_STORE_USER") != nullptr)
        return;
    setenv("ZYN_STORE_MACHINE", (OwnFolder() / "machine" / "machine.db").c_str(), 1);
    setenv("ZYN_STORE_USER", (OwnFolder() / "user" / "user.db").c_str(), 1);
    execv("/proc/self/exe", argv);
    std::perror("The tests can't be started again");
    std::exit(EXIT_FAILURE);
}

} // namespace

int main(int argc, char* argv[]) {
    LeaveTheMachinesStores(argv);
    if (std::setlocale(LC_ALL, "") == nullptr) {
        const char* wanted = std::getenv("LC_ALL");
        std::fprintf(stderr, "The locale \"%s\" can't be had; start the tests with ctest.\n",
                     wanted != nullptr ? wanted : "");
        return EXIT_FAILURE;
    }
    testing::InitGoogleMock(&argc, argv);
    const int result = RUN_ALL_TESTS();
    fs::remove_all(OwnFolder());
    return result;
}
