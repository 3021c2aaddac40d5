// ZynStream: the self-describing binary data stream in which all messages and stored blobs travel.
//
// A stream is one run of bytes in a growable block: a header, then values in the manner of XDR
// (RFC 4506): big-endian, and padded to multiples of 4 bytes. Values are grouped into parameters,
// numbered frames that a reader asks for by number, looks at ahead or skips; they nest, and so do
// whole streams. docs/stream-format.md describes the bytes.
//
// Copies of a stream share its bytes, but each has its own position and its own open parameters: a
// copy is a second cursor. Nothing is locked: a stream, its copies and its substreams belong to one
// thread at a time.
//
//     ZynStream out(256, ZynStream::Plain);
//     out.StartParmEnc(5);
//     out << 7L << ZynString("seven");
//     out.EndParmEnc();
//     out.Close();                        // Length() bytes at PreWrite() go on their way
//
//     ZynStream in(length, ZynStream::Unknown);
//     std::memcpy(in.PreRead(length), bytes, length);
//     in.PostRead(length);
//     long number;
//     ZynString text;
//     in.StartParmDec(5);
//     in >> number >> text;
//     in.EndParmDec();
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <set>

#include "zynkbin.h"
#include "zynkdynp.h"
#include "zynksdds_parm.h"
#include "zynkstr.h"
#include "zynktrc.h"
#include "zynkxcp.h"
#include "zynkxdr.h"

class ZynConverter;

class ZYN_EXPORT ZynStream {
  public:
    enum Knd {
        Plain = 0,                  ///< magic "ZNID", a header of 20 bytes
        InternalRuntimeMessage = 1, ///< a work information header first, magic "ZNRM", 140 bytes
        Unknown = 2                 ///< not decoded yet, or a raw area
    };

    class StreamHeader;
    class Exception;
    class ExcTruncated;
    class ExcKindError;
    class ExcContentError;
    class ExcParmMismatch;

    /// @name Making a stream
    /// `ccsid` is the code page of the stream's strings; 0 stands for DefaultStreamCcsid(). Unless
    /// the kind is Unknown the header is written at once, so that the stream is ready for values.
    /// @{
    /// @param size bytes expected; the stream grows as needed
    explicit ZynStream(unsigned long size, Knd kind = Plain, unsigned short ccsid = 0);
    ZynStream(CreateEmptyTag, unsigned long size, Knd kind = Plain, unsigned short ccsid = 0);
    /// Writes into shared memory from `offset` on, which must not be behind its size.
    ZynStream(const ZynDynPointer& mem, unsigned long offset, Knd kind, unsigned short ccsid);
    /// Reads a finished stream in place.
    ZynStream(const ZynDynPointer& mem, unsigned long offset);
    /// A second cursor on the same bytes.
    ZynStream(const ZynStream& other);
    ZynStream& operator=(const ZynStream& other);
    virtual ~ZynStream();
    /// @}

    /// @name Inspection
    /// @{
    /// Whether there is no memory block.
    bool IsNull() const;
    Knd Kind() const;
    /// Bytes from the first of the header to the last written.
    unsigned long Length() const;
    /// Offset of this cursor in the memory block.
    unsigned long CurrentPosition() const { return _curPos; }
    bool Eof() const;
    /// Whether the stream is finished, with its length in the header.
    bool Closed() const;
    bool IsIndexed() const;
    /// @}

    /// @name Positioning
    /// Closes the parameters that are open for reading; one open for encoding is a contract
    /// failure.
    /// @{
    /// To the first byte behind the header.
    virtual void PositionToStart();
    void PositionToEnd();
    /// To an offset in the memory block, whatever it is. Not on an indexed stream.
    void PositionTo(unsigned long offset);
    /// @}

