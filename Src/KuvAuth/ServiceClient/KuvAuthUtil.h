#pragma once

/// @file
/// All that a client of the second-factor service needs apart from its transport, in `Kuv::Util`.

/// @namespace Kuv
/// The parts of the library that have no name of the platform or of the settings.

/// @namespace Kuv::Util
/// What a client of the second-factor service needs apart from its transport.

#include "KuvAuth/ServiceClient/AuthorizationSignature.h"
#include "KuvAuth/ServiceClient/ClientAddress.h"
#include "KuvAuth/ServiceClient/ClientIdentity.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "KuvAuth/ServiceClient/ServiceVocabulary.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "KuvAuth/Support/RemoteSession.h"
