// The flat functions as a program in C calls them. Its argument is the language that it must get,
// or "none"; zynkflat_test.sh makes the store and reads the trace.
#include <zynkern/zynkflat.h>

#include <limits.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

#define EXPECT(condition)                                                                          \
    ((condition) ? (void)0                                                                         \
                 : (void)(++failures, fprintf(stderr, "line %d: %s\n", __LINE__, #condition)))

// A call must write so many bytes, and leave the "#" behind them.
static void ExpectLanguage(long size, const char* written, size_t length, long answer) {
    char buffer[] = "########";
    char expected[] = "########";
    memcpy(expected, written, length);
    EXPECT(ZynPrfLanguage(buffer, size) == answer);
    EXPECT(memcmp(buffer, expected, sizeof buffer) == 0);
}

int main(int argc, char* argv[]) {
    const char* const program = ZynOpSysExeFileNameAsString();
    const char* const language = argc > 1 ? argv[1] : "";

    EXPECT(strstr(program, "zynkflat_test") != NULL);
    ZynDumpTraceBufs();
    EXPECT(ZynPrfCurrentConfig("NOSUCH") == -1);
    EXPECT(ZynPrfCurrentConfig(NULL) == -1);
    EXPECT(ZynPrfCurrentConfig("") == -1);
    EXPECT(ZynPrfCurrentConfig("flat") == 0);

    EXPECT(ZynPrfLanguage(NULL, 10) == 0);
    if (strcmp(language, "none") == 0) {
        ExpectLanguage(7, "", 0, 0);
    } else {
        ExpectLanguage(LONG_MAX, language, 4, 3);
        ExpectLanguage(3, language, 4, 3);
        ExpectLanguage(2, "en", 3, 3);
        ExpectLanguage(0, "", 1, 3);
        ExpectLanguage(-1, "", 1, 3);
        ExpectLanguage(LONG_MIN, "", 1, 3);
    }
    return failures != 0;
}
