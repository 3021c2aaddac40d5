// What the logic needs of the platform, declared once and implemented in each platform's folder.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zynkdbg.h"

namespace zynkplat {

/// What is known of an encoding ahead, so that a character does not have to be asked for.
struct DirectEncoding {
    /// By byte: the 16-bit unit of the character that it is by itself wherever one begins, whatever
    /// follows; 0 for every other byte.
    char16_t units[256];
    /// Whether the bytes of ASCII are all among them and stand for what they do there.
    bool isAscii;
    /// Whether that holds, and what is well-formed UTF-8 stands for what it does there.
    bool isUtf8;
};

/// The multi-byte functions of the runtime library under the process's current locale, one
/// character at a time. They stand behind this seam for two reasons: a wide character has the
/// platform's width only below it, and an encoding with shift states, of which most hosts have no
/// locale, can be put in its place.
///
/// The shift states are a thread's own.
class MultiByte {
  public:
    /// The most bytes of one character: `MB_CUR_MAX`.
    virtual unsigned long MaxBytes() const = 0;
    /// `mblen` of no text: puts all functions back to the initial shift state and answers whether
    /// the encoding has shift states, with the bytes 0x0E and 0x0F between them.
    virtual bool ResetShiftState() = 0;
    /// Puts all functions back to the initial shift state as well. What is known ahead of the
    /// encoding, until the locale changes; null if that is nothing, as for one with shift states.
    virtual const DirectEncoding* ResetToDirect() {
        ResetShiftState();
        return nullptr;
    }
    /// Whether the next ToWide begins with a character of its own, and not with what is left of the
    /// sequence before.
    virtual bool IsBetweenCharacters() const { return false; }
    /// `mblen`: bytes of the character at `s`, of which `n` bytes may be read; 0 for a NUL, -1 for
    /// a sequence that is invalid or not whole.
    virtual int Length(const char* s, unsigned long n) = 0;
    /// `mbtowc`: as Length, and the character. 0 with a character other than NUL is the second one
    /// of the sequence before.
    virtual int ToWide(char32_t& wide, const char* s, unsigned long n) = 0;
    /// `wctomb`: writes up to MaxBytes bytes of the character to `to`; their number, or -1. The
    /// NUL character first returns to the initial shift state, and its own byte counts.
    virtual int FromWide(char* to, char32_t wide) = 0;

    virtual char32_t ToLower(char32_t wide) const = 0;
    virtual char32_t ToUpper(char32_t wide) const = 0;

