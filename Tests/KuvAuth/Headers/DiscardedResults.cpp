// Ignores results that mean failure when they are empty. The compiler must warn in each marked line, and only
// there.
#include <KuvAuth/Configuration/Configuration.h>
#include <KuvAuth/Configuration/KuvAuthConfig.h>
#include <KuvAuth/ProtectedStorage/ProtectedStorage.h>
#include <KuvAuth/ServiceClient/KuvAuthUtil.h>
#include <KuvAuth/Support/SystemError.h>
#include <KuvAuth/Support/Text.h>

void DiscardResults(std::string& text) {
  using namespace Kuv::Util;
  Utf8ToWide("");                                                 // discarded
  Utf8ToWide(text);                                               // discarded
  WideToUtf8(L"");                                                // discarded
  WideToUtf8(std::wstring{});                                     // discarded
  FormatToString("%s", "");                                       // discarded
  FormatToString(L"%s", L"");                                     // discarded
  FormatSystemError(0);                                           // discarded
  GetAppDataFilePath(L"");                                        // discarded
  TryGetStringSetting("", text);                                  // discarded
  GetConfiguration()->IsConfigured();                             // discarded
  GetClientIpAddress();                                           // discarded
  GetClientIpAddress(true);                                       // discarded
  GetRdpClientIpAddress();                                        // discarded
  GetLocalIpAddress();                                            // discarded
  GetLocalHostName();                                             // discarded
  AddrToString(2, "1234");                                        // discarded
  AuthFactorToString(AuthFactor::Push);                           // discarded
  AuthResultToString(AuthResult::Allow);                          // discarded
  AuthStatusToString(AuthStatus::Allow);                          // discarded
  AuthFactorFromString(text);                                     // discarded
  AuthResultFromString(text);                                     // discarded
  AuthStatusFromString(text);                                     // discarded
  Base64Encode("a", 1);                                           // discarded
  AtlHexEncode("a", 1);                                           // discarded
  BytesToHexString("a", 1);                                       // discarded
  PercentEncode(text);                                            // discarded
  CalculateHmac("k", 1, "d", 1);                                  // discarded
  CalculateHmac(text, text);                                      // discarded
  CryptoHash(text, 0x800E);                                       // discarded
  BuildParameterString({}, {});                                   // discarded
  BuildDateHeader(nullptr);                                       // discarded
  BuildHeaderLine(text, text);                                    // discarded
  BuildHmacAuthorizationHeader(text, text, text);                 // discarded
  BuildAuthorizationHeader(text);                                 // discarded
  BuildAuthorizationSignature(text, text, text, text, text);      // discarded
  BuildJsonAuthorizationSignature(text, text, text, text, text);  // discarded
  IsJsonContentType(text);                                        // discarded
  // These report success, and log a failure.
  EnsureConfigurationLoaded();
  SetServiceCredentials(text, text, text);
  ProtectSettingsKeys();
}
