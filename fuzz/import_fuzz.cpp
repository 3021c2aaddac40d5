// The text form of the store: an import of what anybody has written is made whole or not at all,
// and an export tells again what was imported.
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

#include "commands.h"
#include "exchange.h"
#include "support/fuzz.h"

const char ToolName[] = "import_fuzz";

namespace {

namespace fs = std::filesystem;

// The stores of this process, in memory where there is a file system in it.
class Stores {
  public:
    static const Stores& Get() {
        static const Stores stores;
        return stores;
    }
    void Empty() const {
        for (const fs::directory_entry& entry : fs::directory_iterator(_folder))
            fs::remove_all(entry);
    }
    bool AreThere() const { return !fs::is_empty(_folder); }

  private:
    Stores() {
        constexpr const char* Memory = "/dev/shm";
        const fs::path in = fs::is_directory(Memory) ? Memory : fs::temp_directory_path();
        std::string made = in / "import_fuzz.XXXXXX";
        FUZZ_CHECK(mkdtemp(made.data()) != nullptr);
        _folder = made;
        setenv("ZYN_STORE_MACHINE", (_folder / "machine.db").c_str(), 1);
        setenv("ZYN_STORE_USER", (_folder / "user.db").c_str(), 1);
    }
    ~Stores() {
        std::error_code error;
        fs::remove_all(_folder, error);
    }

    fs::path _folder;
};

// What a call writes to a stream of the runtime, which the tools know no other way for.
std::string Written(std::FILE*& stream, const std::function<void()>& call) {
    char* bytes = nullptr;
    std::size_t size = 0;
    std::FILE* const own = std::exchange(stream, open_memstream(&bytes, &size));
    std::exception_ptr failure;
    try {
        call();
    } catch (...) {
        failure = std::current_exception();
    }
    std::fclose(std::exchange(stream, own));
    std::string written(bytes, size);
    std::free(bytes);
    if (failure)
        std::rethrow_exception(failure);
    return written;
}

// Whether it succeeds. What it tells of the faults in a text goes nowhere.
bool Succeeds(const std::function<void()>& call) {
    bool succeeds = false;
    Written(stderr, [&] { succeeds = !zynfuzz::EndsIn<std::runtime_error>(call); });
    return succeeds;
}

bool IsImported(const std::string& text) {
    static const int file = memfd_create("import", 0);
    FUZZ_CHECK(ftruncate(file, 0) == 0 &&
               pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
    Options options;
    options.words = {"/proc/self/fd/" + std::to_string(file)};
    return Succeeds([&] { ImportStore(options); });
}

std::string Exported(bool showsPasswords) {
    Options options;
    options.given = showsPasswords ? Option::ShowPasswords : 0;
    return Written(stdout, [&] { ExportStore(options); });
}

using Values = std::vector<std::pair<std::string, std::string>>;
using Content = std::map<std::string, Values>;

// By the headings of their sections, of which a key needs none that others are below.
std::optional<Content> Read(const std::string& text) {
    std::vector<Section> sections;
    if (!Succeeds([&] { sections = ReadSections("text", text); }))
        return std::nullopt;
    Content content;
    for (const Section& section : sections) {
        Values& values = content[HeadingOf(section.place)];
        for (const auto& [name, value] : section.values)
            values.emplace_back(name, std::to_string(value.type) + ' ' + value.bytes);
    }
    for (const Section& section : sections)
        for (Place above = section.place; !above.path.empty();) {
            above.path.pop_back();
            if (const auto found = content.find(HeadingOf(above));
                found != content.end() && found->second.empty())
                content.erase(found);
        }
    return content;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Stores::Get().Empty();
    const std::string text = zynfuzz::Input(data, size).Rest();
    const auto content = Read(text);
    FUZZ_CHECK(IsImported(text) == content.has_value());
    if (!content) {
        FUZZ_CHECK(!Stores::Get().AreThere());
        return 0;
    }
    const std::string exported = Exported(false);
    FUZZ_CHECK(Read(exported) == content);
    FUZZ_CHECK(Read(Exported(true)) == content);

    Stores::Get().Empty();
    FUZZ_CHECK(IsImported(exported));
    FUZZ_CHECK(Exported(false) == exported);
    return 0;
}
