// What the order and the answer have in common: the numbers of their parameters, and how a stream
// of them is read.
#pragma once

#include <functional>
#include <map>
#include <span>
#include <stdexcept>
#include <string>

#include <zynkern/zynkern.h>

/// The numbers are the contract between programs of different age: one that is taken never gets
/// another meaning, and what is new gets a new one.
enum ParmId : unsigned long {
    ProcessParm = 10,    ///< group
    ProcessNameParm,     ///< string
    InstanceNameParm,    ///< string
    ProcessHandleParm,   ///< string: handle of the process template
    InstanceHandleParm,  ///< string: handle of the process instance
    StarterParm = 20,    ///< string
    TermsParm = 30,      ///< group
    PriorityParm,        ///< long
    DueDateParm,         ///< string, may be null
    AmountParm,          ///< double
    FlagsParm = 40,      ///< their number, then as many strings
    AttachmentParm = 50, ///< may be null: file name and bytes

    AcceptedParm = 110,   ///< bool
    WorkItemParm = 120,   ///< long; 0 if the order was refused
    AnswerTextParm = 130, ///< string
    DigestParm = 140,     ///< MD5 of the attachment as it arrived, may be null
};

/// For people; "unknown" for a number that is not in the list.
const char* ParmName(unsigned long id);
/// Whether the parameter holds parameters and no values.
bool IsGroup(unsigned long id);

/// The bytes are a stream, but not the message that was expected.
class MessageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// @name Steps of the service
/// What a message says in its work information header of its place on the road.
/// @{
inline constexpr const char* RequestStep = "REQUEST";
inline constexpr const char* AnswerStep = "ANSWER";
/// @}

/// An empty message of the service that starts processes, with its work information header.
/// @param size     bytes expected
/// @param priority 0 to 9999
/// @param codePage of its texts; 0 stands for this program's own
ZynStream NewMessage(unsigned long size, const char* step, long priority, unsigned short codePage);

/// A stream over a copy of the bytes, at its first value. Throws ZynStream::Exception, and
/// MessageError if it has no work information header.
ZynStream DecodeMessage(std::span<const char> message);

/// The code page of its texts, as the message tells it; 0 if it has no header.
unsigned short CodePageOf(std::span<const char> message);

using ParmReaders = std::map<ParmId, std::function<void(ZynStream&)>>;

/// Walks the top-level parameters up to the end and reads each with its reader. Those without one
/// are skipped: they come from a newer program. Throws ZynStream::Exception, and MessageError if a
/// parameter with a reader is missing or comes twice.
void ReadParms(ZynStream& in, const ParmReaders& readers);

/// Reads a text that is kept in this program's code page. A character which that does not have is
/// replaced as the text is converted, and nobody is told; so this one makes sure that none was, by
/// converting the text back into the code page of the message. Throws MessageError.
void GetText(ZynStream& in, unsigned short codePage, ZynString& text);

/// @name Members that may be null
/// A stream has no null values: a word tells whether the value follows.
/// @{
template <class T>
void PutNullable(ZynStream& out, const T& value) {
    out << value.IsNull();
    if (!value.IsNull())
        out << value;
}

template <class T>
void GetNullable(ZynStream& in, T& value) {
    bool isNull = false;
    in >> isNull;
    if (isNull)
        value.SetNull();
    else
        in >> value;
}
/// @}
