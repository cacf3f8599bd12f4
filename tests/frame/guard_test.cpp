// The frame of every public method: guard kinds, the last error and the
// debug box, connection resolution, ValueOrDefault and teardown.
#include <gtest/gtest.h>

#include "raised.h"
#include "zmdb/dal/connection.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/host.h"

namespace zmdb {
namespace {

using dal::testing::RaisedError;
using rt::Variant;

// Exposes the frame's guard runner and per-object state to the tests.
class Probe : public clsZMDBFunc {
 public:
  using clsZMDBFunc::Run;
  void SetDefaultConnection(rt::ObjectRef o) { defaultConnection_ = std::move(o); }
  void SetWorkingRecordset(rt::ObjectRef o) { workingRecordset_ = std::move(o); }
  void SetCurrentTableDef(rt::ObjectRef o) { currentTableDef_ = std::move(o); }
};

// An object of a given type name that notes when it is released.
class Tracked : public rt::Object {
 public:
  Tracked(std::string type, std::vector<std::string>* log) : type_(std::move(type)), log_(log) {}
  ~Tracked() override {
    if (log_) log_->push_back(type_);
  }
  std::string TypeName() const override { return type_; }
  Variant GetProperty(std::string_view name, const std::vector<Variant>& index) override {
    if (rt::NameEquals(name, "Value")) return value_;
    return Object::GetProperty(name, index);
  }
  Variant value_;

 private:
  std::string type_;
  std::vector<std::string>* log_;
};

rt::ObjectRef Make(std::string type, std::vector<std::string>* log = nullptr) {
  return std::make_shared<Tracked>(std::move(type), log);
}

class FrameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host_->SetEcho(false);
    frame::Library() = frame::LibraryState{};
  }
  void TearDown() override { frame::Library() = frame::LibraryState{}; }
  std::shared_ptr<rt::HeadlessHost> host_ = std::make_shared<rt::HeadlessHost>();
  rt::ScopedHost scope_{host_};
};

const rt::ErrorInfo kBoom{-2147217900, "Provider", "Syntax error in FROM clause."};
[[noreturn]] void Fail() {
  throw rt::PlatformError(kBoom);
}

// Each guard kind, driven through a method of that kind in the method table.
TEST_F(FrameTest, GuardKindsDecideWhatAFailureDoesAndTheDebugBoxShows) {
  struct Case {
    const char* method;
    bool records;
    bool propagates;
  };
  const Case cases[] = {
      {"dbSetConnect", true, false},     // recording handler
      {"dbOpenDateBase", false, false},  // silent handler
      {"dbCreateDBADOX", false, false},  // resume next
      {"dbTableExists", false, false},   // own handler (reports in its onError)
      {"dbIsSQLConnect", false, true},   // unguarded
  };
  rt::SetAppTitle("Staff");
  for (const Case& c : cases) {
    for (bool debug : {false, true}) {
      SCOPED_TRACE(std::string(c.method) + (debug ? " debug" : ""));
      Probe p;
      p.dbSetDebug(debug);
      host_->ClearRecord();
      bool cleanedUp = false;
      auto run = [&] {
        return p.Run(
            c.method, false,
            [](bool& r) {
              r = true;
              Fail();
            },
            [&](const rt::ErrorInfo& e, bool&) { cleanedUp = e == kBoom; });
      };
      if (c.propagates) {
        EXPECT_THROW(run(), rt::PlatformError);
        continue;
      }
      // The result is as it stood when the error struck.
      EXPECT_TRUE(run());
      EXPECT_TRUE(cleanedUp);
      const ErrStruct last = p.dbGetLastError();
      EXPECT_EQ(last.Number, c.records ? kBoom.Number : 0);
      EXPECT_EQ(last.Description, c.records ? kBoom.Description : "");
      EXPECT_EQ(last.Source, c.records ? kBoom.Source : "");
      ASSERT_EQ(host_->shown().size(), c.records && debug ? 1u : 0u);
      if (c.records && debug) {
        // Three lines, under its own title rather than the application's.
        const rt::ShownBox& box = host_->shown()[0];
        EXPECT_EQ(box.title, "DebugMode");
        EXPECT_EQ(box.buttons, 0);
        EXPECT_EQ(box.prompt,
                  "Number:-2147217900\r\nSource:Provider\r\nText:Syntax error in FROM clause.");
      }
    }
  }
  rt::SetAppTitle("ZMDBFuncProj");
}

