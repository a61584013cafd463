#include <string>

#include <gtest/gtest.h>

#include "Common/Identifier.h"
#include "FilterCheck/Model/StockProviders.h"

namespace {

std::string NameOf(const char* identifier) {
  return std::string{FilterCheck::StockProviderName(Tools::ParseIdentifier(identifier).value())};
}

TEST(StockProviders, HaveNames) {
  constexpr const char* kStock[][2] = {
      {"{01A30791-40AE-4653-AB2E-FD210019AE88}", "Automatic Redeployment"},
      {"{1b283861-754f-4022-ad47-a5eaaa618894}", "Smart card reader selection"},
      {"{2135f72a-90b5-4ed3-a7f1-8bb705ac276a}", "Picture password"},
      {"{25cbb996-92ed-457e-b28c-4774084bd562}", "Generic credentials"},
      {"{3dd6bec0-8193-4ffe-ae25-e08e39ea4063}", "Network provider"},
      {"{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}", "Password"},
      {"{8af662bf-65a0-4d0a-a540-a338a999d36f}", "Face (Windows Hello)"},
      {"{8bf9a910-a8ff-457f-999f-a5ca10b4a885}", "Smart card (Windows 7 and earlier)"},
      {"{8fd7e19c-3bf7-489b-a72c-846ab3678c96}", "Smart card"},
      {"{94596c7e-3744-41ce-893e-bbf09122f76a}", "Smart card PIN"},
      {"{bec09223-b018-416d-a0ac-523971b639f5}", "Fingerprint (Windows Hello)"},
      {"{c5d7540a-cd51-453b-b22b-05305ba03f07}", "Cloud experience"},
      {"{cb82ea12-9f71-446d-89e1-8d0924e1256e}", "PIN"},
      {"{d6886603-9d2f-4eb2-b667-1971041fa96b}", "PIN (Windows Hello)"},
      {"{f8a0b131-5f68-486c-8040-7e8fc3c85bb6}", "Microsoft account"},
      {"{f8a1793b-7873-4046-b2a7-1f318747f427}", "Security key (FIDO)"},
      {"{07aa0886-cc8d-4e19-a410-1c75af686e62}", "Network sign-in (802.1X)"},
      {"{1ee7337f-85ac-45e2-a23c-37c753209769}", "Smart card (apps)"},
      {"{27fbdb57-b613-4af2-9d7e-4fa7a66c21ad}", "Trusted signal"},
      {"{33c86cd6-705f-4ba1-9adb-67070b837775}", "Network sign-in (802.1X) with a smart card"},
      {"{48b4e58d-2791-456c-9091-d524c6c706f2}", "Companion device"},
      {"{503739d0-4c5e-4cfd-b3ba-d881334f0df2}", "Credential vault"},
      {"{5537e283-b1e7-4ef8-9c6e-7ab0afe5056d}", "Dial-up and VPN before sign-in"},
      {"{6f45dc1e-5384-457a-bc13-2cd81b0d28ed}", "Password (Windows 7 and earlier)"},
      {"{c885aa15-1764-4293-b82a-0586add46b35}", "Iris (Windows Hello)"},
      {"{e74e57b0-6c6d-44d5-9cda-fb2df5ed7435}", "Certificate"},
      {"{f64945df-4fa9-4068-a2fb-61af319edd33}", "Remote Desktop"},
      {"{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}", "Kuv second factor"},
      {"{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}", "Kuv second factor with a smart card"},
  };
  for (const auto& [identifier, name] : kStock) EXPECT_EQ(NameOf(identifier), name) << identifier;
}

TEST(StockProviders, AskForWhatTheirNamesSay) {
  using FilterCheck::Asks;
  const auto askedBy = [](const char* identifier) {
    return FilterCheck::AskedBy(Tools::ParseIdentifier(identifier).value());
  };
  EXPECT_EQ(askedBy("{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"), Asks::SecondFactor);
  EXPECT_EQ(askedBy("{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}"), Asks::SecondFactor);
  EXPECT_EQ(askedBy("{8AF662BF-65A0-4D0A-A540-A338A999D36F}"), Asks::Possession);
  EXPECT_EQ(askedBy("{2135F72A-90B5-4ED3-A7F1-8BB705AC276A}"), Asks::Password);
  EXPECT_EQ(askedBy("{07AA0886-CC8D-4E19-A410-1C75AF686E62}"), Asks::Unknown);
  EXPECT_EQ(askedBy("{11111111-2222-3333-4444-555555555555}"), Asks::Unknown);
}

TEST(StockProviders, ExcludeOtherIdentifiers) {
  EXPECT_EQ(NameOf("{11111111-2222-3333-4444-555555555555}"), "");
  EXPECT_EQ(NameOf("{60b78e88-ead8-445c-9cfd-0b87f74ea6ce}"), "");
}

}  // namespace
