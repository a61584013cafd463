#include "Tools/FilterHost/HostFixture.h"

#include <cwchar>
#include <sstream>
#include <stdexcept>

#include "FilterHost/FilterHost.h"

namespace KuvTest {

HostRun RunHost(const std::vector<std::wstring>& arguments) {
  std::ostringstream out;
  std::ostringstream err;
  const int exitCode = FilterHost::RunFilterHost(arguments, out, err);
  return {exitCode, out.str(), err.str()};
}

Json::Value ParseJson(const std::string& text) {
  Json::Value value;
  std::istringstream in{text};
  in >> value;
  return value;
}

Json::Value RunHostJson(std::vector<std::wstring> arguments) {
  arguments.emplace_back(L"--json");
  const HostRun run = RunHost(arguments);
  if (run.exitCode != 0 || !run.err.empty()) throw std::runtime_error{"the host failed: " + run.err};
  return ParseJson(run.out);
}

FilterHostFixture::FilterHostFixture()
    : metrics(dll.Get(), "GetSystemMetrics"),
      filterFolder(dll.Get(), "SHGetFolderPathW"),
      hostFolder("SHGetFolderPathW") {
  const auto answer = [this](HWND, int, HANDLE, DWORD, LPWSTR path) {
    std::wcscpy(path, folder.Path().c_str());
    return S_OK;
  };
  metrics.Answer([](int) { return 0; });
  filterFolder.Answer(answer);
  hostFolder.Answer(answer);
}

void FilterHostFixture::Configure() const {
  registry.Local().SetText(L"Host", L"auth.kuv.example");
  registry.Local().SetText(L"IKey", L"SAMPLE");
  registry.Local().SetText(L"SKey", L"sample secret");
}

TestKey FilterHostFixture::InstalledProviders() const {
  return {HKEY_LOCAL_MACHINE,
          L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers"};
}

void FilterHostFixture::Install(const std::wstring& identifier, const std::wstring& name) {
  TestKey{
      HKEY_LOCAL_MACHINE,
      L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers\\" + identifier}
      .SetText(L"", name);
}

std::vector<std::wstring> FilterHostFixture::WithDll(const std::vector<std::wstring>& arguments) const {
  std::vector<std::wstring> all{L"--dll", FilterDllPath()};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return all;
}

}  // namespace KuvTest