    /// @name Life of a stream
    /// @{
    /// Writes the length into the header and positions to the start. Closing twice is harmless;
    /// a parameter still being encoded is a contract failure.
    void Close();
    /// Drops all values. The stream is open again.
    void Clear();
    /// Drops the values from this position on. The stream is open again.
    void Truncate();
    /// The first of Length() bytes to send, valid until the next write. The stream must be closed.
    const char* PreWrite() const;
    /// Room for `n` bytes from this position on; PostRead then decodes what was received. Answers
    /// the start of the memory block, and so is meant for a stream that begins there.
    char* PreRead(unsigned long n);
    /// Decodes the `length` bytes that were received, from the header's position on. Throws
    /// ExcTruncated if they are fewer than a header or than the length it claims, ExcKindError if
    /// they have no magic. More bytes than the block holds are a contract failure.
    void PostRead(unsigned long length);
    /// @}

    /// @name Values
    /// A `Get` past the end of the stream or of the innermost open parameter throws
    /// ExcContentError and leaves the position as it was. Contract failures are a `Put` of a null
    /// value, or of a number that neither a signed nor an unsigned 32-bit word can hold; one that
    /// would leave a parameter opened for reading; one while a parameter is prefetched; and one to
    /// a stream of kind Unknown.
    /// @{
    void Put(long value);
    void Put(unsigned long value);
    void Put(int value);
    void Put(unsigned short value);
    void Put(bool value);
    void Put(float value);
    void Put(double value);
    void Put(const ZynBinary& value);
    /// Converted into the stream's code page if it is another one than the caller's; throws then
    /// what ZynConverter throws, and nothing is put. Three times its bytes are the most that it may
    /// take, also of an open parameter.
    void Put(const ZynString& value);
    /// Appends a closed stream with its header. A substream that was written in place moves
    /// nothing; erased frames of an indexed stream are left out.
    void Put(const ZynStream& s);
    template <class T>
    void Put(const T*) = delete; // would be taken for a bool

    void Get(long& value);
    void Get(unsigned long& value);
    void Get(int& value);
    /// The low 16 bits of the word.
    void Get(unsigned short& value);
    /// True for any word but 0.
    void Get(bool& value);
    void Get(float& value);
    void Get(double& value);
    /// Never null afterwards.
    void Get(ZynBinary& value);
    /// Converted from the stream's code page if it is another one than the caller's; throws then
    /// what ZynConverter throws. Never null afterwards; ends at a NUL among the bytes.
    void Get(ZynString& value);
    /// Reads a nested stream into bytes of its own. Throws what PostRead throws if it is damaged,
    /// and ExcTruncated too if it claims less than its header.
    void Get(ZynStream& s);

    /// `n` bytes and zero bytes up to a multiple of 4. Reader and writer agree on `n`. `data` must
    /// not lie in the stream's own block, which may move.
    void PutFixedOpaque(const char* data, unsigned long n);
    void GetFixedOpaque(char* buffer, unsigned long n);
    /// A length word, then as fixed opaque.
    void PutVarOpaque(const char* data, unsigned long n);
    /// Reads up to `max` bytes and answers the stored length. If this is above `max` the position
    /// stays, so that a larger buffer can be tried; with `max` 0 a reader asks for the length.
    unsigned long GetVarOpaque(char* buffer, unsigned long max);
    /// @}

    /// Declares the code page of the strings that this stream's users put and get; 0 stands for the
    /// process's, which is also what holds at first. ZynConverter::InvalidCodePage if there is no
    /// conversion between it and the stream's, and then nothing changes.
    void SetStringCcsid(unsigned short ccsid);

    /// @name Writing parameters
    /// @{
    /// Opens a frame. A `parmId` of 0, of more than 32 bits, or in use on the top level of an
    /// indexed stream is a contract failure.
    ZynStream& StartParmEnc(unsigned long parmId);
    /// Closes the innermost frame, also one that was opened for reading.
    ZynStream& EndParmEnc();
    /// @}

