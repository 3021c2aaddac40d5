// Origins and the exception tree.
//
//     ZynException                       abstract; holds the origin
//     +- ZynIntException                 abstract; something is wrong in the system
//     |  +- ZynAssertionException        a contract check failed
//     |  +- ZynOSException               a service of the system or runtime library failed
//     |  +- ZynNoDefaultConfigException, ZynNoSuchConfigException
//     |  +- ZynIntExcInvalidCase, ZynIntExcInvalidBranch
//     |  +- exceptions nested in the class that throws them (ZynStream, ZynConverter, ...)
//     +- ZynExtException                 for a user: a message number and its parameters
//        +- ZynExtExcINVALID_OID, ZynExtExcINVALID_PES
//
// Exceptions are thrown by value and caught by reference. They are values of the thread that caught
// them: their strings share representations by plain counts.
#pragma once

#include <array>
#include <iosfwd>

#include "zynkstr.h"

/// A place in the source. Copying shares the strings and cannot fail.
class ZYN_EXPORT ZynOrigin {
  public:
    /// @param file     module or file name, may be null
    /// @param line     source line
    /// @param function name with its class, such as "ZynString::LengthChar", may be null
    ZynOrigin(const ZynString& file, unsigned int line, const ZynString& function);

    const ZynString& File() const { return _file; }
    unsigned int Line() const { return _line; }
    const ZynString& Function() const { return _function; }

  private:
    ZynString _file;
    unsigned int _line;
    ZynString _function;
};

/// "File=..., Line=..., Function=..."; a null text prints as "<null>".
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynOrigin& origin);

/// Root of all failures of the library that are not results of syntax checks.
class ZYN_EXPORT ZynException {
  public:
    explicit ZynException(const ZynOrigin& origin);
    ZynException(const ZynException&) = default;
    ZynException& operator=(const ZynException&) = default;
    virtual ~ZynException();

    /// The failure's own text, without the origin.
    ZynString AsString() const;
    const ZynOrigin& Origin() const { return _origin; }

    /// The failure's text, ", Origin=" and the origin.
    friend std::ostream& operator<<(std::ostream& os, const ZynException& exception);

  protected:
    virtual void PrintOn(std::ostream& os) const = 0;

  private:
    ZynOrigin _origin;
};

ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynException& exception);

/// An internal failure: a fault in the system, with a text for traces.
class ZYN_EXPORT ZynIntException : public ZynException {
  public:
    explicit ZynIntException(const ZynOrigin& origin);
    ZynIntException(const ZynIntException&) = default;
    ZynIntException& operator=(const ZynIntException&) = default;
    ~ZynIntException() override;

  protected:
    void PrintOn(std::ostream& os) const override = 0;

  public:
    /// False: no internal failure is known to be recoverable.
    virtual bool IsRecoverable() const;
};

/// A failed service of the operating system or the runtime library.
class ZYN_EXPORT ZynOSException : public ZynIntException {
  public:
    ZynOSException(const ZynOrigin& origin, const ZynString& serviceName, long returnCode,
                   long reasonCode);

    const ZynString& ServiceName() const { return _serviceName; }
    long ReturnCode() const { return _returnCode; }
    long ReasonCode() const { return _reasonCode; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    ZynString _serviceName;
    long _returnCode;
    long _reasonCode;
};

/// A failed contract check: a programmer's error.
class ZYN_EXPORT ZynAssertionException : public ZynIntException {
  public:
    ZynAssertionException(const ZynOrigin& origin, const ZynString& condition);

    /// The whole diagnostic line, which begins with "*** ".
    const ZynString& Condition() const { return _condition; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    ZynString _condition;
};

/// The store names no default configuration.
class ZYN_EXPORT ZynNoDefaultConfigException : public ZynIntException {
  public:
    explicit ZynNoDefaultConfigException(const ZynOrigin& origin);

