// Encrypted file databases: the page format on its own, then real files
// written through the cipher's file layer and opened through every path a
// password travels (file store, ADO connection string, ADOX, DAO, links,
// copies between files).
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "dal/sqlite/backend_p.h"
#include "dal/sqlite/cipher_p.h"
#include "raised.h"
#include "temp_folder.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/schema_store.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::testing {
namespace {

namespace cipher = sqlite::cipher;
namespace fs = std::filesystem;
using rt::Variant;
using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view kMarker = "Plaintext-Marker-7Q";

cipher::KeyRef TestKey(std::string_view password, std::uint8_t saltByte = 7) {
  std::array<std::uint8_t, cipher::kSaltSize> salt{};
  salt.fill(saltByte);
  return cipher::DeriveKey(password, salt, 1000);
}

Bytes Pattern(std::size_t size) {
  Bytes b(size);
  for (std::size_t i = 0; i < size; ++i) b[i] = static_cast<std::uint8_t>(i * 31 + 5);
  std::copy(cipher::kSqliteMagic.begin(), cipher::kSqliteMagic.end(), b.begin());
  b[16] = static_cast<std::uint8_t>(size >> 8), b[17] = static_cast<std::uint8_t>(size & 0xFF);
  b[18] = 2, b[19] = 2, b[20] = cipher::kReserve, b[21] = 64, b[22] = 32, b[23] = 32;
  return b;
}

// ---- the page format ----

TEST(CipherPages, SealedPagesOpenOnlyWhereAndWithTheKeyTheyWereSealedWith) {
  const auto key = TestKey("secret");
  const auto other = TestKey("Secret");
  struct Case {
    cipher::FileKind kind;
    std::uint64_t offset;
    std::size_t size;
  };
  const Case cases[] = {
      {cipher::FileKind::Main, 0, 4096},      {cipher::FileKind::Main, 8192, 4096},
      {cipher::FileKind::Main, 0, 512},       {cipher::FileKind::Wal, 56, 4096},
      {cipher::FileKind::Journal, 516, 1024}, {cipher::FileKind::Main, 65536, 65536}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.offset);
    const Bytes plain = Pattern(c.size);
    Bytes page = plain;
    cipher::SealPage(*key, c.kind, c.offset, page);
    const std::size_t body = c.size - cipher::kReserve;
    // The ciphertext differs from the page everywhere but the plain header of page 1.
    const std::size_t kept = c.kind == cipher::FileKind::Main && c.offset == 0 ? 24 : 0;
    EXPECT_NE(Bytes(page.begin() + kept, page.begin() + body),
              Bytes(plain.begin() + kept, plain.begin() + body));
    Bytes again = plain;
    cipher::SealPage(*key, c.kind, c.offset, again);
    EXPECT_NE(again, page) << "a fresh nonce for every write";
    // Wrong key, wrong place, wrong file: refused.
    for (auto [k, kind, off] :
         {std::tuple{other, c.kind, c.offset}, std::tuple{key, c.kind, c.offset + c.size},
          std::tuple{
              key,
              c.kind == cipher::FileKind::Wal ? cipher::FileKind::Journal : cipher::FileKind::Wal,
              c.offset}}) {
      Bytes copy = page;
      EXPECT_FALSE(cipher::OpenPage(*k, kind, off, copy));
    }
    Bytes copy = page;
    ASSERT_TRUE(cipher::OpenPage(*key, c.kind, c.offset, copy));
    EXPECT_EQ(Bytes(copy.begin(), copy.begin() + body), Bytes(plain.begin(), plain.begin() + body));
  }
}

TEST(CipherPages, AnyChangedByteIsCaught) {
  const auto key = TestKey("secret");
  Bytes sealed = Pattern(1024);
  cipher::SealPage(*key, cipher::FileKind::Main, 0, sealed);
  // The salt, the plain header, the ciphertext, the nonce, the tag, the
  // iteration count: each byte is covered.
  for (std::size_t at : {0u, 15u, 17u, 20u, 24u, 500u, 991u, 992u, 1004u, 1019u, 1020u, 1023u}) {
    Bytes page = sealed;
    page[at] ^= 0x01;
    EXPECT_FALSE(cipher::OpenPage(*key, cipher::FileKind::Main, 0, page)) << at;
  }
}

