#include "FilterCheck/WhatIf/AssumedSession.h"

#include "KuvAuth/Support/RemoteSession.h"

namespace {

constinit bool g_remote = false;

}  // namespace

// Stands in the place of the library's own function, which asks the platform: the check answers for sessions
// of both kinds, wherever it runs. Being in one library with the code that asks, it is found first.
bool Kuv::Util::IsRemoteSession() {
  return g_remote;
}

namespace FilterCheck {

AssumedSession::AssumedSession(Session session) noexcept {
  g_remote = session == Session::Remote;
}

AssumedSession::~AssumedSession() {
  g_remote = false;
}

}  // namespace FilterCheck
