// ZynConverter: code pages, named by their CCSID, an unsigned 16-bit number.
#pragma once

#include "zynkstr.h"
#include "zynkxcp.h"

class ZYN_EXPORT ZynConverter {
  public:
    class InsufficientBufferSize;
    class InvalidCodePage;
    class InvalidInputString;

    /// The code page of the process. The first call puts the process into the user's locale
    /// (`setlocale(LC_ALL, "")`) and takes the code page from it; it does not change after that.
    static unsigned short GetCurrentOSCodePage();
    /// The code page of the locale in force, asked of the platform anew.
    static unsigned short GetANSICodePage();
    /// The code page of the terminal's output, asked of the platform anew.
    static unsigned short GetOEMCodePage();

    /// A printable name: "UCS-2", "UTF-8", else "KOR-" or, from 10000 on, "KOR" and the number,
    /// one below 100 with one "0" ahead.
    static ZynString CodePageAsString(unsigned short ccsid);
    /// The same, with the number also for UTF-8.
    static ZynString CodePageAsAlternativeIconvString(unsigned short ccsid);
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
