#include "FilterCheck/StockProviders.h"

#include <string>

#include <gtest/gtest.h>

#include "FilterHost/Identifier.h"

namespace {

std::string NameOf(const char* identifier) {
  return std::string{FilterCheck::StockProviderName(FilterHost::ParseIdentifier(identifier).value())};
}

TEST(StockProviders, AreKnownByTheirPublicIdentifiers) {
  constexpr const char* kStock[][2] = {
      {"{01A30791-40AE-4653-AB2E-FD210019AE88}", "Automatic Redeployment"},
      {"{1b283861-754f-4022-ad47-a5eaaa618894}", "Smart card reader selection"},
      {"{2135f72a-90b5-4ed3-a7f1-8bb705ac276a}", "Picture password"},
      {"{25cbb996-92ed-457e-b28c-4774084bd562}", "Generic credentials"},
      {"{3dd6bec0-8193-4ffe-ae25-e08e39ea4063}", "Network provider"},
      {"{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}", "Password"},
      {"{8af662bf-65a0-4d0a-a540-a338a999d36f}", "Face (Windows Hello)"},
      {"{8bf9a910-a8ff-457f-999f-a5ca10b4a885}", "Smart card (Windows 7 and before)"},
      {"{8fd7e19c-3bf7-489b-a72c-846ab3678c96}", "Smart card"},
      {"{94596c7e-3744-41ce-893e-bbf09122f76a}", "Smart card PIN"},
      {"{bec09223-b018-416d-a0ac-523971b639f5}", "Fingerprint (Windows Hello)"},
      {"{c5d7540a-cd51-453b-b22b-05305ba03f07}", "Cloud experience"},
      {"{cb82ea12-9f71-446d-89e1-8d0924e1256e}", "PIN"},
      {"{d6886603-9d2f-4eb2-b667-1971041fa96b}", "PIN (Windows Hello)"},
      {"{f8a0b131-5f68-486c-8040-7e8fc3c85bb6}", "Microsoft account"},
      {"{f8a1793b-7873-4046-b2a7-1f318747f427}", "Security key (FIDO)"},
      {"{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}", "Kuv second factor"},
      {"{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}", "Kuv second factor with a smart card"},
  };
  for (const auto& [identifier, name] : kStock) EXPECT_EQ(NameOf(identifier), name) << identifier;
}

TEST(StockProviders, OthersHaveNoName) {
  EXPECT_EQ(NameOf("{11111111-2222-3333-4444-555555555555}"), "");
  EXPECT_EQ(NameOf("{60b78e88-ead8-445c-9cfd-0b87f74ea6ce}"), "");
}

}  // namespace
