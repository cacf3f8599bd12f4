// Connections on the file store: opening, statements, errors,
// transactions, schema rowsets and two connections sharing one file.
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

#include "file_store_fixture.h"
#include "zmdb/dal/ado.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

using ConnectionTest = FileStoreTest;

// While it lives, this thread is held to file permissions as any user is:
// the capability that lets root write what it may not is out of its
// effective set (and back afterwards). Without the capability it does nothing.
class HeldToPermissions {
 public:
  HeldToPermissions() {
    if (syscall(SYS_capget, &head_, saved_) != 0) return;
    __user_cap_data_struct lowered[2] = {saved_[0], saved_[1]};
    lowered[0].effective &= ~(1u << CAP_DAC_OVERRIDE);
    held_ = syscall(SYS_capset, &head_, lowered) == 0;
  }
  ~HeldToPermissions() {
    if (held_) syscall(SYS_capset, &head_, saved_);
  }
  HeldToPermissions(const HeldToPermissions&) = delete;
  HeldToPermissions& operator=(const HeldToPermissions&) = delete;

 private:
  __user_cap_header_struct head_{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct saved_[2]{};
  bool held_ = false;
};

TEST_F(ConnectionTest, AFileThatCannotBeWrittenOpensForReadingAndLeavesNothingBehind) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::path(path_).parent_path() / "readonly";
  fs::create_directories(folder);
  const std::string file = (folder / "store.mdb").string();
  {
    auto cn = Connection::Create();
    cn->Open(path_);
    cn->Execute("CREATE TABLE T (id LONG)");
    cn->Execute("INSERT INTO T VALUES (1)");
    cn->Close();
  }
  struct Case {
    const char* what;
    fs::path locked;  // made read-only for the case
  };
  const Case cases[] = {{"a read-only file", file}, {"a read-only directory", folder}};
  for (const Case& c : cases) {
    fs::copy_file(path_, file, fs::copy_options::overwrite_existing);
    const auto writable = fs::status(c.locked).permissions();
    fs::permissions(c.locked,
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    {
      HeldToPermissions held;
      auto cn = Connection::Create();
      cn->Open(file);
      auto rs = cn->Execute("SELECT COUNT(*) FROM T", nullptr, -1, 3);
      EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 1) << c.what;
      rs->Close();
      EXPECT_EQ(RaisedNumber([&] { cn->Execute("INSERT INTO T VALUES (2)"); }),
                rt::err::kPermissionDenied)
          << c.what;
      ASSERT_FALSE(cn->errors()->items().empty());
      EXPECT_NE(cn->errors()->items()[0].Description.find("readonly"), std::string::npos)
          << cn->errors()->items()[0].Description;
      cn->Close();
      EXPECT_FALSE(fs::exists(file + "-wal")) << c.what;
      EXPECT_FALSE(fs::exists(file + "-shm")) << c.what;
    }
    // Made writable again, the file takes a writer.
    fs::permissions(c.locked, writable);
    auto cn = Connection::Create();
    cn->Open(file);
    cn->Execute("INSERT INTO T VALUES (2)");
    auto rs = cn->Execute("SELECT COUNT(*) FROM T", nullptr, -1, 3);
    EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 2) << c.what;
    rs->Close();
    cn->Close();
  }
}

TEST_F(ConnectionTest, OpensThroughEveryFileStoreForm) {
  for (const std::string& text :
       {"PROVIDER=Microsoft.Jet.OLEDB.3.51;Data Source=" + path_ +
            ";Jet OLEDB:Database Password =;",
        "PROVIDER=MSDataShape;DATA PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_ + ";",
        path_}) {
    auto cn = Connection::Create();
    cn->Open(text);
    EXPECT_EQ(cn->State(), 1);
    EXPECT_EQ(cn->ConnectionString(), text);  // as given
    EXPECT_EQ(rt::CStr(cn->properties()->Value("Data Source")), path_);
    EXPECT_EQ(rt::CStr(cn->properties()->Value("Extended Properties")), "");
    cn->Close();
    EXPECT_EQ(cn->State(), 0);
  }
}

