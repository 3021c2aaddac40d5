// ZynGZT: the service name text of the work information header.
#pragma once

#include "zynkstr.h"

class ZYN_EXPORT ZynGZT {
  public:
    /// The 32 bytes that ZynStream::SetHXWIHServiceName takes: program execution server, "IMEY" or
    /// "IMEN" for the flag, priority in four digits, invocation type and service, the texts filled
    /// up with blanks.
    /// @param pesName        1 to 8 characters of one byte
    /// @param priority       0 to 9999
    /// @param invocationType 1 to 8 characters of one byte
    /// @param service        1 to 8 characters of one byte
    /// An argument that is none of these, null included, gives 32 blanks and a trace line that
    /// says why, never an exception.
    static ZynString BuildWIHServiceNameString(const ZynString& pesName, bool flag, long priority,
                                               const ZynString& invocationType,
                                               const ZynString& service);
};