  protected:
    void PrintOn(std::ostream& os) const override;
};

/// The store has no configuration of this name.
class ZYN_EXPORT ZynNoSuchConfigException : public ZynIntException {
  public:
    ZynNoSuchConfigException(const ZynOrigin& origin, const ZynString& configId);

    const ZynString& ConfigId() const { return _configId; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    ZynString _configId;
};

/// An enumeration value that no case provides for.
class ZYN_EXPORT ZynIntExcInvalidCase : public ZynIntException {
  public:
    ZynIntExcInvalidCase(const ZynOrigin& origin, long value);

    long Value() const { return _value; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    long _value;
};

/// A branch of code that should not be reached.
class ZYN_EXPORT ZynIntExcInvalidBranch : public ZynIntException {
  public:
    /// @param description what was met; null and empty are not printed
    ZynIntExcInvalidBranch(const ZynOrigin& origin, const ZynString& description);

    const ZynString& Description() const { return _description; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    ZynString _description;
};

/// The up to seven parameters of a message, each of which may be null.
class ZYN_EXPORT ZynMsgParameter {
  public:
    ZynMsgParameter(const ZynString& p1, const ZynString& p2, const ZynString& p3,
                    const ZynString& p4, const ZynString& p5, const ZynString& p6,
                    const ZynString& p7);

    /// Parameter `index`, counted from 1 to 7; another index is a contract failure.
    ZynString& operator[](unsigned short index);
    const ZynString& operator[](unsigned short index) const;

  private:
    std::array<ZynString, 7> _parameters;
};

/// A failure to be told to a user: a message number and its parameters.
class ZYN_EXPORT ZynExtException : public ZynException {
  public:
    ZynExtException(const ZynOrigin& origin, unsigned long msgId, const ZynMsgParameter& parameter);

    unsigned long ID() const { return _msgId; }
    const ZynMsgParameter& Parameter() const { return _parameter; }

  protected:
    void PrintOn(std::ostream& os) const override;

  private:
    bool _isNull = false;
    unsigned long _msgId;
    ZynMsgParameter _parameter;
};

/// An object identifier given from outside is not valid: message 805.
class ZYN_EXPORT ZynExtExcINVALID_OID : public ZynExtException {
  public:
    explicit ZynExtExcINVALID_OID(const ZynOrigin& origin);
};

/// A program execution server name given by a user is not valid: message 1015.
class ZYN_EXPORT ZynExtExcINVALID_PES : public ZynExtException {
  public:
    ZynExtExcINVALID_PES(const ZynOrigin& origin, const ZynString& name);

    const ZynString& Name() const { return Parameter()[1]; }
};

/// The origin of a place in `file`, whose name is taken without its ending. All sources of a module
/// of this library bear the module's name in a trace: that of "zynksdds_parm.cpp" is "zynksdds".
ZYN_EXPORT ZynOrigin zynkOrigin(const char* file, unsigned int line, const char* function);

/// The origin of this place. `function` is a text such as "ZynString::LengthChar".
#define ZYN_ORIGIN(function) zynkOrigin(__FILE_NAME__, __LINE__, function)

/// Writes the line that goes ahead of every throw, if the trace takes error lines. What the trace
/// itself is made of has a level of its own, which is not written whatever the trace is set to.
ZYN_EXPORT void zynkTraceThrow(const char* tag, const ZynException& exception,
                               unsigned long level = 0);

/// Throw sites: construct the exception, trace it, throw a copy by value.
#define ZYN_THROW_INT(exception) ZYN_THROW_("THROW_INT, ", exception)
#define ZYN_THROW_EXT(exception) ZYN_THROW_("THROW_EXT, ", exception)

#define ZYN_THROW_(tag, exception)                                                                 \
    do {                                                                                           \
        const auto zynkThrown_ = exception;                                                        \
        zynkTraceThrow(tag, zynkThrown_);                                                          \
        throw zynkThrown_;                                                                         \
    } while (false)