// Commits go to the write-ahead log and reach the disk at checkpoints,
// unless the connection string asks for every commit to reach it.
TEST_F(ConnectionTest, CommitsAreWrittenThroughToTheDiskOnlyWhenAsked) {
  const std::string jet = "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_ + ";";
  const struct {
    std::string text;
    std::int64_t synchronous;  // 1 normal, 2 full
  } cases[] = {
      {path_, 1},
      {jet, 1},
      {jet + "Jet OLEDB:Synchronous=Full;", 2},
      {jet + "jet oledb:synchronous = full ", 2},
      {jet + "Jet OLEDB:Synchronous=Normal", 1},
      {jet + "Jet OLEDB:Synchronous=Yes", 1},
  };
  const auto pragma = [](Connection& cn, const char* name) {
    auto result = cn.backend().ExecuteNative(std::string("PRAGMA ") + name, {});
    EXPECT_TRUE(result.cursor && result.cursor->Step()) << name;
    return std::string(result.cursor->Text(0));
  };
  for (const auto& c : cases) {
    auto cn = Connection::Create();
    cn->Open(c.text);
    EXPECT_EQ(pragma(*cn, "journal_mode"), "wal") << c.text;
    EXPECT_EQ(pragma(*cn, "synchronous"), std::to_string(c.synchronous)) << c.text;
    cn->Close();
  }
}

TEST_F(ConnectionTest, AMissingFileIsAClearErrorInTheErrorsCollection) {
  auto cn = Connection::Create();
  try {
    cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_ + ".nope;");
    FAIL() << "opened a missing file";
  } catch (const rt::PlatformError& e) {
    EXPECT_EQ(e.number(), rt::err::kUnspecified);
    EXPECT_NE(e.info().Description.find("Could not find file"), std::string::npos);
  }
  EXPECT_EQ(cn->State(), 0);
  ASSERT_EQ(cn->errors()->items().size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(path_ + ".nope"));
  // A closed connection refuses work with the platform's error.
  EXPECT_EQ(RaisedNumber([&] { cn->Execute("SELECT 1"); }), rt::err::kObjectClosed);
}

TEST_F(ConnectionTest, LegacyJetFilesAreNotOpenedAsFileStores) {
  const char* jet = ZMDB_SHARED_DIR "/testdata/jet/nwind.mdb";
  if (!std::filesystem::exists(jet)) GTEST_SKIP() << "no legacy test file at " << jet;
  auto cn = Connection::Create();
  EXPECT_EQ(RaisedNumber([&] { cn->Open(jet); }), rt::err::kUnspecified);
  EXPECT_NE(cn->errors()->items().at(0).Description.find("Unrecognized database format"),
            std::string::npos);
}

// The failures every store shares are tested on every store; these are the
// file store's own statements (Jet's DELETE *, its function names).
TEST_F(ConnectionTest, FailuresOfJetStatementsCarryTheirNumbers) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE Staff (ID LONG, Name TEXT(10))");
  const std::pair<const char*, std::int32_t> cases[] = {
      {"DELETE * FROM Nowhere", rt::err::kNoSuchObject},
      {"SELECT NoSuchFunction(ID) FROM Staff", rt::err::kSyntaxError},
  };
  for (const auto& [sql, number] : cases) {
    const rt::ErrorInfo e = RaisedError([&] { cn->Execute(sql); });
    EXPECT_EQ(e.Number, number) << sql << ": " << e.Description;
    EXPECT_NE(e.Description.find(sql), std::string::npos) << e.Description;
    ASSERT_EQ(cn->errors()->items().size(), 1u);
    EXPECT_EQ(cn->errors()->items()[0].Number, number);
  }
  // A success after a failure starts with an empty collection.
  cn->Execute("SELECT * FROM Staff");
  EXPECT_TRUE(cn->errors()->items().empty());
}

