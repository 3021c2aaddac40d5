#include "input.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace {

constexpr std::size_t ReadSize = 1UL << 18U;

struct Closer {
    void operator()(std::FILE* file) const {
        if (file != stdin)
            std::fclose(file);
    }
};

} // namespace

std::string ReadInput(const std::string& path, std::size_t offset) {
    const std::unique_ptr<std::FILE, Closer> file(path == "-" ? stdin
                                                              : std::fopen(path.c_str(), "rb"));
    const auto fail = [&] { throw std::system_error(errno, std::generic_category(), path); };
    if (!file)
        fail();
    // What can't be positioned is read up to there.
    if (offset <= LONG_MAX && std::fseek(file.get(), static_cast<long>(offset), SEEK_CUR) == 0)
        offset = 0;

    std::string bytes;
    for (std::size_t size = 0;;) {
        bytes.resize(size + ReadSize);
        const std::size_t n = std::fread(bytes.data() + size, 1, ReadSize, file.get());
        if (std::ferror(file.get()) != 0)
            fail();
        size += n;
        const std::size_t skipped = std::min(offset, size);
        bytes.resize(size);
        bytes.erase(0, skipped);
        size -= skipped;
        offset -= skipped;
        if (size > MaxInput)
            throw std::runtime_error(path + ": is longer than " + std::to_string(MaxInput >> 20U) +
                                     " MiB, which is too much to hold");
        if (n < ReadSize)
            return bytes;
    }
}
