// What the server makes of an order.
#pragma once

#include <iosfwd>
#include <span>

#include "message.h"

struct Answer {
    bool accepted = false;
    long workItem = 0; ///< number of the work item; 0 if the order was refused
    ZynString text;    ///< never null: what a user is told
    ZynBinary digest;  ///< MD5 of the attachment as it arrived; null if there is none
};

/// A closed stream, ready to be sent.
ZynStream PackAnswer(const Answer& answer);
/// Throws ZynStream::Exception for damaged bytes, MessageError for those that are no answer.
Answer UnpackAnswer(std::span<const char> message);

/// One line for each member.
std::ostream& operator<<(std::ostream& os, const Answer& answer);
