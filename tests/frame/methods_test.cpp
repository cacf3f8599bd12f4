// The method table: the interface's shape, and the late-bound call path that
// every script and automation client goes through.
#include "zmdb/frame/methods.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "raised.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::frame {
namespace {

using rt::Variant;

using dal::testing::RaisedNumber;

TEST(MethodTable, HasTheEightyOneMethodsInTypeLibraryOrder) {
  const auto& methods = Methods();
  ASSERT_EQ(methods.size(), 81u);
  EXPECT_EQ(methods.front().name, "dbAddCtrl");
  EXPECT_EQ(methods.back().name, "dbGetDAODesc");
  std::set<std::string> names;
  for (std::size_t i = 0; i < methods.size(); ++i) {
    const MethodSpec& m = methods[i];
    EXPECT_TRUE(names.insert(std::string(m.name)).second) << m.name;
    EXPECT_TRUE(m.name.starts_with("db") || m.name.starts_with("Lo")) << m.name;
    if (i > 0) {
      EXPECT_GT(m.dispid, methods[i - 1].dispid) << m.name;
    }
    std::set<std::string> args;
    bool optionalSeen = false;
    for (const ArgSpec& a : m.args) {
      EXPECT_TRUE(args.insert(std::string(a.name)).second) << m.name << "." << a.name;
      // Optional arguments come last, as the interface requires.
      if (optionalSeen) {
        EXPECT_TRUE(a.optional) << m.name << "." << a.name;
      }
      optionalSeen = optionalSeen || a.optional;
      if (a.defaultValue) {
        EXPECT_TRUE(a.optional) << m.name << "." << a.name;
      }
    }
  }
  // The dispatch ids hosts are bound to.
  const std::pair<const char*, std::int32_t> fixed[] = {{"dbAddCtrl", 0x60030002},
                                                        {"dbGetTblStruct", 0x60030013},
                                                        {"dbSetRecordset", 0x60030016},
                                                        {"dbGetLastError", 0x6003003a},
                                                        {"dbExecProc", 0x6003004a}};
  for (const auto& [name, id] : fixed) {
    ASSERT_NE(FindMethod(name), nullptr) << name;
    EXPECT_EQ(FindMethod(name)->dispid, id) << name;
  }
}

TEST(MethodTable, LookUpIgnoresCase) {
  EXPECT_EQ(FindMethod("DBCSQL"), FindMethod("dbCSql"));
  EXPECT_EQ(FindMethod("dbNoSuchThing"), nullptr);
}

TEST(MethodTable, PrepareArgumentsFillsDefaultsAndZeroValues) {
  const MethodSpec& jet = *FindMethod("dbGetJetConnect");
  const auto args = PrepareArguments(jet, {Variant("a.mdb")});
  EXPECT_EQ(args,
            (std::vector<Variant>{Variant("a.mdb"), Variant(""), Variant(false), Variant("3.51")}));
  const MethodSpec& maxId = *FindMethod("dbGetMaxID");
  const auto m = PrepareArguments(maxId, {Variant("T")});
  EXPECT_EQ(m[1], Variant("ID"));
  EXPECT_TRUE(m[2].IsMissing());  // an omitted Variant is missing
  EXPECT_EQ(m[4], Variant(8));
  // Given values take the declared type.
  const MethodSpec& field = *FindMethod("dbCreateFieldItem");
  const auto f = PrepareArguments(field, {Variant("T"), Variant("F"), {}, {}, {}, {}, Variant(3)});
  EXPECT_EQ(f[2], Variant(4));
  EXPECT_EQ(f[6].Type(), rt::VarType::Integer);
  EXPECT_EQ(f[7], Variant(true));

  EXPECT_EQ(RaisedNumber([&] { PrepareArguments(jet, {}); }), rt::err::kArgNotOptional);
  EXPECT_EQ(RaisedNumber([&] { PrepareArguments(jet, std::vector<std::optional<Variant>>(5)); }),
            rt::err::kWrongArgCount);
  EXPECT_EQ(RaisedNumber([&] {
              PrepareArguments(field, {Variant("T"), Variant("F"), Variant("x")});
            }),
            rt::err::kTypeMismatch);
}

// Every method that is served calls its C++ method with the table's
// argument list: a mismatch in count would raise 450.
TEST(MethodTable, EveryServedMethodTakesTheTableArguments) {
  auto host = std::make_shared<rt::HeadlessHost>();
  host->SetEcho(false);
  rt::ScopedHost scope(host);
  clsZMDBFunc object;
  for (const MethodSpec& m : Methods()) {
    std::vector<std::optional<Variant>> given;
    for (const ArgSpec& a : m.args) {
      if (a.optional) break;
      switch (a.type) {
        case ArgType::String:
          given.emplace_back(Variant("x"));
          break;
        case ArgType::Array:
          given.emplace_back(Variant(rt::SafeArray()));
          break;
        case ArgType::Object:
          given.emplace_back(Variant(rt::ObjectRef()));
          break;
        default:
          given.emplace_back(Variant(0));
          break;
      }
    }
    std::vector<Variant> args = PrepareArguments(m, given);
    const std::int32_t n = RaisedNumber([&] { Invoke(object, m, args); });
    if (m.invoke) {
      EXPECT_NE(n, rt::err::kWrongArgCount) << m.name;
    } else {
      EXPECT_EQ(n, rt::err::kNotSupported) << m.name;
    }
  }
}

// Every method says where it lives: a built method's file exists and
// defines it; a method not built yet names a file in its subsystem's folder
// and what it waits for, and a late-bound call says so.
TEST(MethodTable, EveryMethodSaysWhereItLivesAndWhatItWaitsFor) {
  clsZMDBFunc object;
  for (const MethodSpec& m : Methods()) {
    SCOPED_TRACE(std::string(m.name));
    const std::string source(m.source);
    EXPECT_EQ(source.rfind("src/" + std::string(m.subsystem) + "/", 0), 0u) << source;
    EXPECT_TRUE(source.ends_with(".cpp")) << source;
    if (m.invoke) {
      EXPECT_TRUE(m.needs.empty());
      std::ifstream in(std::string(ZMDB_SOURCE_DIR) + "/" + source);
      ASSERT_TRUE(in) << source << " does not exist";
      std::stringstream text;
      text << in.rdbuf();
      EXPECT_NE(text.str().find("clsZMDBFunc::" + std::string(m.name) + "("), std::string::npos)
          << source << " does not define it";
      continue;
    }
    EXPECT_FALSE(m.needs.empty());
    std::vector<Variant> args;
    try {
      Invoke(object, m, args);
      ADD_FAILURE() << "a method not built yet answered";
    } catch (const rt::PlatformError& e) {
      EXPECT_EQ(e.number(), rt::err::kNotSupported);
      EXPECT_EQ(e.info().Description,
                std::string(m.name) + " is not available yet: it needs " + std::string(m.needs));
    }
  }
}

}  // namespace
}  // namespace zmdb::frame
