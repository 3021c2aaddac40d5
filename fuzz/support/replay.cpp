// The main of a fuzz target that does not look for new inputs but runs those that are kept: all
// files of the folders and the files that are named.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "support/fuzz.h"

namespace {

// In memory without a byte to spare, so that the sanitizers see every step too far.
void Replay(const std::filesystem::path& path) {
    std::printf("%s\n", path.c_str()); // the last one told is the one that fails
    std::fflush(stdout);
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    FUZZ_CHECK(!file.bad());
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

} // namespace

int main(int argc, char* argv[]) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path = argv[i];
        if (std::filesystem::is_directory(path)) {
            for (const auto& entry : std::filesystem::directory_iterator(path)) {
                Replay(entry.path());
                ++count;
            }
        } else {
            Replay(path);
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count != 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