    /// @name Reading parameters
    /// @{
    /// Delivers the id of the next frame without opening it. Throws ExcContentError at the end of
    /// the stream or of the open frame, and for a frame shorter than its own head.
    ZynStream& PrefetchNextParm(unsigned long& parmId);
    /// Opens the next frame. Throws ExcParmMismatch if it has another id, and the frame stays the
    /// prefetched one; ExcContentError if it is longer than what encloses it, and then it is open.
    ZynStream& StartParmDec(unsigned long parmId);
    /// Closes the innermost frame and goes to its end, whatever of it was read. A frame that is
    /// being encoded has no end yet: it is given up, and the position goes to its first byte.
    ZynStream& EndParmDec();
    /// Drops the prefetched frame and goes behind it.
    ZynStream& SkipNextParm();
    /// Delivers the place of the next frame, for PrefetchParm at a later time, and goes behind it.
    ZynStream& GetParm(ZynStreamParmDescriptor& descr);
    /// Goes to a remembered frame of the top level and makes it the prefetched one.
    void PrefetchParm(const ZynStreamParmDescriptor& parmDescr);
    /// The same by id, in an indexed stream; false if there is none.
    bool PrefetchParm(unsigned long parmId);
    /// Whether an indexed stream has a parameter with `low` <= id <= `high`.
    bool IsAnyParmSetWithinSubrange(unsigned long low, unsigned long high) const;
    /// @}

    /// @name Index
    /// The top-level parameters by id, kept beside the bytes and shared by all copies.
    /// @{
    /// Builds the index from the bytes and positions to the end. Frames of id 0 are erased ones;
    /// two frames of the same other id are a contract failure.
    void CreateIndex();
    void DeleteIndex();
    /// Bytes of erased frames.
    unsigned long UnusedBytes() const;
    /// Erases a parameter, whose bytes stay in the stream as unused ones unless it is the last;
    /// false if there is none.
    bool EraseParm(unsigned long parmId);
    /// Gives the innermost open parameter another id, which must be free if it is one of an index.
    /// The stream need not be indexed.
    void ChangeParmId(unsigned long parmId);
    /// Puts the parameter `sourceParmId` of another indexed stream behind the last one, as `parmId`
    /// and in the place of a parameter that had this id. A text (`isString`) is converted from the
    /// source's code page into this stream's; else the bytes are taken over as they are. The source
    /// stays inside its parameter. If the source is damaged or can't be converted, nothing is put,
    /// and what had the id is erased all the same.
    void PutById(unsigned long parmId, unsigned long sourceParmId, ZynStream& sourceStream,
                 bool isString);
    /// Takes the bytes of erased frames out, if there are some: the parameters are copied in
    /// ascending order of their ids into memory that no other stream shares, and the stream is
    /// closed. The index goes unless it is to be kept.
    void Compact(bool keepIndex);
    /// Makes a parameter the prefetched one by a walk over the stream. False if there is none, and
    /// for an empty one at the end as well. Only for old callers; the trace says so.
    bool PositionToParm(unsigned long parmID);
    /// @}

    /// @name Substreams
    /// @{
    /// Makes `sub` a stream that writes into this stream's memory at its current position, with a
    /// header of its own. Until it is closed and handed to EndSubstream (or `Put`), this stream
    /// must not be written. A position behind the block is a contract failure.
    void StartSubstream(Knd kind, ZynStream& sub);
    /// Takes a closed substream that begins at the current position into this stream.
    void EndSubstream(const ZynStream& s);
    /// @}

    /// @name Work information header
    /// Only for kind InternalRuntimeMessage. The header's bytes are changed where they stand, also
    /// in a closed stream, which stays so, and no cursor moves.
    /// @{
    /// Writes the initial header.
    void InitHXWIH();
    /// Names the service that the message goes to, in at most 32 bytes; ZynGZT composes them.
    void SetHXWIHServiceName(const ZynString& serviceName);
    /// At most 8 bytes.
    void SetHXWIHServiceStep(const ZynString& serviceStep);
    /// Without the blanks at both ends. For test programs; the trace says so.
    ZynString GetHXWIHServiceName();
    ZynString GetHXWIHServiceStep();
    /// @}

