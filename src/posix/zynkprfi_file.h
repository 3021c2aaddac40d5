// The files of the two stores.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zynkplat.h"

namespace zynkprfi {

/// What an operation fails with. It goes no further than to the operation.
struct Failure {
    long code;
};

/// The failure of a call of the system.
[[noreturn]] void ThrowSystemFailure(int error);

/// Whose store; a handle tells it by its lowest bit.
enum Scope { Machine, User };

/// The full name of its file, as the environment has it at the moment.
std::string PathOf(Scope scope);

/// Which file has that name; one of zeros if there is none.
zynkplat::FileIdentity IdentityOf(const std::string& path);

/// Makes an empty file with its folders. It may have come into being meanwhile.
void MakeFile(const std::string& path, Scope scope);

/// The descriptors that are of a file; none if the system doesn't tell, or has no descriptor left
/// to ask it.
std::optional<std::vector<int>> DescriptorsOf(const zynkplat::FileIdentity& identity);

} // namespace zynkprfi
