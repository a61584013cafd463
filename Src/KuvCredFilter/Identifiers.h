#pragma once

#include "KuvCredFilter/CredentialProviderApi.h"

EXTERN_C const CLSID CLSID_KuvCredFilter;         ///< the filter, the only class of this module
EXTERN_C const CLSID CLSID_KuvCredProv;           ///< the second-factor provider
EXTERN_C const CLSID CLSID_KuvSmartCardCredProv;  ///< the second-factor provider for smart cards