TEST(CipherPages, HeadersAreToldApart) {
  const Bytes plain = Pattern(4096);
  struct Case {
    std::size_t at;
    std::uint8_t value;
    const char* what;  // "plain", "encrypted" or "none"
  };
  const Case cases[] = {
      {0, 'S', "plain"},      // untouched magic
      {0, 'x', "encrypted"},  // magic replaced, header as the cipher writes it
      {20, 0, "plain"},       // SQLite's header with no reserve is still SQLite's
  };
  for (const Case& c : cases) {
    Bytes b = plain;
    b[c.at] = c.value;
    const auto h = cipher::ParseHeader(b);
    ASSERT_TRUE(h) << c.at;
    EXPECT_EQ(h->encrypted, std::string(c.what) == "encrypted") << c.at;
  }
  // Not a database: another reserve, odd page size, wrong versions, too short.
  for (auto [at, value] :
       {std::pair<std::size_t, std::uint8_t>{20, 0}, {17, 3}, {18, 9}, {22, 0}}) {
    Bytes b = plain;
    b[0] = 'x';
    b[at] = value;
    EXPECT_FALSE(cipher::ParseHeader(b)) << at;
  }
  EXPECT_FALSE(cipher::ParseHeader(Bytes(plain.begin(), plain.begin() + 10)));
}

TEST(CipherKeys, DependOnPasswordSaltAndCost) {
  std::array<std::uint8_t, cipher::kSaltSize> salt{};
  const auto base = cipher::DeriveKey("pw", salt, 10);
  EXPECT_EQ(cipher::DeriveKey("pw", salt, 10)->bytes, base->bytes);
  EXPECT_NE(cipher::DeriveKey("pW", salt, 10)->bytes, base->bytes);
  EXPECT_NE(cipher::DeriveKey("pw", salt, 11)->bytes, base->bytes);
  salt[15] = 1;
  EXPECT_NE(cipher::DeriveKey("pw", salt, 10)->bytes, base->bytes);
  cipher::SetNewFileIterations(10);
  EXPECT_NE(cipher::NewKey("pw")->salt, cipher::NewKey("pw")->salt);
  EXPECT_EQ(cipher::NewKey("pw")->iterations, 10u);
  cipher::SetNewFileIterations(0);
  EXPECT_EQ(cipher::NewFileIterations(), cipher::kDefaultIterations);
}

// ---- real files ----

Bytes FileBytes(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(f), {});
}

bool Holds(const fs::path& p, std::string_view text) {
  const Bytes b = FileBytes(p);
  return std::search(b.begin(), b.end(), text.begin(), text.end()) != b.end();
}

class CipherFileTest : public zmdb::testing::TempFolderTest {
 protected:
  void SetUp() override {
    TempFolderTest::SetUp();
    path_ = (dir_ / "secret.mdb").string();
    cipher::SetNewFileIterations(2000);  // the full cost is for real files
  }
  void TearDown() override {
    cipher::SetNewFileIterations(0);
    TempFolderTest::TearDown();
  }

  static std::string Jet(const std::string& path, const std::string& passwordKey) {
    return "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path + ";" + passwordKey + ";";
  }

