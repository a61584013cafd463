#include "KuvAuth/ServiceClient/ServiceVocabulary.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

using namespace Kuv::Util;

// A value with its text in the service protocol.
template <typename Enumeration>
struct Word {
  Enumeration constant;
  std::int32_t value;
  const char* text;
};

constexpr Word<AuthFactor> kFactors[] = {
    {AuthFactor::Auto, 0, "auto"}, {AuthFactor::Passcode, 1, "passcode"}, {AuthFactor::Phone, 2, "phone"},
    {AuthFactor::Push, 3, "push"}, {AuthFactor::Sms, 4, "sms"},
};

constexpr Word<AuthResult> kResults[] = {
    {AuthResult::Allow, 0, "allow"},   {AuthResult::Auth, 1, "auth"},       {AuthResult::Deny, 2, "deny"},
    {AuthResult::Enroll, 3, "enroll"}, {AuthResult::Waiting, 4, "waiting"},
};

constexpr Word<AuthStatus> kStatuses[] = {
    {AuthStatus::Allow, 0, "allow"},
    {AuthStatus::Answered, 1, "answered"},
    {AuthStatus::Bypass, 2, "bypass"},
    {AuthStatus::Calling, 3, "calling"},
    {AuthStatus::Deny, 4, "deny"},
    {AuthStatus::Fraud, 5, "fraud"},
    {AuthStatus::LockedOut, 6, "locked_out"},
    {AuthStatus::Pushed, 7, "pushed"},
    {AuthStatus::PushFailed, 8, "push_failed"},
    {AuthStatus::Timeout, 9, "timeout"},
    {AuthStatus::Sent, 10, "sent"},
};

// Each word converts in both directions, and no other number or text does.
template <typename Enumeration, std::size_t Count>
void ExpectWords(const Word<Enumeration> (&words)[Count], std::string (*toText)(Enumeration),
                 Enumeration (*fromText)(const std::string&), std::initializer_list<std::string> unknown) {
  for (const Word<Enumeration>& word : words) {
    SCOPED_TRACE(word.text);
    EXPECT_EQ(static_cast<std::int32_t>(word.constant), word.value);
    EXPECT_EQ(toText(word.constant), word.text);
    EXPECT_EQ(fromText(word.text), word.constant);
  }
  for (const std::int32_t value :
       {static_cast<std::int32_t>(Count), -1, std::numeric_limits<std::int32_t>::max(),
        std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_EQ(toText(static_cast<Enumeration>(value)), "") << value;
  }
  for (const std::string& text : unknown) EXPECT_EQ(static_cast<std::int32_t>(fromText(text)), -1) << text;
}

TEST(ServiceVocabulary, ConvertsFactors) {
  ExpectWords(kFactors, AuthFactorToString, AuthFactorFromString,
              {"Push", " push", "push ", "", "pus", "pushed", "deny", std::string("sms\0", 4)});
}

TEST(ServiceVocabulary, ConvertsResults) {
  ExpectWords(kResults, AuthResultToString, AuthResultFromString,
              {"Allow", " allow", "deny ", "", "answered", "enrol"});
}

TEST(ServiceVocabulary, ConvertsStatuses) {
  ExpectWords(kStatuses, AuthStatusToString, AuthStatusFromString,
              {"Sent", " sent", "timeout ", "", "push", "lockedout", "waiting"});
}

TEST(ServiceVocabulary, NamesTheUnknownWords) {
  EXPECT_EQ(static_cast<std::int32_t>(AuthFactorUnknown), -1);
  EXPECT_EQ(static_cast<std::int32_t>(AuthResultUnknown), -1);
  EXPECT_EQ(static_cast<std::int32_t>(AuthStatusUnknown), -1);
  EXPECT_EQ(AuthFactorFromString("fax"), AuthFactorUnknown);
  EXPECT_EQ(AuthResultFromString("perhaps"), AuthResultUnknown);
  EXPECT_EQ(AuthStatusFromString("lost"), AuthStatusUnknown);
}

}  // namespace
