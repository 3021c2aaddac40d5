#include "zynkprfi_file.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zynkplat_descriptor.h"
#include "zynkprf_store.h"

namespace zynkprfi {

namespace fs = std::filesystem;
using zynkplat::Descriptor;
using zynkplat::FileIdentity;

namespace {

// An empty variable counts as none. A program that has more rights than who has started it doesn't
// let him choose the file.
std::string Variable(const char* name) {
    const char* const value = secure_getenv(name);
    return value != nullptr ? value : "";
}

std::string Home() {
    if (std::string home = Variable("HOME"); !home.empty())
        return home;
    passwd entry = {};
    passwd* found = nullptr;
    std::string strings(1UL << 16U, '\0');
    const int error = getpwuid_r(geteuid(), &entry, strings.data(), strings.size(), &found);
    if (found == nullptr)
        ThrowSystemFailure(error != 0 ? error : ENOENT);
    return entry.pw_dir;
}

std::string UsersData() {
    const std::string folder = Variable("XDG_DATA_HOME");
    return folder.starts_with('/') ? folder : Home() + "/.local/share";
}

struct Modes {
    mode_t folder;
    mode_t file;
};
// Everybody may read what holds for all of the machine.
constexpr Modes modes[] = {{0755, 0644}, {0700, 0600}};

void Sync(const fs::path& folder) {
    const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.Get() >= 0)
        fsync(opened.Get());
}

int Make(const fs::path& folder, mode_t mode) {
    return mkdir(folder.c_str(), mode) == 0 ? 0 : errno;
}

void MakeFolder(const fs::path& folder, mode_t mode) {
    int error = Make(folder, mode);
    if (error == ENOENT && folder.has_relative_path()) {
        MakeFolder(folder.parent_path(), mode);
        error = Make(folder, mode);
    }
    if (error == EEXIST)
        return;
    if (error != 0)
        ThrowSystemFailure(error);
    chmod(folder.c_str(), mode); // whatever the umask
    Sync(folder.parent_path());
}

} // namespace

void ThrowSystemFailure(int error) {
    const bool isDenied = error == EACCES || error == EPERM || error == EROFS;
    throw Failure{isDenied ? zynkreg::AccessDenied : zynkreg::SystemFailed + error};
}

std::string PathOf(Scope scope) {
    std::string path = Variable(scope == Machine ? "ZYN_STORE_MACHINE" : "ZYN_STORE_USER");
    if (path.empty())
        path =
            scope == Machine ? "/var/lib/zynkernn/machine.db" : UsersData() + "/zynkernn/user.db";
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    if (error)
        ThrowSystemFailure(error.value());
    return absolute;
}

FileIdentity IdentityOf(const std::string& path) {
    struct stat status = {};
    const int error = stat(path.c_str(), &status) == 0 ? 0 : errno;
    if (error == ENOENT || error == ENOTDIR)
        return {};
    if (error != 0)
        ThrowSystemFailure(error);
    if (!S_ISREG(status.st_mode))
        ThrowSystemFailure(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    return {status.st_dev, status.st_ino};
}

void MakeFile(const std::string& path, Scope scope) {
    const Modes& mode = modes[scope];
    MakeFolder(fs::path(path).parent_path(), mode.folder);
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY;
    const Descriptor file(open(path.c_str(), flags, mode.file));
    if (file.Get() >= 0)
        fchmod(file.Get(), mode.file);
    else if (errno != EEXIST)
        ThrowSystemFailure(errno);
}

// Not by the runtime's iterator, which ends the process where there is no memory.
std::optional<std::vector<int>> DescriptorsOf(const FileIdentity& identity) {
    // That of the process is empty once its first thread has ended.
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/thread-self/fd"), &closedir);
    if (folder == nullptr)
        return std::nullopt;
    std::vector<int> descriptors;
    while (const dirent* const entry = readdir(folder.get()))
        if (const int file = std::atoi(entry->d_name);
            entry->d_name[0] != '.' && zynkplat::IdentityOf(file) == identity)
            descriptors.push_back(file);
    return descriptors;
}

} // namespace zynkprfi