  // A connection-level run of one SQLite statement; fails the test on error.
  static void Exec(sqlite3* db, const std::string& sql) {
    char* err = nullptr;
    ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &err), SQLITE_OK)
        << sql << ": " << (err ? err : "");
  }

  // A raw connection through the cipher's file layer (or the plain one).
  static sqlite3* Raw(const std::string& path, const cipher::KeyRef& key) {
    sqlite3* db = nullptr;
    const cipher::KeyForOpen withKey(key);
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                    key ? cipher::VfsName() : nullptr);
    int reserve = cipher::kReserve;
    if (key) sqlite3_file_control(db, "main", SQLITE_FCNTL_RESERVE_BYTES, &reserve);
    return db;
  }

  static std::string Single(sqlite3* db, const std::string& sql) {
    sqlite3_stmt* st = nullptr;
    std::string out = "<error>";
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr) == SQLITE_OK &&
        sqlite3_step(st) == SQLITE_ROW) {
      out = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    }
    sqlite3_finalize(st);
    return out;
  }

  // An encrypted database with a table of marked rows, closed.
  void MakeEncrypted(const std::string& password, int rows = 300) {
    auto b = sqlite::OpenDatabase({path_, true, false, 5000, false, password});
    b->Execute("CREATE TABLE Staff (ID LONG, Note TEXT(60))");
    for (int i = 0; i < rows; ++i) {
      b->Execute("INSERT INTO Staff VALUES (" + std::to_string(i) + ", '" + std::string(kMarker) +
                 std::to_string(i) + "')");
    }
    b->Close();
  }

  std::string path_;
};

// The marker is written in a committed transaction and rewritten in an open
// one, so that the main file, the log and the journal all hold pages with
// it. A plain run of the same shows the search would find it.
TEST_F(CipherFileTest, NoFileOfTheDatabaseHoldsTheTextOfItsRows) {
  for (const char* mode : {"WAL", "DELETE"}) {
    for (const bool encrypted : {false, true}) {
      SCOPED_TRACE(std::string(mode) + (encrypted ? " encrypted" : " plain"));
      const std::string path = (dir_ / (std::string(mode) + (encrypted ? "e" : "p"))).string();
      sqlite3* db = Raw(path, encrypted ? TestKey("pw") : nullptr);
      Exec(db, std::string("PRAGMA journal_mode=") + mode);
      Exec(db, "PRAGMA temp_store=MEMORY");
      Exec(db, "CREATE TABLE T (A TEXT)");
      Exec(db, "BEGIN");
      for (int i = 0; i < 400; ++i) {
        Exec(db, "INSERT INTO T VALUES ('" + std::string(kMarker) + std::to_string(i) + "')");
      }
      Exec(db, "COMMIT");
      if (std::string(mode) == "WAL") Exec(db, "PRAGMA wal_checkpoint(TRUNCATE)");
      Exec(db, "BEGIN");
      Exec(db, "UPDATE T SET A = A || '" + std::string(kMarker) + "'");
      Exec(db, "INSERT INTO T SELECT A FROM T");
      const std::vector<std::string> files = {path, path + "-wal", path + "-journal"};
      bool anyHolds = false;
      for (const auto& f : files) {
        if (!fs::exists(f)) continue;
        anyHolds = anyHolds || Holds(f, kMarker);
        if (encrypted) {
          EXPECT_FALSE(Holds(f, kMarker)) << f;
        }
      }
      EXPECT_TRUE(fs::exists(path + (std::string(mode) == "WAL" ? "-wal" : "-journal")));
      EXPECT_EQ(anyHolds, !encrypted);
      Exec(db, "COMMIT");
      EXPECT_EQ(Single(db, "PRAGMA integrity_check"), "ok");
      EXPECT_EQ(Single(db, "SELECT count(*) FROM T"), "800");
      sqlite3_close_v2(db);
      // What the plain layer sees: SQLite's own file, or not a database.
      sqlite3* plain = nullptr;
      sqlite3_open_v2(path.c_str(), &plain, SQLITE_OPEN_READONLY, nullptr);
      EXPECT_EQ(Single(plain, "SELECT count(*) FROM T"), encrypted ? "<error>" : "800");
      sqlite3_close_v2(plain);
    }
  }
}

