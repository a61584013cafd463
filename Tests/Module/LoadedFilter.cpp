#include "Module/LoadedFilter.h"

#include <filesystem>
#include <regex>
#include <stdexcept>

#include "KuvCredFilter/Identifiers.h"

namespace KuvTest {

namespace {

template <typename Function>
Function Export(HMODULE module, const char* name) {
  const auto function = reinterpret_cast<void (*)()>(::GetProcAddress(module, name));
  if (function == nullptr) throw std::runtime_error{std::string{name} + " is not exported"};
  return reinterpret_cast<Function>(function);
}

// "06/02/25 12:59:52 [1240](2248) [Info] text" to "Info: text", addresses masked.
std::string Normalise(const std::string& line) {
  static const std::regex form{R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d \[\d+\]\(\d+\) \[(\w+)\] (.*))"};
  // The first block of a class identifier is as long as an address of 32 bits.
  static const std::regex address{sizeof(void*) == 8 ? "\\b[0-9A-F]{16}\\b" : "\\b[0-9A-F]{8}\\b(?!-)"};
  std::smatch match;
  if (!std::regex_match(line, match, form)) throw std::runtime_error{"not a log line: " + line};
  return std::regex_replace(match[1].str() + ": " + match[2].str(), address, "%p");
}

}  // namespace

std::wstring FilterDllPath() {
  wchar_t program[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  return std::filesystem::path{program}.replace_filename(L"KuvCredFilter.dll").wstring();
}

LoadedFilter::LoadedFilter()
    : logPath_(appData_.Path(L"Kuvant\\kuv.log")), module_(::LoadLibraryW(FilterDllPath().c_str())) {
  if (module_ == nullptr) throw std::runtime_error{"KuvCredFilter.dll cannot be loaded"};
  folder_ = std::make_unique<ImportHook<decltype(&::SHGetFolderPathW)>>(module_, "SHGetFolderPathW");
  folder_->Answer([this](HWND, int, HANDLE, DWORD, wchar_t* path) {
    appData_.Path().copy(path, MAX_PATH - 1);
    return S_OK;
  });
}

LoadedFilter::~LoadedFilter() {
  Unload();
}

HRESULT LoadedFilter::GetClassObject(REFCLSID rclsid, REFIID riid, void** object) const {
  using Function = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  return Export<Function>(module_, "DllGetClassObject")(rclsid, riid, object);
}

HRESULT LoadedFilter::CanUnloadNow() const {
  using Function = HRESULT(STDAPICALLTYPE*)();
  return Export<Function>(module_, "DllCanUnloadNow")();
}

ICredentialProviderFilter* LoadedFilter::CreateFilter() const {
  IClassFactory* factory = nullptr;
  if (FAILED(GetClassObject(CLSID_KuvCredFilter, IID_IClassFactory, reinterpret_cast<void**>(&factory)))) {
    throw std::runtime_error{"no class factory"};
  }
  ICredentialProviderFilter* filter = nullptr;
  const HRESULT result =
      factory->CreateInstance(nullptr, IID_ICredentialProviderFilter, reinterpret_cast<void**>(&filter));
  factory->Release();
  if (FAILED(result)) throw std::runtime_error{"no filter"};
  return filter;
}

bool LoadedFilter::Unload() {
  if (module_ == nullptr) return true;
  folder_.reset();
  ::FreeLibrary(std::exchange(module_, nullptr));
  return ::GetModuleHandleW(L"KuvCredFilter.dll") == nullptr;
}

std::vector<std::string> LoadedFilter::NewLogLines() {
  const std::string text = ReadFileBytes(logPath_).substr(logRead_);
  logRead_ += text.size();
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find("\r\n", start);
    if (end == std::string::npos) throw std::runtime_error{"half a line: " + text.substr(start)};
    lines.push_back(Normalise(text.substr(start, end - start)));
    start = end + 2;
  }
  return lines;
}

}  // namespace KuvTest
