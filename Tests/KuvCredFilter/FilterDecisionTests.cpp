#include <ostream>
#include <sstream>
#include <stdexcept>

#include "KuvCredFilter/FilterFixture.h"
#include "Support/DecisionModel.h"

namespace {

using namespace KuvTest;
using enum LogLevel;

using Flags = std::vector<BOOL>;

// The first lines of a decision on the password, the Kuv and the vendor's provider, the last one whitelisted.
LogLines Start() {
  return {{Trace, "Entering CKuvCredFilter::Filter"},
          {Debug, "Filter scanning provider {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"},
          {Debug, "Filter scanning provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"},
          {Debug, "Whitelisted provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}"},
          {Debug, "Whitelisted provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"}};
}

LogLines operator+(LogLines left, const LogLines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Flags kOnlyAllowed = {0, 1, 1};
const Flags kAllButKuv = {1, 0, 1};
const Flags kAsPassed = {0, 1, -1};
const LogLines kOnlyAllowedReport = {{Debug, "Provider {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} is DISABLED."},
                                     {Debug, "Provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} is ENABLED."},
                                     {Debug, "Provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9} is ENABLED."}};
const LogLines kAllButKuvReport = {{Debug, "Provider {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} is ENABLED."},
                                   {Debug, "Provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} is DISABLED."},
                                   {Debug, "Provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9} is ENABLED."}};
class FilterDecision : public FilterFixture {
 protected:
  FilterDecision() { Configure({kVendor}); }

  static FilterCall Call(DWORD scenario, DWORD flags = 0) {
    return {scenario, flags, {kPassword, kKuv, kVendor}, {0, 1, -1}};
  }

  void SetMode(DWORD mode) { registry.Local().SetDword(L"ElevationProtectionMode", mode); }
  void SetRdpOnly(DWORD value) { registry.Local().SetDword(L"RdpOnly", value); }
};

constexpr DWORD kAbsent = 77;

struct DecisionRow {
  const char* name;
  DWORD scenario;
  DWORD flags;
  DWORD mode;
  DWORD rdpOnly;
  bool remote;
  Outcome outcome;
  const char* log;  // from the scenario on, without the line of the outcome
};

constexpr DecisionRow kDecisions[] = {
    {"ProtectsLocalLogon", 1, 0, kAbsent, kAbsent, false, Outcome::OnlyAllowed,
     "Debug: Filter usage scenario 1/CPUS_LOGON, flags=0x00000000\n"
     "Info: Local login session\n"
     "Info: Usage scenario 1/CPUS_LOGON supported\n"},
    {"ProtectsRemoteLogon", 2, 0xABCDEF01, 2, kAbsent, true, Outcome::OnlyAllowed,
     "Debug: Filter usage scenario 2/CPUS_UNLOCK_WORKSTATION, flags=0xABCDEF01\n"
     "Info: Remote login session (RDP)\n"
     "Info: Usage scenario 2/CPUS_UNLOCK_WORKSTATION supported\n"},
    {"ProtectsRemoteLogonUnderRdpOnly", 3, 0, kAbsent, 1, true, Outcome::OnlyAllowed,
     "Debug: Filter usage scenario 3/CPUS_CHANGE_PASSWORD, flags=0x00000000\n"
     "Info: Remote login session (RDP)\n"
     "Info: Kuv is configured for RDP only login\n"
     "Info: Usage scenario 3/CPUS_CHANGE_PASSWORD supported\n"},
    {"DisablesKuvAtLocalLogonUnderRdpOnly", 1, 0, kAbsent, 1, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario 1/CPUS_LOGON, flags=0x00000000\n"
     "Info: Local login session\n"
     "Info: Kuv is configured for RDP only login\n"},
    {"LeavesLocalLogonUntouchedUnderElevationOnly", 1, 0, 1, kAbsent, false, Outcome::Untouched,
     "Debug: Filter usage scenario 1/CPUS_LOGON, flags=0x00000000\n"
     "Info: Kuv is configured to not protect logon {logonType: Local}.\n"},
    {"LeavesRemoteLogonUntouchedUnderElevationOnly", 3, 0, 1, 1, true, Outcome::Untouched,
     "Debug: Filter usage scenario 3/CPUS_CHANGE_PASSWORD, flags=0x00000000\n"
     "Info: Kuv is configured to not protect logon {logonType: RDP}.\n"},
    {"ProtectsElevationPrompt", 4, 0x100, 2, kAbsent, false, Outcome::OnlyAllowed,
     "Debug: Filter usage scenario 4/CPUS_CREDUI, flags=0x00000100\n"
     "Info: Usage scenario 4/CPUS_CREDUI supported\n"},
    {"ProtectsLocalElevationPromptUnderRdpOnly", 4, 0xFFFFFFFF, 1, 1, false, Outcome::OnlyAllowed,
     "Debug: Filter usage scenario 4/CPUS_CREDUI, flags=0xFFFFFFFF\n"
     "Info: Usage scenario 4/CPUS_CREDUI supported\n"},
    {"DisablesKuvAtOtherPromptUnderElevationOnly", 4, 0xFFFFFEFF, 1, kAbsent, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario 4/CPUS_CREDUI, flags=0xFFFFFEFF\n"
     "Debug: UAC elevation does not support usage scenario CPUS_CREDUI with flags 0xFFFFFEFF\n"},
    {"DisablesKuvAtOtherPromptUnderLogonAndElevation", 4, 0xFFFFFEFF, 2, kAbsent, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario 4/CPUS_CREDUI, flags=0xFFFFFEFF\n"
     "Debug: UAC elevation does not support usage scenario CPUS_CREDUI with flags 0xFFFFFEFF\n"},
    {"DisablesKuvAtPromptUnderLogonOnly", 4, 0, kAbsent, kAbsent, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario 4/CPUS_CREDUI, flags=0x00000000\n"},
    {"DisablesKuvAtElevationPromptUnderLogonOnly", 4, 0x100, kAbsent, kAbsent, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario 4/CPUS_CREDUI, flags=0x00000100\n"},
    {"DisablesKuvForInvalidScenario", 0, 0x100, kAbsent, kAbsent, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario 0/CPUS_INVALID, flags=0x00000100\n"
     "Debug: Usage scenario 0/CPUS_INVALID not supported\n"},
    {"DisablesKuvForPreLogonAccess", 5, 0x100, kAbsent, kAbsent, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario 5/CPUS_PLAP, flags=0x00000100\n"
     "Debug: Usage scenario 5/CPUS_PLAP not supported\n"},
    {"DisablesKuvForUnknownScenario", 6, 0x100, kAbsent, kAbsent, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario 6/<unknown>, flags=0x00000100\n"
     "Debug: Usage scenario 6/<unknown> not supported\n"},
    {"DisablesKuvForLargestScenario", 0xFFFFFFFF, 0x100, kAbsent, kAbsent, false, Outcome::WithoutKuv,
     "Debug: Filter usage scenario -1/<unknown>, flags=0x00000100\n"
     "Debug: Usage scenario -1/<unknown> not supported\n"},
};

void PrintTo(const DecisionRow& row, std::ostream* out) {
  *out << row.name;
}

// Splits "Debug: text" and "Info: text" lines.
LogLines Parse(const std::string& log) {
  LogLines lines;
  std::istringstream in{log};
  for (std::string line; std::getline(in, line);) {
    lines.push_back({line.starts_with("Debug") ? Debug : Info, line.substr(line.find(": ") + 2)});
  }
  return lines;
}

class FilterDecisionRow : public FilterDecision, public ::testing::WithParamInterface<DecisionRow> {};

INSTANTIATE_TEST_SUITE_P(, FilterDecisionRow, ::testing::ValuesIn(kDecisions),
                         [](const auto& row) { return row.param.name; });

TEST_P(FilterDecisionRow, LeavesFlagsAndLog) {
  const DecisionRow& row = GetParam();
  SetRemote(row.remote);
  if (row.mode != kAbsent) SetMode(row.mode);
  if (row.rdpOnly != kAbsent) SetRdpOnly(row.rdpOnly);
  const LogLines lines = Start() + Parse(row.log);
  const LogLine enabling{Info, "Enabling Kuv and whitelisted Credential Providers"};
  const LogLine disabling{Info, "Disabling Kuv Credential Provider"};
  const FilterCall call = Call(row.scenario, row.flags);
  switch (row.outcome) {
    case Outcome::OnlyAllowed:
      return ExpectDecision(call, kOnlyAllowed, lines + LogLines{enabling}, kOnlyAllowedReport);
    case Outcome::WithoutKuv:
      return ExpectDecision(call, kAllButKuv, lines + LogLines{disabling}, kAllButKuvReport);
    case Outcome::Untouched:
      // The flags as passed produce the same report as the allowed list.
      return ExpectDecision(call, kAsPassed, lines, kOnlyAllowedReport);
  }
}

TEST_F(FilterDecision, RdpOnlyIsOnOnlyIfStoredAsOne) {
  for (const DWORD value : {0u, 2u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(value);
    SetRdpOnly(value);
    EXPECT_EQ(Filter(Call(1)), kOnlyAllowed);
  }
  EXPECT_FALSE(log.Contains("RDP only"));
}

TEST_F(FilterDecision, RdpOnlyOfThePolicyOverridesTheLocalOne) {
  SetRdpOnly(1);
  registry.Policy().SetDword(L"RdpOnly", 0);
  EXPECT_EQ(Filter(Call(1)), kOnlyAllowed);
  registry.Policy().SetText(L"RdpOnly", L"0");
  EXPECT_EQ(Filter(Call(1)), kAllButKuv);
}

TEST_F(FilterDecision, ModeAboveTwoProtectsLogonOnly) {
  for (const DWORD mode : {3u, 4u, 0x80000001u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(mode);
    SetMode(mode);
    EXPECT_EQ(Filter(Call(1)), kOnlyAllowed);
    EXPECT_EQ(Filter(Call(4, 0x100)), kAllButKuv);
  }
  EXPECT_FALSE(log.Contains("UAC elevation"));
}

TEST_F(FilterDecision, ModeIsReadAtEachDecisionAndNotFromTheRecord) {
  GetConfiguration()->ElevationProtectionMode = ElevationProtectionMode::ElevationOnly;
  EXPECT_EQ(Filter(Call(1)), kOnlyAllowed);
  SetMode(1);
  EXPECT_EQ(Filter(Call(1)), kAsPassed);
  registry.Policy().SetDword(L"ElevationProtectionMode", 2);
  EXPECT_EQ(Filter(Call(1)), kOnlyAllowed);
}

TEST_F(FilterDecision, PermitsAllWithoutKuvProvider) {
  *GetConfiguration() = Configuration{};
  for (const DWORD scenario : {0u, 1u, 4u, 5u, 6u}) {
    SCOPED_TRACE(scenario);
    ExpectDecision({scenario, 0x100, {kVendor, kAlmostKuv}, {0, -1}}, {0, -1},
                   {{Trace, "Entering CKuvCredFilter::Filter"},
                    {Debug, "Filter scanning provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}"},
                    {Debug, "Filter scanning provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D419}"},
                    {Error, "Kuv Credential Provider not found. Filter permitting all."}},
                   {{Debug, "Provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9} is DISABLED."},
                    {Debug, "Provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D419} is ENABLED."}});
  }
}

TEST_F(FilterDecision, WarnsOfNoEnabledProviderEvenIfUntouched) {
  ExpectDecision({CPUS_LOGON, 0, {kVendor}, {0}}, {0},
                 {{Trace, "Entering CKuvCredFilter::Filter"},
                  {Debug, "Filter scanning provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}"},
                  {Error, "Kuv Credential Provider not found. Filter permitting all."}},
                 {{Debug, "Provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9} is DISABLED."},
                  {Warning, "No providers enabled!"}});
}

TEST_F(FilterDecision, ScanStopsAtTheFirstKuvProvider) {
  Configure();
  for (const char* const first : {kKuv, kKuvSmartCard}) {
    SCOPED_TRACE(first);
    log.Clear();
    Filter({.providers = {kPassword, first, kVendor, kKuv, kKuvSmartCard}});
    const LogLines lines = log.Lines();
    ASSERT_GT(lines.size(), 4u);
    EXPECT_EQ(LogLines(lines.begin(), lines.begin() + 4),
              (LogLines{{Trace, "Entering CKuvCredFilter::Filter"},
                        {Debug, "Filter scanning provider {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"},
                        {Debug, std::string{"Filter scanning provider "} + first},
                        {Debug, "Whitelisted provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"}}));
  }
}

TEST_F(FilterDecision, SmartCardProviderAloneCountsAsInstalled) {
  Configure();
  EXPECT_EQ(Filter({.providers = {kPassword, kKuvSmartCard}}), (Flags{0, 0}));
  EXPECT_EQ(Filter({.scenario = CPUS_PLAP, .providers = {kPassword, kKuvSmartCard}}), (Flags{1, 0}));
  GetConfiguration()->EnableSmartCards = true;
  GetConfiguration()->WrapSmartCards = true;
  EXPECT_EQ(Filter({.providers = {kPassword, kKuvSmartCard}}), (Flags{0, 1}));
}

TEST_F(FilterDecision, WarnsIfOnlyKuvProvidersExistAndAreDisabled) {
  Configure();
  ExpectDecision({CPUS_PLAP, 0, {kKuv, kKuvSmartCard}, {1, 1}}, {0, 0},
                 {{Trace, "Entering CKuvCredFilter::Filter"},
                  {Debug, "Filter scanning provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"},
                  {Debug, "Whitelisted provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"},
                  {Debug, "Filter usage scenario 5/CPUS_PLAP, flags=0x00000000"},
                  {Debug, "Usage scenario 5/CPUS_PLAP not supported"},
                  {Info, "Disabling Kuv Credential Provider"}},
                 {{Debug, "Provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} is DISABLED."},
                  {Debug, "Provider {C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8} is DISABLED."},
                  {Warning, "No providers enabled!"}});
}

TEST_F(FilterDecision, ReportsAnyNonzeroFlagAsEnabled) {
  SetMode(1);
  for (const BOOL flag : {1, 2, 7, -1}) {
    SCOPED_TRACE(flag);
    log.Clear();
    Filter({.providers = {kKuv}, .allow = {flag}});
    EXPECT_EQ(log.Lines().back(),
              (LogLine{Debug, "Provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} is ENABLED."}));
  }
}

TEST_F(FilterDecision, DisablesKuvIfTheSettingsCannotBeLoaded) {
  *GetConfiguration() = Configuration{};
  for (const DWORD scenario : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(scenario);
    ExpectDecision(
        Call(scenario, 0x100), kAllButKuv,
        {{Trace, "Entering CKuvCredFilter::Filter"},
         {Debug, "Filter scanning provider {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"},
         {Debug, "Filter scanning provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"},
         {Error,
          "Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings."},
         {Error, "Filter encountered an exception. 'Filter unable to load Kuv configuration"},
         {Info, "Disabling Kuv Credential Provider"}},
        kAllButKuvReport);
  }
}

TEST_F(FilterDecision, LoadsTheSettingsOnFirstUse) {
  *GetConfiguration() = Configuration{};
  registry.Local().SetText(L"Host", L"Host.Example");
  registry.Local().SetText(L"IKey", L"ikey");
  registry.Local().SetText(L"SKey", L"secret");
  registry.Local().SetTexts(L"ProvidersWhitelist", {L"{0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}", L"none"});
  EXPECT_EQ(Filter(Call(1)), kOnlyAllowed);
  EXPECT_EQ(log.Lines(),
            (LogLines{{Trace, "Entering CKuvCredFilter::Filter"},
                      {Debug, "Filter scanning provider {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"},
                      {Debug, "Filter scanning provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"},
                      {Info, "Host: host.example"},
                      {Info, "IKey: ikey"},
                      {Info, "Found whitelist registry key, replacing default whitelisted providers."},
                      {Info, "Adding provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9} to the WhiteList"},
                      {Info, "Ignored invalid whitelist: none"},
                      {Debug, "Whitelisted provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}"},
                      {Debug, "Whitelisted provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"},
                      {Debug, "Filter usage scenario 1/CPUS_LOGON, flags=0x00000000"},
                      {Info, "Local login session"},
                      {Info, "Usage scenario 1/CPUS_LOGON supported"},
                      {Info, "Enabling Kuv and whitelisted Credential Providers"}}) +
                kOnlyAllowedReport);
  EXPECT_FALSE(log.Contains("secret"));
}

TEST_F(FilterDecision, ListsTheSmartCardProviderAfterTheKuvProvider) {
  GetConfiguration()->EnableSmartCards = true;
  GetConfiguration()->WrapSmartCards = true;
  EXPECT_EQ(Filter({.providers = {kKuv, kKuvSmartCard, kSmartCard}}), (Flags{1, 1, 0}));
  const LogLines lines = log.Lines();
  ASSERT_GT(lines.size(), 5u);
  EXPECT_EQ(LogLines(lines.begin() + 2, lines.begin() + 5),
            (LogLines{{Debug, "Whitelisted provider {0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}"},
                      {Debug, "Whitelisted provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"},
                      {Debug, "Whitelisted provider {C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}"}}));
}

TEST_F(FilterDecision, DisablesKuvAtAnyStandardException) {
  metrics.Answer([](int) -> int { throw std::out_of_range{"example"}; });
  ExpectDecision(Call(1), kAllButKuv,
                 Start() + LogLines{{Debug, "Filter usage scenario 1/CPUS_LOGON, flags=0x00000000"},
                                    {Error, "Filter encountered an exception. 'example"},
                                    {Info, "Disabling Kuv Credential Provider"}},
                 kAllButKuvReport);
}

TEST_F(FilterDecision, LetsOtherExceptionsThrough) {
  metrics.Answer([](int) -> int { throw 5; });
  EXPECT_THROW(Filter(Call(1)), int);
  EXPECT_EQ(log.Lines(),
            (Start() + LogLines{{Debug, "Filter usage scenario 1/CPUS_LOGON, flags=0x00000000"}}));
}

TEST_F(FilterDecision, NeedsNoLog) {
  g_logSystem = nullptr;
  EXPECT_EQ(Filter(Call(1)), kOnlyAllowed);
  EXPECT_EQ(Filter(Call(5)), kAllButKuv);
  *GetConfiguration() = Configuration{};
  EXPECT_EQ(Filter(Call(1)), kAllButKuv);
}

TEST_F(FilterDecision, WritesEmptyIdentifierIfThePlatformFormatsNone) {
  KUV_IMPORT_HOOK(convert, StringFromGUID2);
  convert.Answer([](const GUID&, wchar_t*, int) { return 0; });
  EXPECT_EQ(Filter(Call(5)), kAllButKuv);
  EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Entering CKuvCredFilter::Filter"},
                                   {Debug, "Filter scanning provider "},
                                   {Debug, "Filter scanning provider "},
                                   {Debug, "Whitelisted provider "},
                                   {Debug, "Whitelisted provider "},
                                   {Debug, "Filter usage scenario 5/CPUS_PLAP, flags=0x00000000"},
                                   {Debug, "Usage scenario 5/CPUS_PLAP not supported"},
                                   {Info, "Disabling Kuv Credential Provider"},
                                   {Debug, "Provider  is ENABLED."},
                                   {Debug, "Provider  is DISABLED."},
                                   {Debug, "Provider  is ENABLED."}}));
}

TEST_F(FilterDecision, OneObjectServesAnyNumberOfCalls) {
  EXPECT_EQ(Filter(Call(1)), kOnlyAllowed);
  EXPECT_EQ(Filter(Call(5)), kAllButKuv);
  SetMode(1);
  EXPECT_EQ(Filter(Call(1)), kAsPassed);
  EXPECT_EQ(Filter(Call(4, 0x100)), kOnlyAllowed);
}

}  // namespace
