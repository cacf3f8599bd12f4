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

// Filled defaults and conversions of given values; a session case covers
// the common defaults, look-up in any case and a missing required argument.
TEST(MethodTable, PrepareArgumentsFillsDefaultsAndZeroValues) {
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

  EXPECT_EQ(RaisedNumber([&] {
              PrepareArguments(maxId, std::vector<std::optional<Variant>>(maxId.args.size() + 1));
            }),
            rt::err::kWrongArgCount);
  EXPECT_EQ(RaisedNumber([&] {
              PrepareArguments(field, {Variant("T"), Variant("F"), Variant("x")});
            }),
            rt::err::kTypeMismatch);
}

// Every method says where it lives. A built method's file exists and
// defines it, and a late-bound call passes it the table's argument list (a
// mismatch in count would raise 450); a method not built yet names a file in
// its subsystem's folder and what it waits for, and a late-bound call says so.
TEST(MethodTable, EveryMethodIsServedWithTheTableArgumentsOrSaysWhatItWaitsFor) {
  auto host = std::make_shared<rt::HeadlessHost>();
  host->SetEcho(false);
  rt::ScopedHost scope(host);
  clsZMDBFunc object;
  for (const MethodSpec& m : Methods()) {
    SCOPED_TRACE(std::string(m.name));
    const std::string source(m.source);
    EXPECT_EQ(source.rfind("src/" + std::string(m.subsystem) + "/", 0), 0u) << source;
    EXPECT_TRUE(source.ends_with(".cpp")) << source;
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
    const rt::ErrorInfo raised = dal::testing::RaisedError([&] { Invoke(object, m, args); });
    if (m.invoke) {
      EXPECT_TRUE(m.needs.empty());
      EXPECT_NE(raised.Number, rt::err::kWrongArgCount);
      std::ifstream in(std::string(ZMDB_SOURCE_DIR) + "/" + source);
      ASSERT_TRUE(in) << source << " does not exist";
      std::stringstream text;
      text << in.rdbuf();
      EXPECT_NE(text.str().find("clsZMDBFunc::" + std::string(m.name) + "("), std::string::npos)
          << source << " does not define it";
    } else {
      EXPECT_FALSE(m.needs.empty());
      EXPECT_EQ(raised.Number, rt::err::kNotSupported);
      EXPECT_EQ(raised.Description,
                std::string(m.name) + " is not available yet: it needs " + std::string(m.needs));
    }
  }
}

}  // namespace
}  // namespace zmdb::frame
