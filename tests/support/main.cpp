// The test programs' main: as GoogleTest's own, but in the locale that the environment asks for.
#include <gmock/gmock.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>

int main(int argc, char* argv[]) {
    if (std::setlocale(LC_ALL, "") == nullptr) {
        const char* wanted = std::getenv("LC_ALL");
        std::fprintf(stderr, "The locale \"%s\" can't be had; start the tests with ctest.\n",
                     wanted != nullptr ? wanted : "");
        return EXIT_FAILURE;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
