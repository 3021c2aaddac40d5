#include "platform.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace {

constexpr int Moment = 100; // milliseconds
constexpr const char* BackupSuffix = ".bak";

} // namespace

InputFile::~InputFile() {
    if (_fd > STDIN_FILENO)
        close(_fd);
}

void InputFile::Fail() const {
    throw std::system_error(errno, std::generic_category(), _path);
}

void InputFile::Open() {
    const int fd = _path == "-" ? STDIN_FILENO : open(_path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        Fail();
    Use(fd);
}

void InputFile::Use(int fd) {
    if (_fd > STDIN_FILENO)
        close(_fd);
    _fd = fd;
    _position = 0;
    _backup = IdentityOf(_path + BackupSuffix);
}

std::size_t InputFile::Read(std::span<char> room) {
    if (_fd < 0)
        return 0;
    ssize_t n = 0;
    do
        n = read(_fd, room.data(), room.size());
    while (n < 0 && errno == EINTR);
    if (n < 0)
        Fail();
    _position += n;
    return static_cast<std::size_t>(n);
}

bool InputFile::IsIdle() const {
    pollfd wait{.fd = _fd, .events = POLLIN, .revents = 0};
    return poll(&wait, 1, Moment) == 0;
}

InputFile::Identity InputFile::IdentityOf(const std::string& path) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0)
        return {};
    // A number is given to a new file once the old one is gone, so the time counts as well.
    constexpr std::int64_t Second = 1000000000;
    return {file.st_dev, file.st_ino, file.st_mtim.tv_sec * Second + file.st_mtim.tv_nsec};
}

// A file that has lost its name to a second rotation has its successor in the backup.
bool InputFile::HasNewBackup() const {
    struct stat own {};
    if (_fd < 0 || fstat(_fd, &own) != 0 || own.st_nlink > 0)
        return false;
    const Identity backup = IdentityOf(_path + BackupSuffix);
    return backup != Identity() && backup != _backup;
}

InputFile::Change InputFile::Look() {
    struct stat named {};
    const bool isThere = stat(_path.c_str(), &named) == 0;
    struct stat own {};
    if (_fd < 0 || fstat(_fd, &own) != 0)
        return isThere ? Change::Replaced : Change::None;
    if (own.st_size < _position && S_ISREG(own.st_mode)) {
        _position = lseek(_fd, 0, SEEK_SET);
        return Change::Truncated;
    }
    if (isThere && own.st_dev == named.st_dev && own.st_ino == named.st_ino)
        return Change::None;
    return isThere || HasNewBackup() ? Change::Replaced : Change::None;
}

bool InputFile::OpenNext() {
    const bool isBackup = HasNewBackup();
    const std::string path = isBackup ? _path + BackupSuffix : _path;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0)
        Use(fd);
    else if (errno != ENOENT)
        Fail();
    return isBackup;
}
