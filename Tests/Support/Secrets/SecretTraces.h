#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace KuvTest {

/// The places where 4 consecutive bytes of a secret remain.
struct SecretTraces {
  std::size_t freedBlocks = 0;  ///< heap blocks that held some when they were freed
  std::size_t onStack = 0;      ///< places on the part of the stack that is in use no longer
};

/// Runs the action in a separate thread, with hooks of the heap functions that this program imports, and
/// searches the freed blocks and the stack of the thread. The secret has at least 4 bytes, no byte twice, and
/// is not known to the frames of the action.
SecretTraces FindSecretTraces(const std::string& secret, const std::function<void()>& action);

}  // namespace KuvTest
