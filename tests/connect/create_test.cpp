// Creating databases: the derived file name and the texts built apart, then
// file databases made for real in a directory of the test's own.
#include "zmdb/connect/create.h"

#include <gtest/gtest.h>

#include <fstream>

#include "component_fixture.h"
#include "zmdb/frame/methods.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

TEST(LocaleWithPassword, AddsThePasswordOnlyWhenGiven) {
  EXPECT_EQ(connect::LocaleWithPassword(connect::kDefaultCreateLocale, ""),
            ";LANGID=0x0804;CP=936;COUNTRY=0");
  EXPECT_EQ(connect::LocaleWithPassword(";LANGID=0x0409", "s3"), ";LANGID=0x0409;pwd=s3");
}

// The refused names themselves are tried through the server creation.
TEST(SystemDatabaseNames, NearMissesAreNotSystemNames) {
  for (const char* name : {"", "masters", "master ", "tempdb2", "Sales", "pub", "ｍaster"}) {
    EXPECT_FALSE(connect::IsSystemDatabaseName(name)) << name;
  }
}

class CreateDatabaseTest : public ComponentTest {
 protected:
  std::string PathOf(const std::string& name) const { return (dir_ / name).string(); }
  static void Touch(const std::string& path) { std::ofstream(path) << "not a database"; }
  bool IsDatabase(const std::string& path) {
    return obj_->dbOpenDateBase(path, "") && obj_->dbCloseConnect(true);
  }
  std::string DefaultDatabaseName() {
    return rt::CStr(rt::GetProp(Variant(frame::Library().defaultDatabase), "Name"));
  }
};

TEST_F(CreateDatabaseTest, AnAbsentFileIsCreatedAndBecomesTheDefaultDatabaseUntilClosed) {
  const std::string path = PathOf("new.mdb");
  std::string used = "stale";
  ASSERT_TRUE(obj_->dbCreateDBItem(path, "", used)) << obj_->dbGetLastError().Description;
  EXPECT_EQ(used, path);
  EXPECT_EQ(DefaultDatabaseName(), path);
  // The new database is usable and is the one two-store methods work on.
  rt::CallMethod(Variant(frame::Library().defaultDatabase), "Execute",
                 {Variant("CREATE TABLE Orders (ID LONG)")});
  EXPECT_TRUE(obj_->dbTableExists("Orders"));
  // Closing it closes the object and drops the default; with none left, a
  // second close is error 91 (a session case checks its text).
  const rt::ObjectRef db = frame::Library().defaultDatabase;
  EXPECT_TRUE(obj_->dbCloseDBItem());
  EXPECT_EQ(frame::Library().defaultDatabase, nullptr);
  EXPECT_THROW(rt::GetProp(Variant(db), "TableDefs"), rt::PlatformError);
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  EXPECT_FALSE(obj_->dbCloseDBItem());
  EXPECT_EQ(obj_->dbGetLastError().Number, 91);
  EXPECT_TRUE(IsDatabase(path));
  EXPECT_TRUE(host_->shown().empty());
  EXPECT_EQ(host_->pointerHistory(), (std::vector<int>{rt::kPointerHourglass, 0}));
}

// A clash with an existing file: the derived name (a "1" before the first
// point of the path) is used only where a file of that name was there to be
// replaced; otherwise error 53 ends the call.
TEST_F(CreateDatabaseTest, AClashUsesTheDerivedNameOnlyWhenThatFileExists) {
  struct Case {
    const char* file;     // inside the test directory, whose path has no point
    const char* derived;  // the name used
    bool derivedExists;
  };
  const Case cases[] = {
      {"plain/a.mdb", "plain/a1.mdb", true},
      {"plain/b.mdb", "plain/b1.mdb", false},
      {"v1.2/a.mdb", "v11.2/a.mdb", true},  // the folder's point counts
      {"nopoint/store", "nopoint/store1", true},
      {"multi/a.b.mdb", "multi/a1.b.mdb", true},  // only the first point counts
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    frame::Library() = frame::LibraryState();
    obj_->dbClearError();
    const std::string path = PathOf(c.file);
    const std::string derived = PathOf(c.derived);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    Touch(path);
    if (c.derivedExists) {
      std::filesystem::create_directories(std::filesystem::path(derived).parent_path());
      Touch(derived);
    }
    std::string used;
    const bool made = obj_->dbCreateDBItem(path, "", used);
    EXPECT_EQ(used, derived);
    EXPECT_EQ(made, c.derivedExists);
    if (c.derivedExists) {
      EXPECT_EQ(DefaultDatabaseName(), derived);
      EXPECT_TRUE(obj_->dbCloseDBItem());
      EXPECT_TRUE(IsDatabase(derived));
    } else {
      EXPECT_EQ(obj_->dbGetLastError().Number, 53);
      EXPECT_EQ(obj_->dbGetLastError().Description, "File not found");
      EXPECT_EQ(frame::Library().defaultDatabase, nullptr);
      EXPECT_FALSE(std::filesystem::exists(derived));
    }
    EXPECT_FALSE(IsDatabase(path));  // the existing file is left as it was
    EXPECT_EQ(host_->MousePointer(), 0);
  }
  EXPECT_TRUE(host_->shown().empty());  // no warning without fbMsgWarn
}

