#pragma once

#include <string>
#include <vector>

#include "Support/FilterModule.h"
#include "Support/TempFolder.h"

namespace KuvTest {

struct OwnAppData {
  TempFolder appData;
};

/// The built DLL, freshly loaded, with its own log file.
class LoggedModule : private OwnAppData, public FilterModule {
 public:
  LoggedModule() : FilterModule(appData.Path()), logPath_(appData.Path(L"Kuvant\\kuv.log")) {}

  const std::wstring& LogPath() const { return logPath_; }
  bool HasLog() const { return ::GetFileAttributesW(logPath_.c_str()) != INVALID_FILE_ATTRIBUTES; }
  /// Returns the lines that were added to the log file since the last call, as "Level: message", with
  /// addresses as "%p". Throws unless each line matches the regular expression of Docs/Fleet.md, whose groups
  /// must name this thread and a time of the last minutes.
  std::vector<std::string> NewLogLines();

 private:
  std::wstring logPath_;
  std::size_t logRead_ = 0;
};

}  // namespace KuvTest
