// The keys of the store that programs use, and their values as they stand. The store's own
// operations are called, for ZynProfile tells neither kinds nor names of any form.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "zynkprf_impl.h"

/// There is no such value or configuration.
class Missing : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A code of the store in words if it is a known one, with the number.
std::string Explained(long code);
/// Raises std::runtime_error with what was done and why that failed, unless it succeeded.
void Check(long code, const std::string& what);

ZynString ToString(std::string_view bytes);
std::string ToBytes(const ZynString& text);

struct Value {
    unsigned long type = zynkreg::Text;
    std::string bytes;
};

enum class Base { Installation, Configurations, UserConfigurations };

/// "the machine's store" and "the user's store".
const char* StoreName(Base base);

/// Names below a base that can be exported and imported. Every key of a deeper tree would be a
/// longer text than the one above it.
constexpr std::size_t MostLevels = 512;

/// A key: names from one of the bases downwards.
struct Place {
    Base base = Base::Configurations;
    std::vector<std::string> path;

    /// The root that it is below.
    HKEY Root() const {
        return base == Base::UserConfigurations ? zynkreg::CurrentUser : zynkreg::LocalMachine;
    }
    Place Child(const std::string& name) const;
};

/// Access to a key. A failure raises std::runtime_error.
class Key {
  public:
    enum class Access {
        Read,
        Change, ///< a missing key stays so
        Create
    };

    Key(const Place& place, Access access);
    /// A key below one that is there, of a name that is listed.
    Key(const Key& parent, const std::string& name, Access access);

    bool IsThere() const { return _open->Handle() != 0; }
    std::vector<std::string> Subkeys() const;
    std::vector<std::string> Names() const;
    std::optional<Value> Find(const std::string& name) const;
    /// Of a name that is listed.
    Value Get(const std::string& name) const;
    void Insert(const std::string& name, const Value& value) const;
    /// Raises Missing if there is none.
    void Erase(const std::string& name) const;
    /// Of a key without subkeys.
    void EraseSubkey(const std::string& name) const;

  private:
    static std::unique_ptr<ZynProfileImpl> OpenBase(Base base, bool update);
    void Open(HKEY parent, const std::string& name, Access access, bool update);

    Base _base;
    std::unique_ptr<ZynProfileImpl> _open;
};

/// A key and all below it, each ahead of what is below it and in the order of creation; nothing if
/// it is missing. Keys below MostLevels are a failure.
std::vector<Place> Tree(const Place& top);
/// Removes a key that is there, with all below it at any depth. For use within a change.
void EraseTree(const Place& top);
