#pragma once

#include "KuvCredFilter/CredentialProviderApi.h"

EXTERN_C const CLSID CLSID_KuvCredFilter;         ///< the filter, the only class of this module
EXTERN_C const CLSID CLSID_KuvCredProv;           ///< the Kuv credential provider
EXTERN_C const CLSID CLSID_KuvSmartCardCredProv;  ///< the Kuv smart card provider
