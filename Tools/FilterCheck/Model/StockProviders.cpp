#include "FilterCheck/Model/StockProviders.h"

#include <algorithm>
#include <iterator>

#include "Common/Identifier.h"
#include "KuvCredFilter/AllowedProviders.h"
#include "KuvCredFilter/Identifiers.h"

namespace FilterCheck {

namespace {

struct StockProvider {
  std::string_view identifier;
  std::string_view name;
  Asks asks;
};

// The credential providers of Windows. Docs/FilterCheck.md lists the source of each.
constexpr StockProvider kStockProviders[] = {
    {"{01A30791-40AE-4653-AB2E-FD210019AE88}", "Automatic Redeployment", Asks::Unknown},
    {"{07AA0886-CC8D-4E19-A410-1C75AF686E62}", "Network sign-in (802.1X)", Asks::Unknown},
    {"{1B283861-754F-4022-AD47-A5EAAA618894}", "Smart card reader selection", Asks::Possession},
    {"{1EE7337F-85AC-45E2-A23C-37C753209769}", "Smart card (apps)", Asks::Possession},
    {"{2135F72A-90B5-4ED3-A7F1-8BB705AC276A}", "Picture password", Asks::Password},
    {"{25CBB996-92ED-457E-B28C-4774084BD562}", "Generic credentials", Asks::Unknown},
    {"{27FBDB57-B613-4AF2-9D7E-4FA7A66C21AD}", "Trusted signal", Asks::Unknown},
    {"{33C86CD6-705F-4BA1-9ADB-67070B837775}", "Network sign-in (802.1X) with a smart card",
     Asks::Possession},
    {"{3DD6BEC0-8193-4FFE-AE25-E08E39EA4063}", "Network provider", Asks::Unknown},
    {"{48B4E58D-2791-456C-9091-D524C6C706F2}", "Companion device", Asks::Possession},
    {"{503739D0-4C5E-4CFD-B3BA-D881334F0DF2}", "Credential vault", Asks::Unknown},
    {"{5537E283-B1E7-4EF8-9C6E-7AB0AFE5056D}", "Dial-up and VPN before sign-in", Asks::Unknown},
    {"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", "Password", Asks::Password},
    {"{6F45DC1E-5384-457A-BC13-2CD81B0D28ED}", "Password (Windows 7 and earlier)", Asks::Password},
    {"{8AF662BF-65A0-4D0A-A540-A338A999D36F}", "Face (Windows Hello)", Asks::Possession},
    {"{8BF9A910-A8FF-457F-999F-A5CA10B4A885}", "Smart card (Windows 7 and earlier)", Asks::Possession},
    {"{8FD7E19C-3BF7-489B-A72C-846AB3678C96}", "Smart card", Asks::Possession},
    {"{94596C7E-3744-41CE-893E-BBF09122F76A}", "Smart card PIN", Asks::Possession},
    {"{BEC09223-B018-416D-A0AC-523971B639F5}", "Fingerprint (Windows Hello)", Asks::Possession},
    {"{C5D7540A-CD51-453B-B22B-05305BA03F07}", "Cloud experience", Asks::Password},
    {"{C885AA15-1764-4293-B82A-0586ADD46B35}", "Iris (Windows Hello)", Asks::Possession},
    {"{CB82EA12-9F71-446D-89E1-8D0924E1256E}", "PIN", Asks::Password},
    {"{D6886603-9D2F-4EB2-B667-1971041FA96B}", "PIN (Windows Hello)", Asks::Possession},
    {"{E74E57B0-6C6D-44D5-9CDA-FB2DF5ED7435}", "Certificate", Asks::Unknown},
    {"{F64945DF-4FA9-4068-A2FB-61AF319EDD33}", "Remote Desktop", Asks::Unknown},
    {"{F8A0B131-5F68-486C-8040-7E8FC3C85BB6}", "Microsoft account", Asks::Password},
    {"{F8A1793B-7873-4046-B2A7-1F318747F427}", "Security key (FIDO)", Asks::Possession},
};

const StockProvider* Find(const GUID& provider) {
  const std::string identifier = Tools::IdentifierText(provider);
  const auto* const found =
      std::find_if(std::begin(kStockProviders), std::end(kStockProviders),
                   [&](const StockProvider& row) { return row.identifier == identifier; });
  return found == std::end(kStockProviders) ? nullptr : found;
}

}  // namespace

std::string_view StockProviderName(const GUID& provider) {
  if (provider == CLSID_KuvCredProv) return "Kuv second factor";
  if (provider == CLSID_KuvSmartCardCredProv) return "Kuv second factor with a smart card";
  const StockProvider* const stock = Find(provider);
  return stock == nullptr ? std::string_view{} : stock->name;
}

Asks AskedBy(const GUID& provider) {
  if (IsKuvProvider(provider)) return Asks::SecondFactor;
  const StockProvider* const stock = Find(provider);
  return stock == nullptr ? Asks::Unknown : stock->asks;
}

std::string_view TextOf(Asks asks) noexcept {
  constexpr std::string_view kTexts[] = {"unknown credentials", "a password", "something the user has",
                                         "the second factor"};
  return kTexts[static_cast<std::size_t>(asks)];
}

}  // namespace FilterCheck