TEST_F(ConnectionTest, SchemaRowsetsTypeTablesViewsAndSystemTables) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE Staff (ID COUNTER PRIMARY KEY, Name TEXT(10))");
  cn->Execute("CREATE VIEW Names AS SELECT Name FROM Staff");
  cn->Execute("INSERT INTO Staff (Name) VALUES ('x')");  // makes sqlite_sequence
  auto tables = cn->OpenSchema(ado::adSchemaTables);
  std::map<std::string, std::string> types;
  for (const auto& row : tables->VisibleRows()) types[rt::CStr(row[2])] = rt::CStr(row[3]);
  EXPECT_EQ(types["Staff"], "TABLE");
  EXPECT_EQ(types["Names"], "VIEW");
  EXPECT_EQ(types["sqlite_sequence"], "SYSTEM TABLE");
  auto fields = tables->fields();
  EXPECT_EQ(fields->Item(Variant("DATE_CREATED"))->Type(), 7);
  auto catalogs = cn->OpenSchema(ado::adSchemaCatalogs);
  EXPECT_EQ(catalogs->RecordCount(), 1);
  EXPECT_EQ(catalogs->fields()->Item(Variant("CATALOG_NAME"))->Value(), Variant(path_));
}

TEST_F(ConnectionTest, CursorLocationZeroIsTheDefaultAndClientCursorsCount) {
  auto cn = Connection::Create();
  cn->SetCursorLocation(0);
  EXPECT_EQ(cn->CursorLocation(), ado::adUseServer);
  EXPECT_EQ(RaisedNumber([&] { cn->SetCursorLocation(7); }), rt::err::kBadArguments);
  auto client = Connect(ado::adUseClient);
  client->Execute("CREATE TABLE T (ID LONG)");
  client->Execute("INSERT INTO T VALUES (5)");
  auto rs = Recordset::Create();
  rs->Open(Variant("SELECT * FROM T"), Variant(rt::ObjectRef(client)), ado::adOpenForwardOnly,
           ado::adLockReadOnly);
  EXPECT_EQ(rs->CursorType(), ado::adOpenStatic);
  EXPECT_EQ(rs->RecordCount(), 1);
}

TEST_F(ConnectionTest, ASecondConnectionReadsWhileTheFirstWrites) {
  auto writer = Connect();
  writer->Execute("CREATE TABLE T (ID LONG)");
  for (int i = 0; i < 100; ++i) writer->Execute("INSERT INTO T VALUES (" + std::to_string(i) + ")");
  auto reader = Connect();
  // The reader holds a streaming cursor open across the writer's commits.
  auto rs = reader->Execute("SELECT ID FROM T ORDER BY ID");
  int seen = 0;
  for (int i = 0; i < 50; ++i, ++seen) rs->MoveNext();
  writer->BeginTrans();
  writer->Execute("INSERT INTO T VALUES (1000)");
  writer->Execute("DELETE * FROM T WHERE ID < 10");
  writer->CommitTrans();
  while (!rs->AtEOF()) {
    rs->MoveNext();
    ++seen;
  }
  EXPECT_EQ(seen, 100);  // the reader's snapshot is unchanged
  auto after = reader->Execute("SELECT COUNT(*) FROM T", nullptr, -1, ado::adOpenStatic);
  EXPECT_EQ(after->ValueAt(0), Variant(91));
}

TEST_F(ConnectionTest, StatementsAreVisibleBeforeTheyRun) {
  auto cn = Connect();
  std::vector<std::string> seen;
  cn->SetStatementHook([&](std::string_view s) { seen.emplace_back(s); });
  cn->EnableStatementLog(true);
  cn->Execute("CREATE TABLE T (ID LONG)");
  EXPECT_NE(RaisedNumber([&] { cn->Execute("SELEC 1"); }), 0);
  EXPECT_EQ(seen, (std::vector<std::string>{"CREATE TABLE T (ID LONG)", "SELEC 1"}));
  EXPECT_EQ(cn->statementLog(), seen);
}

}  // namespace
}  // namespace zmdb::dal::testing