TEST_F(CipherFileTest, ReopensWithThePasswordAndPassesTheIntegrityCheck) {
  MakeEncrypted("geheim");
  // Reopening must take the salt and the cost from page 1, not today's default.
  cipher::SetNewFileIterations(0);
  EXPECT_FALSE(Holds(path_, kMarker));
  EXPECT_TRUE(cipher::ParseHeader(FileBytes(path_))->encrypted);
  for (int round = 0; round < 2; ++round) {
    auto b = sqlite::OpenDatabase({path_, false, false, 5000, false, "geheim"});
    auto r = b->Execute("SELECT COUNT(*), MAX(Note) FROM Staff");
    ASSERT_TRUE(r.cursor->Step());
    EXPECT_EQ(r.cursor->Integer(0), 300 + round);
    EXPECT_EQ(r.cursor->Text(1), std::string(kMarker) + "99");
    r.cursor.reset();
    b->Execute("INSERT INTO Staff VALUES (1000, 'later')");
    b->Close();
  }
  sqlite3* db = Raw(path_, sqlite::cipher::DeriveKey(
                               "geheim", cipher::ParseHeader(FileBytes(path_))->salt, 2000));
  EXPECT_EQ(Single(db, "PRAGMA integrity_check"), "ok");
  sqlite3_close_v2(db);
}

TEST_F(CipherFileTest, AWrongOrMissingPasswordIsRefusedAndChangesNothing) {
  MakeEncrypted("right");
  const Bytes before = FileBytes(path_);
  for (const char* password : {"", "wrong", "Right", "right "}) {
    SCOPED_TRACE(password);
    EXPECT_EQ(RaisedNumber([&] {
                sqlite::OpenDatabase({path_, false, false, 5000, false, password});
              }),
              rt::err::kPasswordRefused);
    auto cn = Connection::Create();
    EXPECT_EQ(RaisedNumber([&] {
                cn->Open(Jet(path_, std::string("Jet OLEDB:Database Password=") + password));
              }),
              rt::err::kPasswordRefused);
    dao::DBEngine engine;
    EXPECT_EQ(RaisedNumber([&] {
                engine.OpenDatabase({path_, false, std::string(";pwd=") + password});
              }),
              rt::err::kNotValidPassword);
  }
  EXPECT_EQ(FileBytes(path_), before);
  EXPECT_FALSE(fs::exists(path_ + "-wal"));
  EXPECT_FALSE(fs::exists(path_ + "-shm"));
}

// One byte changed in a page past the first is an error when the page is
// read, never a wrong value; in page 1 it reads as a wrong password (the
// key is checked against that page).
TEST_F(CipherFileTest, AByteChangedOnDiskIsCaught) {
  MakeEncrypted("pw", 600);
  const Bytes good = FileBytes(path_);
  ASSERT_GT(good.size(), 4u * 4096);
  struct Case {
    std::size_t at;
    std::int32_t onOpen;  // 0: opens, and reading the rows fails
  };
  const Case cases[] = {{3 * 4096 + 100, 0},      // ciphertext of a data page
                        {4 * 4096 - 20, 0},       // its tag
                        {4 * 4096 - 30, 0},       // its nonce
                        {good.size() - 4000, 0},  // the last page
                        {200, rt::err::kPasswordRefused}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.at);
    Bytes bad = good;
    bad[c.at] ^= 0x40;
    std::ofstream(path_, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bad.data()), static_cast<std::streamsize>(bad.size()));
    if (c.onOpen) {
      EXPECT_EQ(RaisedNumber([&] {
                  sqlite::OpenDatabase({path_, false, false, 5000, false, "pw"});
                }),
                c.onOpen);
      continue;
    }
    auto b = sqlite::OpenDatabase({path_, false, false, 5000, false, "pw"});
    try {
      auto r = b->Execute("SELECT SUM(ID), COUNT(Note) FROM Staff");
      while (r.cursor->Step()) {
      }
      ADD_FAILURE() << "a changed page was read";
    } catch (const rt::PlatformError& e) {
      EXPECT_NE(e.info().Description.find("damaged"), std::string::npos) << e.info().Description;
    }
    b->Close();
  }
}

TEST_F(CipherFileTest, APlainFileStaysSqliteAndIgnoresAPassword) {
  sqlite::OpenDatabase({path_, true, false, 5000})->Close();
  EXPECT_FALSE(cipher::ParseHeader(FileBytes(path_))->encrypted);
  auto b = sqlite::OpenDatabase({path_, false, false, 5000, false, "unused"});
  b->Execute("CREATE TABLE T (A LONG)");
  b->Close();
  EXPECT_FALSE(cipher::ParseHeader(FileBytes(path_))->encrypted);
  sqlite3* db = Raw(path_, nullptr);
  EXPECT_EQ(Single(db, "SELECT count(*) FROM sqlite_master WHERE name = 'T'"), "1");
  sqlite3_close_v2(db);
}