  protected:
    ~MultiByte() = default;
};

/// The multi-byte functions in use.
MultiByte& CurrentMultiByte();
/// Puts `substitute` in their place, for tests; null puts the runtime's own back.
void UseMultiByte(MultiByte* substitute);

/// @name Base64 (RFC 2045, section 6.8), where the processor does many groups in one step
/// What is left over, maybe all, is the caller's.
/// @{
/// Encodes whole groups of three of the `n` bytes; the number of bytes taken.
unsigned long EncodeBase64(char* to, const unsigned char* bytes, unsigned long n);
/// Decodes whole groups of four of the `n` characters, none behind one that is not in the alphabet;
/// the number of characters taken. `to` has room for all that `n` characters may give.
unsigned long DecodeBase64(char* to, const unsigned char* chars, unsigned long n);
/// @}

/// Separates the folders of a path.
extern const char DirectorySeparator;
/// Tells the platform in the banner of a trace.
extern const char* const TracePlatform;

/// @name Files of the trace
/// What else fails is not told.
/// @{
/// A descriptor of the file, which is created if it is missing; -1 if it can't be opened.
int OpenForAppending(const char* name);
/// Whether the descriptor may soon be another file's, as a host closes all that it finds and opens
/// its own. A file is opened with a higher one where the process may have that.
bool IsLowDescriptor(int file);
/// Whether the process may be ended for a write beyond a limit of file sizes.
bool HasFileSizeLimit();
/// In one write, which fails at a limit of file sizes if one is told of. What can't be written is
/// lost; false if that is all of it.
bool Append(int file, const char* bytes, unsigned long n, bool isLimited);
void Close(int file);
/// Which file a descriptor is of; 0 in both if it is of none.
struct FileIdentity {
    unsigned long device;
    unsigned long file;
    bool operator==(const FileIdentity&) const = default;
};
FileIdentity IdentityOf(int file);
void RemoveFile(const char* name);
void RenameFile(const char* from, const char* to);
/// @}

struct Moment {
    long long second; ///< of the epoch
    std::uint32_t nanosecond;
};
Moment Now();

struct CivilTime {
    unsigned long year;
    unsigned long month; ///< 1 to 12
    unsigned long day;
    unsigned long hour;
    unsigned long minute;
    unsigned long second;
};
/// A second of the epoch in the local time of its moment.
CivilTime LocalTime(long long second);

/// The code page number of the locale's character encoding; 819 if it has none that is known.
unsigned short GetACP();
/// The same for the terminal.
unsigned short GetConsoleOutputCP();
/// The code page number of an encoding by its name, as GetACP gives it.
unsigned short CodePageOfCodeset(const char* codeset);

/// Puts zeros in the place of what is secret, also if nothing reads them.
void Overwrite(void* bytes, unsigned long n);
/// Reads the standard input and writes to the standard output, a byte at a time and with nothing
/// kept back. What streams of the host have read ahead is not seen.
///
/// While it lives, a terminal does not echo and each of its bytes comes as it is, but for 127,
/// which is 8: both are backspace keys. The settings of the terminal are back when the object goes,
/// and before a signal from outside stops or ends the process; of the host's own handlers, those of
/// the signals that people and terminals send find them back. One object at a time has the
/// terminal; others wait. The child of a fork has none.
class Keyboard {
  public:
    static constexpr int End = -1;

    /// In the background, waits for the foreground. ZynOSException "pipe2" if there are too many
    /// open files; Read and Write may meet that too.
    Keyboard();
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;
    ~Keyboard();

    /// The next byte, or End if no more can be had.
    int Read();
    /// What can't be written is lost.
    void Write(std::string_view text);

  private:
    void Take();
    unsigned int GiveBack();
    void Await(int file, short events);

    bool _isTerminal;
    bool _isTaken = false;
};

/// The number of the platform in the vocabulary, a `ZynPlatform::Type`.
int Platform();
/// After a fork it is another one.
unsigned long CurrentProcessId();
/// The same; unique among the threads of the machine.
unsigned long CurrentThreadId();
/// In a handler of all exceptions: throws on the one by which a cancelled thread is ended, which
/// must not stop there.
void PassThreadEnd();
/// Calls `end` when the calling thread ends, behind the destructors of its own values. One function
/// a thread; false if there is no memory for that, or the ends are forgotten.
bool AtThreadEnd(void (*end)());
/// Calls nothing from now on: the code of `end` goes.
void ForgetThreadEnds();
/// Sets the process up for locks, ahead of its threads, its forks and what others have to do at
/// these. The first lock tells a failure.
void PrepareLocks();
/// While it lives, the calling thread is not cancelled: it is not to end in the middle of a line,
/// nor can it where no exception passes.
class Uncancelled {
  public:
    Uncancelled();
    Uncancelled(const Uncancelled&) = delete;
    Uncancelled& operator=(const Uncancelled&) = delete;
    ~Uncancelled();

  private:
    int _before = 0;
};
/// Full path of the program file, with its terminator in at most `size` bytes. False if it can't be
/// told or doesn't fit.
bool ExeFileName(char* buffer, unsigned long size);
/// Name of the user that the process was started by, with its terminator in at most `size` bytes.
/// False if it has none or it doesn't fit.
bool LoginUserName(char* buffer, unsigned long size);

/// Reads a whole file. False, with `content` of no use, if it can't be read, if it is no regular
/// file (a directory, a pipe, a device: nothing is waited for, and none is opened) or if it has
/// more than `most` bytes.
bool ReadRegularFile(const char* name, unsigned long most, std::string& content);

} // namespace zynkplat