// The warning box, answered OK (the call ends with False and an empty last
// error) or Cancel (the call goes on and replaces the derived file).
TEST_F(CreateDatabaseTest, TheWarningAnsweredOkOrCancel) {
  struct Case {
    int answer;
    bool made;
  };
  const std::string path = PathOf("a.mdb");
  const std::string derived = PathOf("a1.mdb");
  Touch(path);
  for (const Case& c : {Case{rt::mb::kOK, false}, Case{rt::mb::kCancel, true}}) {
    SCOPED_TRACE(c.answer);
    Touch(derived);
    host_->ClearRecord();
    host_->ScriptAnswers({c.answer});
    obj_->dbSetAppTitle("进销存");
    // A previous failure, so that OK visibly overwrites the last error.
    EXPECT_FALSE(obj_->dbCloseDBItem());
    ASSERT_EQ(obj_->dbGetLastError().Number, 91);
    std::string used;
    EXPECT_EQ(obj_->dbCreateDBItem(path, "", used, true), c.made);
    EXPECT_EQ(used, derived);
    ASSERT_EQ(host_->shown().size(), 1u);
    EXPECT_EQ(host_->shown()[0].prompt, "数据库文件" + path + "已经存在,将建立名为" + derived +
                                            "的数据库,建立成功后请退出本程序,将新建数据库名改为 " +
                                            path);
    EXPECT_EQ(host_->shown()[0].buttons, rt::mb::kOKCancel);
    EXPECT_EQ(host_->shown()[0].title, "进销存");
    // OK leaves through the handler with no error: the last error is emptied.
    EXPECT_EQ(obj_->dbGetLastError().Number, c.made ? 91 : 0);
    EXPECT_EQ(IsDatabase(derived), c.made);
    EXPECT_EQ(host_->MousePointer(), 0);
  }
  rt::SetAppTitle("ZMDBFuncProj");
}

TEST_F(CreateDatabaseTest, AFailureInTheEngineIsRecordedAndDropsTheDefaultConnection) {
  ASSERT_TRUE(obj_->dbSetConnect(cn_->ConnectionString(), false));
  obj_->dbSetDebug(true);
  std::string used;
  // A folder that does not exist: the engine cannot make the file.
  EXPECT_FALSE(obj_->dbCreateDBItem(PathOf("missing/new.mdb"), "", used));
  EXPECT_EQ(obj_->dbGetLastError().Number, 3044);
  EXPECT_EQ(
      obj_->dbGetLastError().Description.find("'" + PathOf("missing") + "' is not a valid path"),
      0u);
  EXPECT_EQ(obj_->dbGetConnect(false), nullptr);
  ASSERT_EQ(host_->shown().size(), 1u);
  EXPECT_EQ(host_->shown()[0].title, "DebugMode");
  EXPECT_EQ(host_->MousePointer(), 0);
}

TEST_F(CreateDatabaseTest, CatalogueCreationAnswersWhetherEveryStepSucceeded) {
  const std::string path = PathOf("adox.mdb");
  obj_->dbClearError();
  EXPECT_TRUE(obj_->dbCreateDBADOX(path));
  EXPECT_TRUE(IsDatabase(path));
  EXPECT_EQ(frame::Library().defaultDatabase, nullptr);  // not touched
  // An existing file, and a folder that does not exist: False, nothing recorded.
  EXPECT_FALSE(obj_->dbCreateDBADOX(path));
  EXPECT_FALSE(obj_->dbCreateDBADOX(PathOf("missing/adox.mdb")));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  EXPECT_TRUE(host_->shown().empty());
}

TEST_F(CreateDatabaseTest, LateBoundCallsWriteTheFileNameBack) {
  const std::string path = PathOf("late.mdb");
  Touch(path);
  Touch(PathOf("late1.mdb"));
  const frame::MethodSpec* method = frame::FindMethod("dbCreateDBItem");
  ASSERT_NE(method, nullptr);
  std::vector<Variant> args = frame::PrepareArguments(*method, {Variant(path)});
  EXPECT_TRUE(rt::CBool(frame::Invoke(*obj_, *method, args))) << obj_->dbGetLastError().Description;
  EXPECT_EQ(rt::CStr(args[2]), PathOf("late1.mdb"));
}

}  // namespace
}  // namespace zmdb::testing
