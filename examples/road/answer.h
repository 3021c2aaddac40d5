// What the server makes of an order.
#pragma once

#include <iosfwd>

#include "message.h"

struct Answer {
    bool accepted = false;
    long workItem = 0; ///< number of the work item; 0 if the order was refused
    ZynString text;    ///< never null: what a user is told
    ZynBinary digest;  ///< MD5 of the attachment as it arrived; null if there is none
};

/// A closed stream, ready to be sent, with texts in the code page; 0 stands for this program's own.
/// Throws ZynException if they can't be converted to it.
ZynStream PackAnswer(const Answer& answer, unsigned short codePage);
/// Throws ZynStream::Exception for damaged bytes, MessageError for those that are no answer.
Answer UnpackAnswer(ZynStream& message);

/// One line for each member.
std::ostream& operator<<(std::ostream& os, const Answer& answer);