    /// @name Printed forms
    /// @{
    /// The header and all bytes behind it, in lines indented by `indent`.
    virtual void StreamKeywordDelimited(std::ostream& os, int indent) const;
    /// The header and the top-level parameters.
    virtual void StreamKeywordDelimited2(std::ostream& os, int indent) const;
    /// @}

  protected:
    /// Decodes a copy of `length` bytes.
    ZynStream(const char* data, unsigned long length);

    /// Hooks of a derived class: called for a substream whose header has been written, and for a
    /// nested stream that has been read.
    virtual void EncodeSuper();
    virtual void DecodeSuper();

    virtual void StreamHeaderKeywordDelimited(std::ostream& os, int indent) const;

  private:
    struct DataRep;
    struct RawTag {};
    using Index = std::set<ZynStreamParmDescriptor>;

    static constexpr unsigned long WordSize = zynkxdr::WordSize;
    static constexpr unsigned long FrameHeadSize = 2 * WordSize;
    static constexpr unsigned long Unbounded = ZynStreamParmStack::Unbounded;

    /// A stream of kind Unknown that begins at `offset`.
    ZynStream(const ZynDynPointer& mem, unsigned long offset, RawTag);

    static DataRep* NewRep(const ZynDynPointer& mem, unsigned long offset);
    void Share(const ZynStream& other);
    void Release();
    void BeginHeader(Knd kind, unsigned short ccsid);
    void InternalPostRead(unsigned long end);
    void CleanupParms();
    void DropParms();
    void OpenParm(const ZynStreamParmDescriptor& parm);
    void CloseParm();
    void BoundParms();
    // The operations on parameters with all their tests and steps; in line stand short forms.
    ZynStream& StartParmEncChecked(unsigned long parmId);
    ZynStream& EndParmEncChecked();
    ZynStream& PrefetchNextParmChecked(unsigned long& parmId);
    ZynStream& StartParmDecChecked(unsigned long parmId);
    ZynStream& EndParmDecChecked();
    static bool IsFlowClosed();
    bool PeekFrame(ZynStreamParmDescriptor& frame) const;
    void RequireHeadInBlock(const ZynStreamParmDescriptor& parm) const;
    void SkipPayload(const ZynStreamParmDescriptor& parm);

    unsigned long ReadEnd() const;
    void EnableCorrectRead(unsigned long lng) const;
    [[noreturn]] void ThrowContentError() const;
    bool HasRoomFor(unsigned long lng, unsigned long bound) const;
    void EnableCorrectWrite(unsigned long lng);
    void EnableCorrectWriteChecked(unsigned long lng);
    void RequireRoomInParm(unsigned long lng);
    void AdvanceAfterWrite(unsigned long n);
    /// Room for `n` bytes at the position, which moves behind them.
    char* Claim(unsigned long n);

    char* At(unsigned long position) const;
    static unsigned long Padding(unsigned long n);
    void PutWord(std::uint32_t word);
    std::uint32_t GetWord();
    static void StoreOpaque(char* to, const char* data, unsigned long n);
    const char* PeekVarOpaque(unsigned long& length) const;
    void SkipVarOpaque(unsigned long length);
    void UseStreamCcsid(unsigned short ccsid);
    void PutOwnConverted(const ZynString& value);
    void PutString(const char* data, unsigned long length, unsigned short ccsid);
    void PutConverted(const char* data, unsigned long length, const ZynConverter& converter);
    ZynStream Compacted(Index* index = nullptr) const;
    void AbandonParm();
    void PutStringOf(ZynStream& source);
    void PutPayloadOf(const ZynStream& source);

    bool IndexFindEntry(ZynStreamParmDescriptor& d) const;
    bool IndexInsertEntry(const ZynStreamParmDescriptor& d);
    bool IndexReplaceEntry(const ZynStreamParmDescriptor& d);
    bool IndexEraseEntry(const ZynStreamParmDescriptor& d);

