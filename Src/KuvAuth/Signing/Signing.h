#pragma once

/// @file
/// Includes the signing layer: the interface for signing and verifying requests to the service.

/// @namespace Kuv::Signing
/// Signs and verifies requests over the functions of `Kuv::Util`, with the same results. Fields have types
/// and names, keys are wiped, and a failure is a `Result` with its reason, never an empty text. Throws only
/// `std::bad_alloc`, and logs nothing, unless stated otherwise.

#include "KuvAuth/Signing/Credentials.h"
#include "KuvAuth/Signing/Failure.h"
#include "KuvAuth/Signing/HttpDate.h"
#include "KuvAuth/Signing/MaskedForLog.h"
#include "KuvAuth/Signing/Request.h"
#include "KuvAuth/Signing/Result.h"
#include "KuvAuth/Signing/Secret.h"
#include "KuvAuth/Signing/Signer.h"
#include "KuvAuth/Signing/Verify.h"
