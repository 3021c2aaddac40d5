// ZynConverter: texts from one code page into another. Code pages are named by their CCSID, an
// unsigned 16-bit number.
//
// Every conversion goes through UTF-16 code units: one ICU converter turns the bytes of the source
// into them, a second one turns them into the bytes of the target. Both stay open in a cache of the
// process (zynkicda.h), in which each pair of code pages has its own, so that a ZynConverter is a
// small value that is cheap to make and to copy.
//
// Any thread may convert: threads that convert between the same two code pages take turns, others
// go side by side.
//
// What a code page has no character for becomes its substitution character, and bytes that are no
// character in the source's become one as well; ICU reports neither. A NUL in the source ends the
// text, whose last byte then does not count, unless the code pages are equal.
//
//     ZynConverter converter(850, 1252);
//     ZynString text;
//     converter.Convert(bytes, length, text);
#pragma once

#include <atomic>

#include "zynkbin.h"
#include "zynkstr.h"
#include "zynkxcp.h"

class ZynIconvDescriptorArray;

class ZYN_EXPORT ZynConverter {
  public:
    class InsufficientBufferSize;
    class InvalidCodePage;
    class InvalidInputString;

    /// Copies, until Initialize is called.
    ZynConverter();
    /// As Initialize.
    ZynConverter(unsigned short source, unsigned short target);

    /// Converts from `source` to `target` from now on. 0 stands for the process's code page, and
    /// 932 for 942. Opens both code pages: InvalidCodePage if one is not known, ZynOSException
    /// "ucnv_openCCSID: sourceCcsid" or "ucnv_openCCSID: targetCcsid" with ICU's code for any other
    /// failure. To convert then, without another Initialize, is a contract failure.
    void Initialize(unsigned short source, unsigned short target);

    /// @name Conversion
    /// A `hidden` text reaches no line of the trace. A failure leaves the object usable:
    /// InsufficientBufferSize if there is no room, InvalidInputString if ICU refuses the source,
    /// ZynOSException "icu_src" or "icu_tgt" with ICU's code as the reason for anything else.
    /// @{
    /// Converts `srcLen` bytes into at most `tgtLen` bytes at `tgt`; the number of bytes there. A
    /// text of another code page needs room for the digit "1" behind it too, which is written there
    /// but does not count, unless the text with it takes 2 * srcLen + 4 bytes or more. After a
    /// failure the target holds what had been written.
    unsigned long Convert(const char* src, unsigned long srcLen, char* tgt, unsigned long tgtLen,
                          bool hidden = false) const;
    /// As the first, into a string that is never null afterwards. A text that grows to three times
    /// its bytes or more, in another code page, is InsufficientBufferSize. After a failure the
    /// target is as before.
    void Convert(const char* src, unsigned long srcLen, ZynString& tgt, bool hidden = false) const;
    /// As the first. A null source is a contract failure.
    unsigned long Convert(const ZynString& src, char* tgt, unsigned long tgtLen,
                          bool hidden = false) const;
    /// As the second. A null source is a contract failure.
    void Convert(const ZynString& src, ZynString& tgt, bool hidden = false) const;
    /// The same with a converter made for it.
    static void ConvertAndAssignToString(const ZynString& src, unsigned short sourceCcsid,
                                         ZynString& tgt, unsigned short targetCcsid,
                                         bool hidden = false);
    /// @}

    /// @name Unicode
    /// UTF-16, big-endian as code page 1200 is, from and to the process's code page. A null source
    /// is a contract failure. The trace shows the first two bytes of the result of ToUnicode also
    /// if the text is hidden.
    /// @{
    /// A byte order mark that the converted text begins with is taken away. Behind one in the
    /// opposite order of a little-endian number the bytes of all pairs are exchanged.
    static void ToUnicode(const ZynString& src, ZynBinary& tgt, bool hidden = false);
    /// The same. A result of an odd number of bytes is a contract failure.
    static void ToBigEndianUnicode(const ZynString& src, ZynBinary& tgt, bool hidden = false);
    static void FromUnicode(const ZynBinary& src, ZynString& tgt, bool hidden = false);
    /// @}

    /// @name Code page of the process
    /// @{
    /// As GetCurrentOSCodePage, but 0 as long as nobody has asked that.
    unsigned short GetCurrentCodePage() const;
    /// The code page of the process. The first call puts the process into the user's locale
    /// (`setlocale(LC_ALL, "")`) and takes the code page from it; it does not change after that.
    static unsigned short GetCurrentOSCodePage();
    /// The code page of the locale in force, asked of the platform anew.
    static unsigned short GetANSICodePage();
    /// The code page of the terminal's output, asked of the platform anew.
    static unsigned short GetOEMCodePage();
    /// @}