    DataRep* _pMem;
    unsigned long _curPos;
    // How far this cursor may read and write as far as its parameters and the kind are concerned,
    // which never becomes Unknown again; kept up to date by BoundParms, so that a value is tested
    // against one bound.
    unsigned long _readBound = Unbounded;
    unsigned long _writeBound = 0; ///< 0 while a parameter is prefetched
    std::optional<ZynStreamParmDescriptor> _pNextParm;
    ZynStreamParmStack _parmStack;
};

/// The header of a stream as a value.
class ZYN_EXPORT ZynStream::StreamHeader {
  public:
    StreamHeader(Knd kind, unsigned short streamCcsid);

    /// Bytes in front of the data: 140 for InternalRuntimeMessage, else 20.
    static unsigned long Size(Knd kind);

    /// Writes the header at the stream's position. A work information header is only skipped.
    void Encode(ZynStream& stream) const;
    /// Reads the header at the stream's position and moves behind it. Throws ExcTruncated,
    /// ExcKindError.
    void Decode(ZynStream& stream);
    /// The same from the first of `held` bytes.
    static StreamHeader Parse(const char* bytes, unsigned long held);

    Knd _kind;
    std::uint8_t _version = 3;
    std::uint8_t _release = 5;
    std::uint8_t _modLevel = 0;
    std::uint16_t _streamCcsid;
    unsigned long _streamLength = 0; ///< 0 until the stream is closed
};

/// What all copies of a stream share. Positions count from the start of the memory block.
struct ZynStream::DataRep {
    ~DataRep();

    StreamHeader _header;
    bool _closed = false;
    unsigned long _headerPos; ///< first byte of this stream's header
    unsigned long _startPos;  ///< first byte behind the header
    unsigned long _endPos;    ///< behind the last byte written
    ZynDynPointer _dynPtr;
    unsigned short _convCcsid = 0; ///< code page of the strings if they need conversion, else 0
    std::unique_ptr<ZynConverter> _writeConverter; ///< made for the first string, as is the next
    std::unique_ptr<ZynConverter> _readConverter;
    unsigned long _refCount = 1;
    std::unique_ptr<Index> _pParmIndex;
    unsigned long _unusedBytes = 0; ///< bytes of erased frames
};

/// Root of the stream's failures.
class ZYN_EXPORT ZynStream::Exception : public ZynIntException {
  public:
    explicit Exception(const ZynOrigin& origin);

  protected:
    void PrintOn(std::ostream& os) const override;
};

/// The header claims more bytes than are at hand.
class ZYN_EXPORT ZynStream::ExcTruncated : public ZynStream::Exception {
  public:
    explicit ExcTruncated(const ZynOrigin& origin);

  protected:
    void PrintOn(std::ostream& os) const override;
};

/// The bytes have no stream header.
class ZYN_EXPORT ZynStream::ExcKindError : public ZynStream::Exception {
  public:
    explicit ExcKindError(const ZynOrigin& origin);

  protected:
    void PrintOn(std::ostream& os) const override;
};

/// A value or frame goes beyond what encloses it.
class ZYN_EXPORT ZynStream::ExcContentError : public ZynStream::Exception {
  public:
    /// @param offset in the memory block
    ExcContentError(const ZynOrigin& origin, unsigned long offset);

    unsigned long Offset() const { return _offset; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    unsigned long _offset;
};

/// The next frame has another id than the one asked for.
class ZYN_EXPORT ZynStream::ExcParmMismatch : public ZynStream::Exception {
  public:
    /// @param offset of the frame from the first byte of the stream's header
    ExcParmMismatch(const ZynOrigin& origin, unsigned long offset);

    unsigned long Offset() const { return _offset; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    unsigned long _offset;
};

/// The code page for new streams: that of the environment variable ZYN_DEFAULT_STREAM_CCSID, else
/// the process's.
ZYN_EXPORT unsigned short DefaultStreamCcsid();

/// The stream as StreamKeywordDelimited prints it, within "ZynStream {" and " }".
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynStream& stream);

#include "zynksdds.inl"