TEST_F(FrameTest, LastErrorIsOverwrittenNotAccumulatedAndOnlyClearedOnRequest) {
  Probe p;
  // Any exception is recorded as a platform error.
  p.Run("dbGetConnString", std::string(), [](std::string&) { throw std::runtime_error("disk"); });
  EXPECT_EQ(p.dbGetLastError(), (ErrStruct{rt::err::kUnspecified, "disk", "ZMDBFuncProj"}));
  p.Run("dbGetConnString", std::string(), [](std::string&) { rt::Raise(rt::err::kTypeMismatch); });
  EXPECT_EQ(p.dbGetLastError(), (ErrStruct{13, "Type mismatch", "ZMDBFuncProj"}));
  // A later success leaves it; a silent failure leaves it.
  p.Run("dbGetConnString", std::string(), [](std::string& r) { r = "ok"; });
  p.Run("dbOpenDateBase", false, [](bool&) { Fail(); });
  EXPECT_EQ(p.dbGetLastError().Number, 13);
  p.dbClearError();
  EXPECT_EQ(p.dbGetLastError(), ErrStruct{});
}

TEST_F(FrameTest, DisplayADOErrorShowsOneBoxPerErrorWhateverTheDebugFlag) {
  rt::SetAppTitle("App");
  Probe p;
  auto cn = dal::Connection::Create();
  Variant conn{rt::ObjectRef(cn)};
  p.dbDisplayADOError(conn);
  EXPECT_TRUE(host_->shown().empty());
  cn->errors()->Set({{1, "a", "one"}, {2, "b", "two"}, {3, "c", "three"}});
  p.dbDisplayADOError(conn);
  ASSERT_EQ(host_->shown().size(), 3u);
  EXPECT_EQ(host_->shown()[0].prompt, "Number:1\r\nSource:a\r\nText:one");
  EXPECT_EQ(host_->shown()[2].prompt, "Number:3\r\nSource:c\r\nText:three");
  EXPECT_EQ(host_->shown()[1].title, "App");
  EXPECT_EQ(p.dbGetLastError().Number, 0);
  // Not a connection: the call itself fails.
  Variant text("no errors here");
  EXPECT_THROW(p.dbDisplayADOError(text), rt::PlatformError);
  rt::SetAppTitle("ZMDBFuncProj");
}

TEST_F(FrameTest, TwoStoreResolutionGoesByTypeName) {
  Probe p;
  EXPECT_EQ(p.ResolveTwoStore(Variant::Missing()).path, StorePath::None);
  frame::Library().defaultDatabase = Make("Database");
  const ResolvedStore byDefault = p.ResolveTwoStore(Variant::Missing());
  EXPECT_EQ(byDefault.path, StorePath::Dao);
  EXPECT_EQ(byDefault.conn.AsObject(), frame::Library().defaultDatabase);
  struct Case {
    Variant conn;
    bool acceptCatalog;
    StorePath path;
  };
  const Case cases[] = {
      {Variant(Make("Connection")), false, StorePath::Ado},
      {Variant(Make("Database")), false, StorePath::Dao},
      {Variant(Make("Catalog")), true, StorePath::Catalog},
      {Variant(Make("Catalog")), false, StorePath::Other},
      {Variant(Make("Recordset")), false, StorePath::Other},
      {Variant(Make("connection")), false, StorePath::Other},  // case-sensitive
      {Variant("Connection"), false, StorePath::Other},        // a string is no object
      {Variant::Null(), false, StorePath::Other},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(p.ResolveTwoStore(c.conn, c.acceptCatalog).path, c.path) << rt::TypeName(c.conn);
  }
}