// Every way a password reaches the file store: an ADO connection, the
// catalogue's Create, and the DAO engine's CreateDatabase and OpenDatabase.
TEST_F(CipherFileTest, EveryPathCarriesThePassword) {
  const std::string adox = (dir_ / "adox.mdb").string();
  const std::string dao = (dir_ / "dao.mdb").string();
  {
    const Variant cat(rt::ObjectRef(adox::Catalog::Make()));
    rt::CallMethod(cat, "Create", {Variant(Jet(adox, "Jet OLEDB:Database Password=k1"))});
    dao::DBEngine engine;
    auto db = engine.CreateDatabase(dao, ";LANGID=0x0804;CP=936;COUNTRY=0;pwd=k2");
    db->Execute("CREATE TABLE T (A TEXT(30))");
    db->Execute("INSERT INTO T VALUES ('" + std::string(kMarker) + "')");
    db->Close();
  }
  for (const auto& f : {adox, dao}) {
    EXPECT_TRUE(cipher::ParseHeader(FileBytes(f))->encrypted) << f;
    EXPECT_FALSE(Holds(f, kMarker)) << f;
  }
  // The spellings of the password's key are the router's; one each here.
  for (const std::string& s : {Jet(adox, "Jet OLEDB:Database Password =k1"),
                               Jet(dao, "Jet OLEDB:Database Password =k2")}) {
    auto cn = Connection::Create();
    EXPECT_EQ(RaisedNumber([&] { cn->Open(s); }), 0) << s;
  }
  dao::DBEngine engine;
  auto db = engine.OpenDatabase({dao, false, "MS Access;PWD=k2"});
  EXPECT_EQ(db->TableDefs()->Names(), std::vector<std::string>{"T"});
  db->Close();
}

// A link to an encrypted file opens its source with the link's password,
// and rows copied between two encrypted files take the one-statement path.
TEST_F(CipherFileTest, LinksAndCopiesReachEncryptedFiles) {
  MakeEncrypted("src", 20);
  const std::string target = (dir_ / "target.mdb").string();
  dao::DBEngine engine;
  auto db = engine.CreateDatabase(target, ";pwd=dst");
  auto link = db->CreateTableDef("Linked", schema::kAttachSavePwd, "Staff",
                                 ";DATABASE=" + path_ + ";PWD=src");
  db->TableDefs()->Append(Variant(rt::ObjectRef(link)));
  db->Execute("CREATE TABLE Copy (ID LONG, Note TEXT(60))");
  db->Close();

  auto to = Connection::Create();
  to->Open(Jet(target, "Jet OLEDB:Database Password =dst"));
  auto from = Connection::Create();
  from->Open(Jet(path_, "Jet OLEDB:Database Password =src"));
  auto count = [&](const std::shared_ptr<Connection>& cn, const std::string& table) {
    auto rs = Recordset::Create();
    rs->Open(Variant("SELECT COUNT(*) FROM " + table), Variant(rt::ObjectRef(cn)), 3, 1);
    return rt::CLng(rs->ValueAt(0));
  };
  EXPECT_EQ(count(to, "Linked"), 20);
  const auto copied = to->backend().CopyRowsFrom(from->backend(), {"Staff", "ID < 5", "Copy", {}});
  ASSERT_TRUE(copied.has_value());
  EXPECT_EQ(*copied, 5);
  EXPECT_EQ(count(to, "Copy"), 5);
  // A plain target cannot read the encrypted source in one statement: the
  // caller copies row by row.
  const std::string plain = (dir_ / "plain.mdb").string();
  auto p = sqlite::OpenDatabase({plain, true, false, 5000});
  p->Execute("CREATE TABLE Copy (ID LONG, Note TEXT(60))");
  EXPECT_FALSE(p->CopyRowsFrom(from->backend(), {"Staff", "", "Copy", {}}).has_value());
  p->Close();
}

}  // namespace
}  // namespace zmdb::dal::testing
