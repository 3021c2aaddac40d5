// The order that a client sends to have a process started.
#pragma once

#include <iosfwd>
#include <vector>

#include "message.h"

struct WorkOrder {
    ZynString process;
    ZynString processHandle; ///< of the process template
    ZynString instance;
    ZynString instanceHandle; ///< of the process instance
    ZynString starter;
    long priority = 0; ///< 1 to 9
    ZynString dueDate; ///< YYYY-MM-DD; may be null
    double amount = 0; ///< finite
    std::vector<ZynString> flags;
    ZynString attachmentName; ///< null if there is no attachment
    ZynBinary attachment;     ///< null if there is none
};

/// @name What is asked of the values
/// Of those in an order file as well as of those in a message. They throw MessageError.
/// @{
void CheckPriority(long priority);
void CheckDueDate(const ZynString& date);
void CheckAmount(double amount);
void CheckFlagCount(unsigned long count);
/// @}

/// The instance that the handles of an order name. For the server, which alone knows what may be
/// named: throws ZynExtExcINVALID_OID for a handle that is damaged or of another type, MessageError
/// if the instance is none of the process.
ZynBIID InstanceOf(const WorkOrder& order);

/// A closed stream, ready to be sent, in the code page of this program.
ZynStream PackOrder(const WorkOrder& order);
/// Throws ZynStream::Exception for damaged bytes, MessageError for those that are no order.
/// @param codePage of the message's texts
WorkOrder UnpackOrder(ZynStream& message, unsigned short codePage);

/// One line for each member, with what a terminal could take for a command spelt out.
std::ostream& operator<<(std::ostream& os, const WorkOrder& order);
