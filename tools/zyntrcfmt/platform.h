// What the tool needs of the platform: files that are renamed while they are read.
#pragma once

#include <cstdint>
#include <span>
#include <string>

/// One input. Failures raise std::system_error with the name.
class InputFile {
  public:
    enum class Change { None, Truncated, Replaced };

    /// @param path "-" is standard input
    explicit InputFile(std::string path) : _path(std::move(path)) {}
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    const std::string& Name() const { return _path; }
    void Open();
    /// The number of bytes read; 0 at what is the end for now.
    std::size_t Read(std::span<char> room);
    /// Whether nothing arrives for a moment.
    bool IsIdle() const;

    /// What has become of the file since its end was reached. One that is not open is replaced by
    /// one that appears.
    Change Look();
    /// Goes on with the file that replaces this one, if it is still there: the next one that had
    /// the name. Whether some between them may have come and gone.
    bool OpenNext();

  private:
    /// What tells one file from another, and from itself before it was written to.
    struct Identity {
        std::uint64_t device = 0;
        std::uint64_t number = 0;
        std::int64_t changed = 0;
        bool operator==(const Identity&) const = default;
    };

    static Identity IdentityOf(const std::string& path);
    bool HasNewBackup() const;
    [[noreturn]] void Fail() const;
    void Use(int fd);

    std::string _path;
    int _fd = -1;
    std::int64_t _position = 0;
    Identity _backup; ///< the file that the last rotation left, when this one was opened
};