TEST_F(FrameTest, AdoOnlyResolutionUsesTheDefaultConnectionOrRefusesOtherObjects) {
  Probe p;
  frame::Library().defaultDatabase = Make("Database");  // plays no part here
  EXPECT_FALSE(p.ResolveAdoOnly(Variant::Missing()).has_value());
  p.SetDefaultConnection(Make("Connection"));
  EXPECT_EQ(p.ResolveAdoOnly(Variant::Missing())->AsObject(), p.defaultConnection());
  const Variant given(Make("Connection"));
  EXPECT_EQ(p.ResolveAdoOnly(given)->AsObject(), given.AsObject());
  for (const Variant& bad : {Variant(Make("Database")), Variant("x"), Variant(rt::ObjectRef())}) {
    const rt::ErrorInfo e = RaisedError([&] { p.ResolveAdoOnly(bad); });
    EXPECT_EQ(e.Number, rt::err::kTypeMismatch);
  }
}

TEST_F(FrameTest, ValueOrDefault) {
  Probe p;
  auto field = [](Variant v) {
    auto f = std::make_shared<Tracked>("Field", nullptr);
    f->value_ = std::move(v);
    return Variant(rt::ObjectRef(f));
  };
  struct Case {
    Variant value;
    Variant def;
    std::string expected;
  };
  const Case cases[] = {
      {Variant(0), Variant("1"), "1"},  // a numeric zero takes the default
      {Variant(0.0), Variant::Missing(), ""},
      {Variant(""), Variant::Missing(), ""},
      {Variant(""), Variant("d"), "d"},
      {Variant("abc"), Variant("d"), "abc"},
      {Variant(-1.5), Variant::Missing(), "-1.5"},
      {Variant::Null(), Variant("N"), "N"},
      {Variant(), Variant("E"), "E"},
      {Variant(false), Variant("F"), "F"},
      {Variant(true), Variant("F"), "True"},
      {field(Variant::Null()), Variant("X"), "X"},
      {field(Variant(0)), Variant("X"), "0"},  // a field's zero is text "0", kept
      {field(Variant("Li")), Variant::Missing(), "Li"},
      {field(Variant("")), Variant("X"), "X"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(p.ValueOrDefault(c.value, c.def), c.expected) << rt::TypeName(c.value);
  }
}

TEST_F(FrameTest, TeardownReleasesInOrderAndDropsTheSharedDatabase) {
  std::vector<std::string> log;
  auto first = std::make_unique<Probe>();
  Probe second;
  first->SetWorkingRecordset(Make("Recordset", &log));
  first->SetDefaultConnection(Make("Connection", &log));
  first->SetCurrentTableDef(Make("TableDef", &log));
  frame::Library().defaultDatabase = Make("Database", &log);
  frame::Library().workspace = Make("Workspace", &log);
  frame::Library().engine = Make("DBEngine", &log);
  second.SetDefaultConnection(Make("Connection2", &log));

  // The second object shares the default database but not the connection.
  EXPECT_EQ(second.ResolveTwoStore(Variant::Missing()).path, StorePath::Dao);
  EXPECT_NE(second.defaultConnection(), first->defaultConnection());

  first.reset();
  EXPECT_EQ(host_->unloadCount(), 1);
  EXPECT_EQ(log, (std::vector<std::string>{"Recordset", "Connection", "Database", "Workspace",
                                           "TableDef", "DBEngine"}));
  EXPECT_EQ(second.ResolveTwoStore(Variant::Missing()).path, StorePath::None);
  EXPECT_NE(second.defaultConnection(), nullptr);
}

}  // namespace
}  // namespace zmdb
