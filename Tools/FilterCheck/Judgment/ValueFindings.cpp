#include <algorithm>

#include "FilterCheck/Judgment/SettingFindings.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

DWORD TypeOf(const SettingInfo& setting) {
  return IsNumeric(setting) ? REG_DWORD : setting.kind == SettingKind::Text ? REG_SZ : REG_MULTI_SZ;
}

// One stored value to check.
struct Stored {
  const SettingInfo& setting;
  const RawValue& value;
  bool taken;
  Severity severity;  ///< of a value that does not take effect as expected
  std::string what;   ///< start of a sentence about the value

  std::string Name() const { return std::string{setting.name}; }

  Finding About(const char* id, const std::string& text, const std::string& advice) const {
    return {id, severity, Name(), what + text, advice};
  }
};

Finding WrongType(const Stored& stored) {
  const std::string type = TypeName(TypeOf(stored.setting));
  return stored.About(
      "setting.wrong-type",
      " is stored as " + TypeName(stored.value.type) + ". Only " + type + " is read, so it is ignored.",
      "Delete the value and create it again as " + type + ".");
}

std::string ConsequenceOfSize(const Stored& stored) {
  if (stored.value.data.size() > sizeof(std::uint32_t) || stored.setting.effect == Effect::NextLogStart ||
      stored.setting.effect == Effect::NextClassObject || stored.setting.kind == SettingKind::ExactFlag) {
    return "so it is ignored.";
  }
  if (stored.setting.effect == Effect::AtOnce) {
    return "so the filter ignores it where it reads the setting each time. Where it loads the setting at the "
           "start of a process, it takes the missing bytes from the default. The two results differ.";
  }
  return "and the missing bytes are treated as 0.";
}

Finding WrongSize(const Stored& stored) {
  return stored.About("setting.wrong-size",
                      " has " + std::to_string(stored.value.data.size()) + " bytes instead of 4, " +
                          ConsequenceOfSize(stored),
                      "Delete the value and create it again as REG_DWORD.");
}

bool IsOutOfRange(const Stored& stored) {
  if (stored.setting.kind == SettingKind::Flag) return false;
  const std::uint32_t number = NumberOf(stored.value);
  return (number < stored.setting.least || number > stored.setting.most) &&
         std::to_string(number) != stored.setting.byDefault;
}

std::string ConsequenceOfRange(const SettingInfo& setting) {
  if (setting.beyond == Beyond::AsStored) return ", but it is used as stored.";
  const std::string number =
      setting.beyond == Beyond::Most ? std::to_string(setting.most) : std::string{setting.byDefault};
  return ", so it is treated as " + number + ".";
}

Finding OutOfRange(const Stored& stored) {
  const SettingInfo& setting = stored.setting;
  const std::string is = " is " + std::to_string(NumberOf(stored.value)) + ". ";
  const std::string range = std::to_string(setting.least) + " to " + std::to_string(setting.most);
  if (setting.kind == SettingKind::ExactFlag)
    return stored.About("setting.not-0-or-1", is + "Only 1 turns it on, so it is off.", "Set it to 0 or 1.");
  return stored.About("setting.out-of-range",
                      is + "The valid range is " + range + ConsequenceOfRange(setting),
                      "Set it to a number from " + range + ".");
}

void JudgeNumber(const Stored& stored, Findings& findings) {
  if (stored.value.data.size() != sizeof(std::uint32_t)) {
    findings.push_back(WrongSize(stored));
  } else if (IsOutOfRange(stored)) {
    findings.push_back(OutOfRange(stored));
  }
}

// The size that the library's 8-bit query reports.
std::size_t NarrowBytes(const std::wstring& text) {
  if (text.empty()) return 0;
  const int bytes = ::WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                          nullptr, nullptr);
  return static_cast<std::size_t>(bytes);
}

Finding Unterminated(const Stored& stored) {
  return stored.About(
      "setting.unterminated",
      " is stored without a terminator. The filter reads it correctly, but other programs may "
      "read past its end.",
      "Write the value again.");
}

Finding DataAfterTerminator(const Stored& stored) {
  return stored.About("setting.data-after-terminator", " has data after its terminator, which is ignored.",
                      "Write the value again.");
}

void JudgeText(const Stored& stored, Findings& findings) {
  const std::wstring text = Units(stored.value);
  const std::size_t bytes = NarrowBytes(text);
  if (!stored.taken && bytes > kMostTextBytes) {
    findings.push_back(stored.About(
        "setting.too-long",
        " takes " + std::to_string(bytes) +
            " bytes. The limit is 1,024 bytes: 1,023 characters and the terminator. The value is "
            "ignored.",
        "Shorten it to 1,023 characters."));
  } else if (!stored.taken) {
    findings.push_back(stored.About("setting.no-text", " is empty and has no terminator, so it is ignored.",
                                    "Enter a text, or delete the value."));
  }
  if (text.empty()) return;
  const std::size_t end = text.find(L'\0');
  if (text.back() != L'\0' || stored.value.data.size() % sizeof(wchar_t) != 0)
    findings.push_back(Unterminated(stored));
  if (end != std::wstring::npos && text.find_first_not_of(L'\0', end) != std::wstring::npos)
    findings.push_back(DataAfterTerminator(stored));
}

void JudgeList(const Stored& stored, Findings& findings) {
  const std::wstring units = Units(stored.value);
  if (!stored.taken) {
    findings.push_back(
        stored.About("whitelist.too-long",
                     " has " + std::to_string(Strings(stored.value).size()) + " entries in " +
                         std::to_string(stored.value.data.size()) +
                         " bytes. The limit is 760 bytes, or nine identifiers. The whole list is ignored.",
                     "Shorten the list to nine identifiers."));
  }
  if (units.empty() || units.front() == L'\0') return;
  const std::size_t end = units.find(std::wstring_view{L"\0\0", 2});
  if (end == std::wstring::npos) {
    findings.push_back(Unterminated(stored));
  } else if (units.find_first_not_of(L'\0', end) != std::wstring::npos) {
    findings.push_back(DataAfterTerminator(stored));
  }
}

void JudgeStored(const Stored& stored, Findings& findings) {
  if (stored.value.type != TypeOf(stored.setting)) {
    findings.push_back(WrongType(stored));
  } else if (IsNumeric(stored.setting)) {
    JudgeNumber(stored, findings);
  } else if (stored.setting.kind == SettingKind::Text) {
    JudgeText(stored, findings);
  } else {
    JudgeList(stored, findings);
  }
}

}  // namespace

Findings JudgeValues(const JudgedSettings& settings) {
  Findings findings;
  for (const JudgedSetting& judged : settings) {
    const SettingInfo& setting = *judged.state.setting;
    const std::string name{setting.name};
    if (judged.policy.value != nullptr) {
      JudgeStored({setting, *judged.policy.value, judged.policy.taken, Severity::Warning,
                   "The policy value of " + name},
                  findings);
    }
    if (judged.local.value != nullptr) {
      // A local value that policy overrides does no harm.
      const Severity severity = judged.policy.taken ? Severity::Note : Severity::Warning;
      JudgeStored({setting, *judged.local.value, judged.local.taken, severity, "The local value of " + name},
                  findings);
    }
  }
  return findings;
}

}  // namespace FilterCheck
