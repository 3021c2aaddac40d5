#include "zynkxcp.h"

#include <cstring>
#include <sstream>
#include <string>

#include "zynktrc.h"

ZynOrigin::ZynOrigin(const ZynString& file, unsigned int line, const ZynString& function)
    : _file(file), _line(line), _function(function) {}

// Numbers go out as texts: decimal whatever mode the caller's stream is in.
std::ostream& operator<<(std::ostream& os, const ZynOrigin& origin) {
    return os << "File=" << origin.File() << ", Line=" << std::to_string(origin.Line())
              << ", Function=" << origin.Function();
}

ZynException::ZynException(const ZynOrigin& origin) : _origin(origin) {}

ZynException::~ZynException() = default;

ZynString ZynException::AsString() const {
    std::ostringstream text;
    PrintOn(text);
    return {text.str().c_str()};
}

std::ostream& operator<<(std::ostream& os, const ZynException& exception) {
    exception.PrintOn(os);
    return os << ", Origin=" << exception.Origin();
}

ZynIntException::ZynIntException(const ZynOrigin& origin) : ZynException(origin) {}

ZynIntException::~ZynIntException() = default;

bool ZynIntException::IsRecoverable() const {
    return false;
}

ZynOSException::ZynOSException(const ZynOrigin& origin, const ZynString& serviceName,
                               long returnCode, long reasonCode)
    : ZynIntException(origin), _serviceName(serviceName), _returnCode(returnCode),
      _reasonCode(reasonCode) {}

void ZynOSException::PrintOn(std::ostream& os) const {
    os << "ZynOSException, ServiceName=" << _serviceName
       << ", ReturnCode=" << std::to_string(_returnCode)
       << ", ReasonCode=" << std::to_string(_reasonCode);
}

ZynAssertionException::ZynAssertionException(const ZynOrigin& origin, const ZynString& condition)
    : ZynIntException(origin), _condition(condition) {}

void ZynAssertionException::PrintOn(std::ostream& os) const {
    os << "ZynAssertionException, Condition=" << _condition;
}

ZynNoDefaultConfigException::ZynNoDefaultConfigException(const ZynOrigin& origin)
    : ZynIntException(origin) {}

void ZynNoDefaultConfigException::PrintOn(std::ostream& os) const {
    os << "ZynNoDefaultConfigException";
}

ZynNoSuchConfigException::ZynNoSuchConfigException(const ZynOrigin& origin,
                                                   const ZynString& configId)
    : ZynIntException(origin), _configId(configId) {}

void ZynNoSuchConfigException::PrintOn(std::ostream& os) const {
    os << "ZynNoSuchConfigException, ConfigID=" << _configId;
}

ZynIntExcInvalidCase::ZynIntExcInvalidCase(const ZynOrigin& origin, long value)
    : ZynIntException(origin), _value(value) {}

void ZynIntExcInvalidCase::PrintOn(std::ostream& os) const {
    os << "ZynIntExcInvalidCase, Value=" << std::to_string(_value);
}

ZynIntExcInvalidBranch::ZynIntExcInvalidBranch(const ZynOrigin& origin,
                                               const ZynString& description)
    : ZynIntException(origin), _description(description) {}

void ZynIntExcInvalidBranch::PrintOn(std::ostream& os) const {
    os << "ZynIntExcInvalidBranch";
    if (!_description.IsNull() && _description.Length() != 0)
        os << ", Description=" << _description;
}

ZynMsgParameter::ZynMsgParameter(const ZynString& p1, const ZynString& p2, const ZynString& p3,
                                 const ZynString& p4, const ZynString& p5, const ZynString& p6,
                                 const ZynString& p7)
    : _parameters{p1, p2, p3, p4, p5, p6, p7} {}

ZynString& ZynMsgParameter::operator[](unsigned short index) {
    ZYN_REQUIRE((index > 0) && (index < 8));
    return _parameters[index - 1U];
}

const ZynString& ZynMsgParameter::operator[](unsigned short index) const {
    ZYN_REQUIRE((index > 0) && (index < 8));
    return _parameters[index - 1U];
}

ZynExtException::ZynExtException(const ZynOrigin& origin, unsigned long msgId,
                                 const ZynMsgParameter& parameter)
    : ZynException(origin), _msgId(msgId), _parameter(parameter) {}

void ZynExtException::PrintOn(std::ostream& os) const {
    ZYN_REQUIRE(!_isNull);
    os << "ZynExtException, MsgID=" << std::to_string(_msgId) << ", MsgParam=";
    for (unsigned short i = 1; i <= 7; ++i)
        os << _parameter[i] << ", ";
}

ZynExtExcINVALID_OID::ZynExtExcINVALID_OID(const ZynOrigin& origin)
    : ZynExtException(origin, 805, {"", "", "", "", "", "", ""}) {}

ZynExtExcINVALID_PES::ZynExtExcINVALID_PES(const ZynOrigin& origin, const ZynString& name)
    : ZynExtException(origin, 1015, {name, "", "", "", "", "", ""}) {}

ZynOrigin zynkOrigin(const char* file, unsigned int line, const char* function) {
    const bool isModule = std::strncmp(file, "zynk", 4) == 0;
    return {{file, static_cast<long>(std::strcspn(file, isModule ? "._" : "."))}, line, function};
}

void zynkTraceThrow(const char* tag, const ZynException& exception, unsigned long level) {
    const bool isOpen = level == ZynTrace::ErrorLevel
                            ? ZynTrace::IsErrorOpen(ZynTrace::Error, ZynTrace::Kernel)
                            : ZynTrace::IsOpen(level, ZynTrace::Error, ZynTrace::Kernel);
    if (!isOpen)
        return;
    try {
        const ZynOrigin& origin = exception.Origin();
        ZynTrace::Text text;
        text.Stream() << tag << exception;
        ZynTrace::Trace(origin.File().IsNull() ? nullptr : origin.File().C_str(), origin.Line(),
                        origin.Function().IsNull() ? nullptr : origin.Function().C_str(), level,
                        ZynTrace::Error, ZynTrace::Kernel, text.View());
    } catch (...) { // NOLINT(bugprone-empty-catch): the exception itself is what is to be told
    }
}
