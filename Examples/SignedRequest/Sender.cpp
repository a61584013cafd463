#include "SignedRequest/Sender.h"

#include <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <memory>

#include "SignedRequest/ExampleError.h"
#include <KuvAuth/Support/Text.h>

namespace SignedRequest {

namespace {

constexpr int kTimeoutMilliseconds = 10'000;
constexpr std::size_t kMaxBody = std::size_t{64} * 1024;

struct CloseInternetHandle {
  using pointer = HINTERNET;
  void operator()(HINTERNET handle) const noexcept { ::WinHttpCloseHandle(handle); }
};
using UniqueInternetHandle = std::unique_ptr<HINTERNET, CloseInternetHandle>;

[[noreturn]] void ThrowNotSent(const char* call, DWORD code) {
  throw ExampleError{ExitCode::NotSent, std::string{call} + " failed (error " + std::to_string(code) + ")"};
}

void Require(BOOL succeeded, const char* call) {
  if (succeeded == FALSE) ThrowNotSent(call, ::GetLastError());
}

UniqueInternetHandle Require(HINTERNET handle, const char* call) {
  if (handle == nullptr) ThrowNotSent(call, ::GetLastError());
  return UniqueInternetHandle{handle};
}

UniqueInternetHandle OpenRequest(HINTERNET connection, const Kuv::Signing::SignedRequest& message,
                                 bool secure) {
  // The signed path must not be escaped again.
  const DWORD flags = WINHTTP_FLAG_ESCAPE_DISABLE | (secure ? WINHTTP_FLAG_SECURE : 0);
  UniqueInternetHandle request = Require(
      ::WinHttpOpenRequest(connection, Utf8ToWide(message.method).c_str(), Utf8ToWide(message.target).c_str(),
                           /*pwszVersion=*/nullptr, WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, flags),
      "WinHttpOpenRequest");
  DWORD disabled = WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_AUTHENTICATION | WINHTTP_DISABLE_COOKIES;
  Require(::WinHttpSetOption(request.get(), WINHTTP_OPTION_DISABLE_FEATURE, &disabled, sizeof(disabled)),
          "WinHttpSetOption");
  const std::wstring headers = Utf8ToWide("Host: " + message.host + "\r\n" + message.HeaderBlock());
  Require(::WinHttpAddRequestHeaders(request.get(), headers.c_str(), static_cast<DWORD>(headers.size()),
                                     WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE),
          "WinHttpAddRequestHeaders");
  return request;
}

unsigned QueryStatus(HINTERNET request) {
  DWORD status = 0;
  DWORD size = sizeof(status);
  Require(::WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                                WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX),
          "WinHttpQueryHeaders");
  return status;
}

// Returns the text of the status, which is for display only: empty if it is missing or too long.
std::string QueryReason(HINTERNET request) {
  wchar_t reason[128] = {};
  DWORD size = sizeof(reason) - sizeof(wchar_t);
  if (::WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_TEXT, WINHTTP_HEADER_NAME_BY_INDEX, reason, &size,
                            WINHTTP_NO_HEADER_INDEX) == FALSE) {
    return {};
  }
  return Printable(WideToUtf8(reason));
}

std::string ReadBody(HINTERNET request) {
  std::string body;
  char buffer[4096];
  while (body.size() < kMaxBody) {
    DWORD read = 0;
    const auto room = static_cast<DWORD>(std::min(sizeof(buffer), kMaxBody - body.size()));
    Require(::WinHttpReadData(request, buffer, room, &read), "WinHttpReadData");
    if (read == 0) break;
    body.append(buffer, read);
  }
  return Printable(body, /*lines=*/true);
}

}  // namespace

Address ParseAddress(const std::wstring& text) {
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof(parts);
  parts.dwHostNameLength = parts.dwUserNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength =
      static_cast<DWORD>(-1);
  if (::WinHttpCrackUrl(text.c_str(), /*dwUrlLength=*/0, /*dwFlags=*/0, &parts) == FALSE ||
      parts.dwHostNameLength == 0 || parts.dwUserNameLength != 0 || parts.dwExtraInfoLength != 0 ||
      std::wstring_view{parts.lpszUrlPath, parts.dwUrlPathLength}.find_first_not_of(L'/') !=
          std::wstring_view::npos) {
    ThrowUsage("--send must be http://NAME[:PORT] or https://NAME[:PORT], not " + Quoted(text));
  }
  return {std::wstring{parts.lpszHostName, parts.dwHostNameLength}, parts.nPort,
          parts.nScheme == INTERNET_SCHEME_HTTPS};
}

Answer SendMessageTo(const Kuv::Signing::SignedRequest& message, const Address& address) {
  const UniqueInternetHandle session =
      Require(::WinHttpOpen(/*pszAgentW=*/nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                            WINHTTP_NO_PROXY_BYPASS, /*dwFlags=*/0),
              "WinHttpOpen");
  Require(::WinHttpSetTimeouts(session.get(), kTimeoutMilliseconds, kTimeoutMilliseconds,
                               kTimeoutMilliseconds, kTimeoutMilliseconds),
          "WinHttpSetTimeouts");
  const UniqueInternetHandle connection =
      Require(::WinHttpConnect(session.get(), address.name.c_str(), address.port, /*dwReserved=*/0),
              "WinHttpConnect");
  const UniqueInternetHandle request = OpenRequest(connection.get(), message, address.secure);

  std::string body = message.body;
  const auto length = static_cast<DWORD>(body.size());
  Require(::WinHttpSendRequest(request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, /*dwHeadersLength=*/0,
                               body.empty() ? WINHTTP_NO_REQUEST_DATA : body.data(), length, length,
                               /*dwContext=*/0),
          "WinHttpSendRequest");
  Require(::WinHttpReceiveResponse(request.get(), nullptr), "WinHttpReceiveResponse");
  return {QueryStatus(request.get()), QueryReason(request.get()), ReadBody(request.get())};
}

}  // namespace SignedRequest
