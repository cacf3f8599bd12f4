// The ADOX-style catalogue on an ADO connection to a file database, used the
// way the table and field methods use it.
#include "dao_fixture.h"
#include "zmdb/dal/adox/adox.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

TEST_F(DaoTest, ACatalogMakesTablesColumnsAndIndexes) {
  auto cn = Connect();
  const Variant cat(rt::ObjectRef(adox::Catalog::Make()));
  rt::SetProp(cat, "ActiveConnection", Variant(rt::ObjectRef(cn)));
  auto table = std::make_shared<adox::Table>();
  const Variant t{rt::ObjectRef(table)};
  rt::SetProp(t, "Name", Variant("People"));
  rt::SetProp(t, "ParentCatalog", cat);
  rt::SetProp(rt::GetProp(t, "Properties", {Variant("Description")}), "Value", Variant("who"));
  const Variant cols = rt::GetProp(t, "Columns");
  rt::CallMethod(cols, "Append", {Variant("Name"), Variant(202), Variant(30)});
  rt::CallMethod(cols, "Append", {Variant("Age"), Variant(3), Variant(0)});
  const Variant name = rt::CallMethod(cols, "Item", {Variant("Name")});
  rt::SetProp(rt::GetProp(name, "Properties", {Variant("Nullable")}), "Value", Variant(true));
  rt::SetProp(rt::GetProp(name, "Properties", {Variant("Jet OLEDB:Allow Zero Length")}), "Value",
              Variant(true));
  auto index = std::make_shared<adox::Index>();
  const Variant ix{rt::ObjectRef(index)};
  rt::SetProp(ix, "Name", Variant("PrimaryKey"));
  rt::SetProp(ix, "IndexNulls", Variant(1));
  rt::SetProp(ix, "PrimaryKey", Variant(true));
  rt::CallMethod(rt::GetProp(ix, "Columns"), "Append", {Variant("Age"), Variant(3), Variant(0)});
  rt::CallMethod(rt::GetProp(t, "Indexes"), "Append", {ix});
  rt::CallMethod(rt::GetProp(cat, "Tables"), "Append", {t});

  // Read back through a new catalogue, and through the data engine.
  const Variant again(rt::ObjectRef(adox::Catalog::Make()));
  rt::SetProp(again, "ActiveConnection",
              Variant("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_));
  const Variant people = rt::GetProp(again, "Tables", {Variant("people")});
  EXPECT_EQ(rt::TypeName(people), "Table");
  EXPECT_EQ(rt::CStr(rt::GetProp(people, "Type")), "TABLE");
  EXPECT_EQ(
      rt::CStr(rt::GetProp(rt::GetProp(people, "Properties", {Variant("Description")}), "Value")),
      "who");
  const Variant nameCol = rt::GetProp(people, "Columns", {Variant("Name")});
  EXPECT_EQ(rt::TypeName(nameCol), "Column");
  EXPECT_EQ(rt::CLng(rt::GetProp(nameCol, "Type")), 202);
  EXPECT_EQ(rt::CLng(rt::GetProp(nameCol, "DefinedSize")), 30);
  EXPECT_EQ(rt::CLng(rt::GetProp(nameCol, "Attributes")), adox::adColNullable);
  const Variant age = rt::GetProp(people, "Columns", {Variant("Age")});
  EXPECT_FALSE(
      rt::CBool(rt::GetProp(rt::GetProp(age, "Properties", {Variant("Nullable")}), "Value")));
  const Variant pk = rt::GetProp(people, "Indexes", {Variant("PrimaryKey")});
  EXPECT_TRUE(rt::CBool(rt::GetProp(pk, "PrimaryKey")));
  EXPECT_EQ(rt::CLng(rt::GetProp(rt::GetProp(people, "Keys"), "Count")), 1);
  EXPECT_EQ(FieldOf("People", "Name")->GetProperty("Size", {}), Variant(30));
  EXPECT_TRUE(rt::CBool(FieldOf("People", "Name")->GetProperty("AllowZeroLength", {})));
  // A missing column raises, as the field probe relies on.
  EXPECT_NE(RaisedNumber([&] { rt::GetProp(people, "Columns", {Variant("Nope")}); }), 0);
  rt::CallMethod(rt::GetProp(again, "Tables"), "Delete", {Variant("People")});
  EXPECT_EQ(db_->TableDefs()->Count(), 0);
}

TEST_F(DaoTest, ACatalogCreatesAnEmptyDatabase) {
  const std::string made = (dir_ / "made.mdb").string();
  const Variant cat(rt::ObjectRef(adox::Catalog::Make()));
  const Variant cn = rt::CallMethod(
      cat, "Create", {Variant("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + made)});
  EXPECT_EQ(rt::TypeName(cn), "Connection");
  EXPECT_EQ(rt::CLng(rt::GetProp(rt::GetProp(cat, "Tables"), "Count")), 0);
  EXPECT_NE(RaisedNumber([&] {
              rt::CallMethod(cat, "Create",
                             {Variant("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + made)});
            }),
            0);
  Sql("CREATE TABLE T (A LONG)");
  Connect()->Execute("CREATE VIEW V AS SELECT A FROM T");
  const Variant here(rt::ObjectRef(adox::Catalog::Make()));
  rt::SetProp(here, "ActiveConnection", Variant(rt::ObjectRef(Connect())));
  EXPECT_EQ(rt::CStr(rt::GetProp(rt::GetProp(here, "Tables", {Variant("V")}), "Type")), "VIEW");
}

}  // namespace
}  // namespace zmdb::dal::testing
