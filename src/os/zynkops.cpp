#include "zynkops.h"

#include "zynkplat.h"

namespace {

// Both with the terminator.
constexpr unsigned long ExeFileNameSize = 1024;
constexpr unsigned long UserNameSize = 49;

// Its constructor doesn't report: a report may itself ask for the program file.
struct ExeFile {
    ExeFile() : isKnown(zynkplat::ExeFileName(name, sizeof name)) {}

    char name[ExeFileNameSize];
    bool isKnown;
};

} // namespace

// Constant, so that it is not set back behind the load of the library.
constinit unsigned long ZynOpSys::_pid = 0;

unsigned long ZynOpSys::ProcessID() {
    ZYN_ASSERT_TEXT(_pid == zynkplat::CurrentProcessId(), "_pid == GetCurrentProcessId()");
    return _pid;
}

unsigned long ZynOpSys::ThreadID() {
    return zynkplat::CurrentThreadId();
}

ZynPlatform::Type ZynOpSys::Platform() {
    return static_cast<ZynPlatform::Type>(zynkplat::Platform());
}

ZynString ZynOpSys::ExeFileNameAsString() {
    return {ZynOpSysExeFileNameAsString()};
}

ZynString ZynOpSys::AuthenticatedUserID() {
    char name[UserNameSize];
    if (!zynkplat::LoginUserName(name, sizeof name))
        return {""};
    return ZynString(name).ToUpperCase();
}

const char* ZynOpSysExeFileNameAsString() {
    static const ExeFile file;
    ZYN_ENSURE_TEXT(file.isKnown, "rc != 0");
    return file.name;
}
