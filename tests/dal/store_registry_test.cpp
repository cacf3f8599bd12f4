// The store registry: every object that opens a database reaches its store
// through the one registered factory, and a missing store is a clear error.
#include "zmdb/dal/store_registry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "file_store_fixture.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/stores/builtin.h"

namespace zmdb::dal::testing {
namespace {

// What one call of a factory was asked to open.
struct Opened {
  std::string dataSource;
  bool create;
  bool readOnly;
  bool operator==(const Opened&) const = default;
};

// Installs a factory for `kind` that records each call and then opens the
// store with the factory it replaced; the replaced one is back afterwards.
class Recording {
 public:
  explicit Recording(StoreKind kind) : kind_(kind) {
    previous_ = RegisterStore(kind, [this](const Route& route, const StoreOptions& options) {
      opened.push_back({route.dataSource, options.create, options.readOnly});
      if (!previous_) rt::Raise(rt::err::kUnspecified, "no store below the recording one");
      return previous_(route, options);
    });
  }
  ~Recording() { RegisterStore(kind_, previous_); }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  std::vector<Opened> opened;

 private:
  StoreKind kind_;
  StoreFactory previous_;
};

class StoreRegistryTest : public FileStoreTest {};

TEST_F(StoreRegistryTest, EveryObjectOpensTheFileStoreThroughTheRegisteredFactory) {
  Recording file(StoreKind::File);
  const std::string created = (dir_ / "made.mdb").string();
  const std::string catalogued = (dir_ / "catalogue.mdb").string();

  Connect()->Close();
  dao::Database::Create(created, {});
  dao::Database::Open({path_, true, {}});
  adox::Catalog::Make()->Create("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + catalogued);

  const std::vector<Opened> want = {
      {path_, false, false},      // Connection::Open
      {created, true, false},     // DBEngine.CreateDatabase
      {path_, false, true},       // DBEngine.OpenDatabase, read-only
      {catalogued, true, false},  // Catalog.Create makes the file...
      {catalogued, false, false}  // ...and opens it as its active connection
  };
  EXPECT_EQ(file.opened, want);
}

TEST_F(StoreRegistryTest, AKindWithoutAStoreIsAClearErrorUntilTheBuiltInOnesAreBack) {
  StoreFactory server = RegisterStore(StoreKind::Server, nullptr);
  ASSERT_TRUE(server);
  EXPECT_FALSE(HasStore(StoreKind::Server));
  auto cn = Connection::Create();
  const rt::ErrorInfo e = RaisedError(
      [&] { cn->Open("DRIVER={PostgreSQL Unicode};SERVER=localhost;DATABASE=x;UID=u;PWD=p;"); });
  EXPECT_EQ(e.Number, rt::err::kUnspecified);
  EXPECT_EQ(e.Description,
            "Provider cannot be found. It may not be properly installed. (No store is "
            "registered for server databases.)");
  EXPECT_EQ(cn->State(), 0);
  // The file store is untouched, and the built-in server store comes back.
  EXPECT_EQ(Connect()->State(), 1);
  RegisterBuiltInStores();
  EXPECT_TRUE(HasStore(StoreKind::Server));
}

TEST_F(StoreRegistryTest, BuiltInStoresLeaveAStoreRegisteredFirstInPlace) {
  Recording file(StoreKind::File);
  RegisterBuiltInStores();
  Connect()->Close();
  EXPECT_EQ(file.opened.size(), 1u);
}

}  // namespace
}  // namespace zmdb::dal::testing
