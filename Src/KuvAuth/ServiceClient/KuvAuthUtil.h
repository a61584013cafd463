#pragma once

/// @file
/// Includes all functions for a client of the second-factor service (namespace `Kuv::Util`).

/// @namespace Kuv
/// Classes of the library and its internal functions.

/// @namespace Kuv::Util
/// Functions for a client of the second-factor service, except its transport.

#include "KuvAuth/ServiceClient/AuthorizationSignature.h"
#include "KuvAuth/ServiceClient/ClientAddress.h"
#include "KuvAuth/ServiceClient/ClientIdentity.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "KuvAuth/ServiceClient/ServiceVocabulary.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "KuvAuth/Support/RemoteSession.h"
