#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Lets the filter believe, while it lives, that this process runs in a session of that kind.
class AssumedSession {
 public:
  explicit AssumedSession(Session session) noexcept;
  ~AssumedSession();
  AssumedSession(const AssumedSession&) = delete;
  AssumedSession& operator=(const AssumedSession&) = delete;
};

}  // namespace FilterCheck
