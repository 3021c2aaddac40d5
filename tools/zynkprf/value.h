// The text form of a value, in which its kind is told and nothing is lost:
//
//     "text"            a text, and the clear form of a password
//     scrambled "hex"   a password as it stands in the store
//     number 5
//     list "a" "" "b"
//     type 3 "bytes"    of another kind, or not of the form that its kind has, or a password in
//                       some locales alone
#pragma once

#include <optional>
#include <string>

#include "quoted.h"
#include "store.h"

enum class Passwords { AsStored, Clear, Hidden };

/// In this locale.
bool IsPassword(const std::string& name);
bool IsPasswordEverywhere(const std::string& name);
/// The bytes of a password's value from its clear text, and back. Nothing if a value does not stand
/// in the form of passwords.
Value PasswordValue(const std::string& clear);
std::optional<std::string> ClearPassword(const Value& value);

std::optional<std::int32_t> NumberOf(const Value& value);
Value NumberValue(std::int32_t number);
std::optional<std::vector<std::string>> TextsOf(const Value& value);
/// The texts hold no NUL.
Value ListValue(const std::vector<std::string>& texts);

/// Clear passwords are shown where they can be read back to the same bytes.
std::string ValueText(const std::string& name, const Value& value, Passwords passwords);
/// Reads up to the end of the line; a Fault, without a password in it, if there is something else.
Value ReadValue(const std::string& name, Line& line);