    /// Asks for a password: writes the prompt to the standard output and reads characters from the
    /// standard input up to a carriage return or line feed. A terminal shows a "*" for each; only
    /// the first 32 bytes count, and a backspace takes the last one back. The end of input ends the
    /// password too: what was typed so far is the answer, also of a terminal that hangs up while
    /// the host ignores SIGHUP. What a stream of the host's has read ahead is not seen. Converts
    /// from the code page of the terminal to that of the process, hidden from the trace.
    ///
    /// The terminal gets its settings back when the call ends in any way, when another thread calls
    /// `exit`, and before a signal from outside ends or stops the process, which it does as ever.
    /// It does not before SIGKILL and SIGSTOP, real-time signals, faults of the program itself
    /// (SIGSEGV, SIGABRT and the like), and another thread's `exec`, `_exit` or `quick_exit`. A
    /// handler of the host's finds the settings back for SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM,
    /// SIGTERM, SIGTSTP and SIGCONT, but not for other signals. The child of a fork has no part in
    /// the call.
    ///
    /// A null prompt is a contract failure. Throws what Initialize and Convert do, and
    /// ZynOSException if the terminal can't be read for want of files. One call at a time.
    static ZynString ReadPasswordFromConsole(const ZynString& prompt);

    /// @name Names
    /// @{
    /// A printable name: "UCS-2", "UTF-8", else "KOR-" or, from 10000 on, "KOR" and the number,
    /// one below 100 with one "0" ahead.
    static ZynString CodePageAsString(unsigned short ccsid);
    /// The same, with the number also for UTF-8.
    static ZynString CodePageAsAlternativeIconvString(unsigned short ccsid);
    /// @}

    /// Takes all locks of conversion away, for good. Only while no conversion runs, and in a
    /// process in which from now on no two threads convert at a time.
    static void SetSingleThreaded();

  private:
    struct Conversion;

    static constexpr unsigned short Ucs2 = 1200;
    static constexpr unsigned short Utf8 = 1208;

    /// The cache, which is never torn down.
    [[gnu::visibility("hidden")]] static ZynIconvDescriptorArray& _iconvDescriptors();
    [[gnu::visibility("hidden")]] unsigned long ConvertBetween(const char* src,
                                                               unsigned long srcLen, char* tgt,
                                                               unsigned long tgtLen,
                                                               bool hidden) const;
    void TraceStart(const char* src, unsigned long srcLen, bool hidden) const;
    void Dump(const Conversion& conversion, const char16_t* units, bool hidden) const;
    [[noreturn]] void Throw(const Conversion& conversion, int tgtError, bool hidden) const;

    /// 0 until the first question. Every thread would find the same number.
    static std::atomic<unsigned short> _ccsid;

    unsigned short _sourceCcsid = 0;
    unsigned short _targetCcsid = 0;
    int _descriptorIndex = -1; ///< slot of the cache
    bool _conversionNeeded = false;
};

/// The target has no room for the converted text.
class ZYN_EXPORT ZynConverter::InsufficientBufferSize : public ZynIntException {
  public:
    explicit InsufficientBufferSize(const ZynOrigin& origin);

  protected:
    void PrintOn(std::ostream& os) const override;
};

/// There is no conversion between two code pages.
class ZYN_EXPORT ZynConverter::InvalidCodePage : public ZynIntException {
  public:
    InvalidCodePage(const ZynOrigin& origin, unsigned short sourceCcsid,
                    unsigned short targetCcsid);

    unsigned short SourceCcsid() const { return _sourceCcsid; }
    unsigned short TargetCcsid() const { return _targetCcsid; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    unsigned short _sourceCcsid;
    unsigned short _targetCcsid;
};

/// A text has a byte sequence that is not valid in its code page.
class ZYN_EXPORT ZynConverter::InvalidInputString : public ZynIntException {
  public:
    /// @param text         the text, may be null
    /// @param bytePosition place of the sequence in it
    /// @param ccsid        its code page
    InvalidInputString(const ZynOrigin& origin, const ZynString& text, unsigned long bytePosition,
                       unsigned short ccsid);

    const ZynString& Text() const { return _text; }
    unsigned long BytePosition() const { return _bytePosition; }
    unsigned short Ccsid() const { return _ccsid; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    ZynString _text;
    unsigned long _bytePosition;
    unsigned short _ccsid;
};
