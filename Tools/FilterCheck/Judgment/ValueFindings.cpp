#include <algorithm>

#include "FilterCheck/Judgment/SettingFindings.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

DWORD TypeOf(const SettingInfo& setting) {
  return IsNumeric(setting) ? REG_DWORD : setting.kind == SettingKind::Text ? REG_SZ : REG_MULTI_SZ;
}

// One stored value under judgement.
struct Stored {
  const SettingInfo& setting;
  const RawValue& value;
  bool taken;
  Severity severity;  ///< of a value that does not take effect as one might think
  std::string what;   ///< how a sentence about it begins

  std::string Name() const { return std::string{setting.name}; }

  Finding About(const char* id, const std::string& text, const std::string& advice) const {
    return {id, severity, Name(), what + text, advice};
  }
};

Finding WrongType(const Stored& stored) {
  const std::string type = TypeName(TypeOf(stored.setting));
  return stored.About(
      "setting.wrong-type",
      " is stored as " + TypeName(stored.value.type) + ". Only " + type + " is read, so it counts as absent.",
      "Delete it and write it anew as " + type + ".");
}

std::string ConsequenceOfSize(const Stored& stored) {
  if (stored.value.data.size() > sizeof(std::uint32_t) || stored.setting.effect == Effect::NextLogStart ||
      stored.setting.effect == Effect::NextClassObject || stored.setting.kind == SettingKind::ExactFlag) {
    return "so it counts as absent.";
  }
  if (stored.setting.effect == Effect::AtOnce) {
    return "so it counts as absent where the filter reads it at once, while the settings that are loaded "
           "with a "
           "new process take the missing bytes from their default: the two differ.";
  }
  return "and the missing bytes are taken as 0.";
}

Finding WrongSize(const Stored& stored) {
  return stored.About("setting.wrong-size",
                      " holds " + std::to_string(stored.value.data.size()) + " bytes instead of 4, " +
                          ConsequenceOfSize(stored),
                      "Delete it and write it anew as REG_DWORD.");
}

bool IsOutOfRange(const Stored& stored) {
  if (stored.setting.kind == SettingKind::Flag) return false;
  const std::uint32_t number = NumberOf(stored.value);
  return (number < stored.setting.least || number > stored.setting.most) &&
         std::to_string(number) != stored.setting.byDefault;
}

std::string ConsequenceOfRange(const SettingInfo& setting) {
  if (setting.beyond == Beyond::AsStored) return "; it is taken all the same.";
  const std::string number =
      setting.beyond == Beyond::Most ? std::to_string(setting.most) : std::string{setting.byDefault};
  return ", so it counts as " + number + ".";
}

Finding OutOfRange(const Stored& stored) {
  const SettingInfo& setting = stored.setting;
  const std::string is = " is " + std::to_string(NumberOf(stored.value)) + ". ";
  const std::string range = std::to_string(setting.least) + " to " + std::to_string(setting.most);
  if (setting.kind == SettingKind::ExactFlag)
    return stored.About("setting.neither-0-nor-1", is + "Only 1 turns it on, so it is off.", "Write 1 or 0.");
  return stored.About("setting.out-of-range", is + "Its range is " + range + ConsequenceOfRange(setting),
                      "Write a number from " + range + ".");
}

void JudgeNumber(const Stored& stored, Findings& findings) {
  if (stored.value.data.size() != sizeof(std::uint32_t)) {
    findings.push_back(WrongSize(stored));
  } else if (IsOutOfRange(stored)) {
    findings.push_back(OutOfRange(stored));
  }
}

// As the library's 8-bit query measures it.
std::size_t NarrowBytes(const std::wstring& text) {
  if (text.empty()) return 0;
  const int bytes = ::WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                          nullptr, nullptr);
  return static_cast<std::size_t>(bytes);
}

Finding Unterminated(const Stored& stored) {
  return stored.About("setting.unterminated",
                      " is stored without its end. It is read all the same, but other programs may read on "
                      "behind it.",
                      "Write it anew.");
}

Finding CutShort(const Stored& stored) {
  return stored.About("setting.cut-short", " goes on behind its end, and what stands there is not read.",
                      "Write it anew.");
}

void JudgeText(const Stored& stored, Findings& findings) {
  const std::wstring text = Units(stored.value);
  const std::size_t bytes = NarrowBytes(text);
  if (!stored.taken && bytes > kMostTextBytes) {
    findings.push_back(
        stored.About("setting.too-long",
                     " takes " + std::to_string(bytes) +
                         " bytes with its end. At most 1,024 fit, 1,023 characters and the end, so "
                         "it counts as absent.",
                     "Shorten it."));
  } else if (!stored.taken) {
    findings.push_back(stored.About("setting.no-text", " holds no text at all, so it counts as absent.",
                                    "Write a text, or delete it."));
  }
  if (text.empty()) return;
  const std::size_t end = text.find(L'\0');
  if (text.back() != L'\0' || stored.value.data.size() % sizeof(wchar_t) != 0)
    findings.push_back(Unterminated(stored));
  if (end != std::wstring::npos && text.find_first_not_of(L'\0', end) != std::wstring::npos)
    findings.push_back(CutShort(stored));
}

void JudgeList(const Stored& stored, Findings& findings) {
  const std::wstring units = Units(stored.value);
  if (!stored.taken) {
    findings.push_back(stored.About(
        "whitelist.too-many",
        " holds " + std::to_string(Strings(stored.value).size()) + " entries in " +
            std::to_string(stored.value.data.size()) +
            " bytes. At most 760 bytes fit, nine identifiers, so the whole list counts as absent.",
        "Keep nine at most."));
  }
  if (units.empty() || units.front() == L'\0') return;
  const std::size_t end = units.find(std::wstring_view{L"\0\0", 2});
  if (end == std::wstring::npos) {
    findings.push_back(Unterminated(stored));
  } else if (units.find_first_not_of(L'\0', end) != std::wstring::npos) {
    findings.push_back(CutShort(stored));
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
      // A local value that policy hides does no harm.
      const Severity severity = judged.policy.taken ? Severity::Note : Severity::Warning;
      JudgeStored({setting, *judged.local.value, judged.local.taken, severity, "The local value of " + name},
                  findings);
    }
  }
  return findings;
}

}  // namespace FilterCheck
