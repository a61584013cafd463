#pragma once

#include <string>

#include "FilterSetup/Model/Changes.h"

namespace FilterSetup {

/// Reads the client key from the file or, for an empty name, from standard input, and writes it to the value
/// `SKey` of the local settings key. Adds the change or the failure to `changes`. Throws `RefusedError` if
/// the key does not exist or others than SYSTEM and Administrators have access to it, before the client key
/// is read, and the errors of `ReadSecret`.
void SetClientKey(const std::wstring& file, Changes& changes);

}  // namespace FilterSetup
