// ZynOpSys: what the process asks about itself.
//
// All of it may be called by any thread. The ids are the system's own numbers.
#pragma once

#include "zynkflat.h"
#include "zynkstr.h"
#include "zynkvoc.h"

class ZYN_EXPORT ZynOpSys {
  public:
    ZynOpSys() = delete;

    /// The process that loaded the library. It stays what it was in a forked child, so every
    /// reader asserts that it is the running process: read it through ProcessID.
    static unsigned long _pid;

    /// Id of the running process. A child that was forked behind the load of the library fails the
    /// assertion: what the library holds for its parent, it can't use.
    static unsigned long ProcessID();
    /// Id of the calling thread, never the null one. Unlike ProcessID also of use in a forked
    /// child.
    static unsigned long ThreadID();
    /// The id that no thread has.
    static unsigned long NullThreadID() { return 0; }
    static bool ThreadIDEqual(const unsigned long& lhs, const unsigned long& rhs) {
        return lhs == rhs;
    }
    /// The id as the key of a map.
    static unsigned long ThreadIDAsKey(unsigned long threadId) { return threadId; }

    /// The platform at run time.
    static ZynPlatform::Type Platform();
    /// Full path of the program file, at most 1023 bytes; one that is longer or can't be told is a
    /// contract failure. Asked of the system once: it stays when the file is moved or removed.
    static ZynString ExeFileNameAsString();
    /// Name of the user that started the process, in upper case; empty if the system knows none or
    /// one of more than 48 bytes.
    static ZynString AuthenticatedUserID();
};
