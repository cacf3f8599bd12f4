// The statements of the file store's table definitions and rebuilds, checked
// without a store: the rebuild keeps its order (new table, copy, drop,
// rename, indexes, triggers) and every generated name.
#include <gtest/gtest.h>

#include "dal/sqlite/schema_p.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::sqlite {
namespace {

schema::FieldDef F(std::string name, std::int32_t type, std::int32_t size = 0,
                   std::int32_t attributes = 0) {
  schema::FieldDef f;
  f.name = std::move(name);
  f.type = type;
  f.size = size;
  f.attributes = attributes;
  return f;
}

TableShape Shape() {
  TableShape s;
  s.def.name = "T";
  s.def.fields = {F("ID", 4), F("Name", 10, 20)};
  s.notNull = {false, false};
  schema::IndexDef byName;
  byName.name = "ByName";
  byName.fields = {{"Name", true}};
  byName.required = true;
  s.def.indexes = {byName};
  s.indexSqlNames = {"T_ByName"};
  return s;
}

TEST(RebuildSql, AddsAPrimaryKeyInOneOrderedPass) {
  const TableShape from = Shape();
  TableShape to = from;
  schema::IndexDef pk;
  pk.name = "pk_T";
  pk.primary = true;
  pk.fields = {{"ID", false}};
  to.def.indexes.insert(to.def.indexes.begin(), pk);
  to.indexSqlNames.insert(to.indexSqlNames.begin(), "");
  const auto sql = RebuildSql(from, to, {{"ID", "ID"}, {"Name", "Name"}});
  const std::vector<std::string> expected = {
      "CREATE TABLE \"T__rebuild\" (\"ID\" INT NOT NULL, \"Name\" VARCHAR(20) COLLATE NOCASE "
      "CHECK (length(\"Name\") <= 20), CONSTRAINT \"pk_T\" PRIMARY KEY (\"ID\"))",
      "INSERT INTO \"T__rebuild\" (\"ID\", \"Name\") SELECT \"ID\", \"Name\" FROM \"T\"",
      "DROP TABLE \"T\"", "ALTER TABLE \"T__rebuild\" RENAME TO \"T\"",
      "CREATE INDEX \"T_ByName\" ON \"T\" (\"Name\" DESC)"};
  ASSERT_GE(sql.size(), expected.size() + 2);
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(sql[i], expected[i]);
  // The required index keeps its two Null-refusing triggers, under its SQLite name.
  EXPECT_NE(sql[5].find("\"T_ByName__notnull_ins\""), std::string::npos);
  EXPECT_NE(sql[6].find("\"T_ByName__notnull_upd\""), std::string::npos);
}

TEST(RebuildSql, ARenamedColumnIsCopiedIntoItsNewName) {
  const TableShape from = Shape();
  TableShape to = from;
  to.def.fields[1].name = "Title";
  to.def.indexes.clear();
  to.indexSqlNames.clear();
  const auto sql = RebuildSql(from, to, {{"ID", "ID"}, {"Name", "Title"}});
  EXPECT_EQ(sql[1],
            "INSERT INTO \"T__rebuild\" (\"ID\", \"Title\") SELECT \"ID\", \"Name\" FROM \"T\"");
  EXPECT_EQ(sql.size(), 4u);
}

TEST(TableSql, AnAutoNumberKeyIsTheRowidAndOtherAutoNumbersGetTriggers) {
  TableShape s;
  s.def.name = "C";
  s.def.fields = {F("ID", 4, 0, schema::kAutoIncrField), F("Seq", 4, 0, schema::kAutoIncrField)};
  s.notNull = {true, true};
  schema::IndexDef pk;
  pk.name = "PrimaryKey";
  pk.primary = true;
  pk.fields = {{"ID", false}};
  s.def.indexes = {pk};
  s.indexSqlNames = {""};
  EXPECT_EQ(CreateTableSql(s, "C"),
            "CREATE TABLE \"C\" (\"ID\" INTEGER PRIMARY KEY AUTOINCREMENT, \"Seq\" COUNTER)");
  const auto triggers = TriggerSql(s);
  ASSERT_EQ(triggers.size(), 1u);
  EXPECT_NE(triggers[0].find("\"C__counter_Seq\""), std::string::npos);
  EXPECT_TRUE(IsManagedTrigger("C", "C__counter_Seq"));
  EXPECT_TRUE(IsManagedTrigger("C", "c__RULES_ins"));
  EXPECT_FALSE(IsManagedTrigger("C", "audit_insert"));
}

TEST(TableSql, RequiredAndZeroLengthRulesBecomeTriggers) {
  TableShape s;
  s.def.name = "R";
  s.def.fields = {F("A", 10, 5), F("B", 4)};
  s.def.fields[0].allowZeroLength = false;
  s.def.fields[1].required = true;
  s.notNull = {false, false};
  const auto triggers = TriggerSql(s);
  ASSERT_EQ(triggers.size(), 2u);
  EXPECT_TRUE(triggers[0].starts_with("CREATE TRIGGER \"R__rules_ins\" BEFORE INSERT ON \"R\""));
  EXPECT_NE(triggers[0].find("WHERE NEW.\"A\" = ''"), std::string::npos);
  EXPECT_NE(triggers[0].find("WHERE NEW.\"B\" IS NULL"), std::string::npos);
  EXPECT_TRUE(triggers[1].starts_with("CREATE TRIGGER \"R__rules_upd\" BEFORE UPDATE ON \"R\""));
  // A field whose definition refuses Nulls needs no trigger for Required.
  s.notNull = {false, true};
  EXPECT_EQ(TriggerSql(s)[0].find("IS NULL"), std::string::npos);
}

TEST(TableSql, DefaultValuesAndTypes) {
  const std::pair<const char*, const char*> defaults[] = {{"", ""},
                                                          {"0", "0"},
                                                          {"-1.5", "-1.5"},
                                                          {"'a''b'", "'a''b'"},
                                                          {"\"abc\"", "'abc'"},
                                                          {"=Now()", "(Now())"},
                                                          {"True", "-1"},
                                                          {" = 2 + 3", "(2 + 3)"}};
  for (const auto& [jet, sql] : defaults) EXPECT_EQ(DefaultSql(jet), sql) << jet;
  EXPECT_EQ(DeclaredTypeForDao(F("a", 10)), "VARCHAR(255) COLLATE NOCASE");
  EXPECT_EQ(DeclaredTypeForDao(F("a", 12)), "LONGTEXT COLLATE NOCASE");
  EXPECT_EQ(DeclaredTypeForDao(F("a", 4, 0, schema::kAutoIncrField)), "COUNTER");
  EXPECT_EQ(DeclaredTypeForDao(F("a", 8)), "DATETIME");
  EXPECT_THROW(DeclaredTypeForDao(F("a", 99)), rt::PlatformError);
  EXPECT_THROW(DeclaredTypeForDao(F("a", 10, 300)), rt::PlatformError);
}

}  // namespace
}  // namespace zmdb::dal::sqlite
