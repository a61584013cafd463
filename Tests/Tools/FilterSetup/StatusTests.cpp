// The command "status".
#include <windows.h>

#include <memory>

#include <gmock/gmock.h>
#include <json/json.h>

#include "Tools/FilterSetup/SetupFixture.h"

namespace {

using namespace KuvTest;
using ::testing::HasSubstr;

class SetupStatus : public SetupFixture {
 protected:
  static Json::Value Parse(const std::string& text) {
    Json::Value value;
    std::string errors;
    const Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader{builder.newCharReader()};
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
    return value;
  }

  static void Enable() {
    TestKey{HKEY_LOCAL_MACHINE, Wide(kFilterKey)}.Create();
    TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\CLSID\\" + kFilterClassText + L"\\InprocServer32"}
        .SetText(L"", L"C:\\KuvCredFilter.dll");
  }
};

TEST_F(SetupStatus, ShowsWhatPrepareWouldChange) {
  registry.Local().Delete();
  Enable();
  const std::string before = Snapshot();
  const SetupRun run = RunSetup({L"status"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out,
            Shown(Folder()) + ": would be created for SYSTEM and Administrators only\n" +
                "HKLM\\Software\\Kuvant\\KuvCredProv: would be created for SYSTEM and Administrators "
                "only\n"
                "filter for 64-bit programs: enabled\n"
                "filter for 32-bit programs: not enabled, and its class is not registered\n");
  EXPECT_EQ(Snapshot(), before);
  EXPECT_TRUE(appData.Names().empty());
}

TEST_F(SetupStatus, ReportsThatNothingWouldChange) {
  MakeFolder(kProtectedFolder);
  EXPECT_THAT(RunSetup({L"status"}).out, testing::StartsWith("nothing to change\nfilter for 64-bit"));
  const Json::Value status = Parse(RunSetup({L"status", L"--json"}).out);
  EXPECT_TRUE(status["changes"].isArray());
  EXPECT_TRUE(status["changes"].empty());
}

TEST_F(SetupStatus, WritesJson) {
  registry.Local().Delete();
  MakeFolder(kUsersFolder);
  Enable();
  const SetupRun run = RunSetup({L"status", L"--json"});
  EXPECT_EQ(run.exitCode, 0);
  const Json::Value status = Parse(run.out);
  ASSERT_EQ(status["changes"].size(), 3u);
  EXPECT_EQ(status["changes"][0]["subject"], Shown(Folder()));
  EXPECT_THAT(status["changes"][0]["change"].asString(), testing::StartsWith("moved to "));
  EXPECT_EQ(status["changes"][2]["subject"], "HKLM\\Software\\Kuvant\\KuvCredProv");
  EXPECT_EQ(status["changes"][2]["change"], "created for SYSTEM and Administrators only");
  EXPECT_TRUE(status["failures"].empty());
  ASSERT_EQ(status["filter"].size(), 2u);
  EXPECT_EQ(status["filter"][0]["wow64"], false);
  EXPECT_EQ(status["filter"][0]["enabled"], true);
  EXPECT_EQ(status["filter"][0]["registered"], true);
  EXPECT_EQ(status["filter"][1]["wow64"], true);
  EXPECT_EQ(status["filter"][1]["enabled"], false);
  EXPECT_EQ(status["filter"][1]["registered"], false);
  EXPECT_EQ(status.getMemberNames(), (std::vector<std::string>{"changes", "failures", "filter"}));
}

TEST_F(SetupStatus, ReportsWhatCannotBePrepared) {
  MakeFolder(kProtectedFolder);
  getSecurity.Answer([](auto, auto, auto, auto, auto, auto, auto, auto) { return ERROR_ACCESS_DENIED; });
  const SetupRun run = RunSetup({L"status", L"--json"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("cannot read the access list: "));
  const Json::Value status = Parse(run.out);
  ASSERT_EQ(status["failures"].size(), 3u);
  EXPECT_EQ(status["failures"][0]["subject"], Shown(Folder()));
  EXPECT_THAT(status["failures"][0]["reason"].asString(), testing::EndsWith("(error 5)"));
}

}  // namespace
