// The automation session, driven by scenarios of requests and the responses
// expected (each expected object is matched as a subset of the response).
#include "zmdb/automation/session.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "dal/sqlite/backend_p.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::automation {
namespace {

// True when every member of `expected` is in `actual` with a matching value;
// arrays must match element by element, scalars exactly.
bool Matches(const Json& expected, const Json& actual, std::string& where) {
  if (expected.is_object()) {
    if (!actual.is_object()) return where = "not an object", false;
    for (const auto& [key, value] : expected.items()) {
      if (!actual.contains(key)) return where = "missing " + key, false;
      if (!Matches(value, actual.at(key), where)) return where = key + "." + where, false;
    }
    return true;
  }
  if (expected.is_array()) {
    if (!actual.is_array() || actual.size() != expected.size()) return where = "array size", false;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      if (!Matches(expected[i], actual[i], where))
        return where = std::to_string(i) + "." + where, false;
    }
    return true;
  }
  if (expected.is_number() && actual.is_number())
    return expected.get<double>() == actual.get<double>();
  return expected == actual;
}

// "@DB@" in a request stands for a fresh file-store database of the scenario.
Json WithDatabase(Json j, const std::string& path) {
  if (j.is_string() && j.get<std::string>() == "@DB@") return path;
  if (j.is_object() || j.is_array()) {
    for (auto& item : j) item = WithDatabase(item, path);
  }
  return j;
}

TEST(Session, Scenarios) {
  std::ifstream in(std::string(ZMDB_TEST_DATA) + "/session_cases.json");
  ASSERT_TRUE(in) << "cannot read session_cases.json";
  const Json scenarios = Json::parse(in);
  const auto dir =
      std::filesystem::temp_directory_path() / ("zmdb_session_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  int n = 0;
  for (const Json& scenario : scenarios) {
    SCOPED_TRACE(scenario.at("name").get<std::string>());
    const std::string db = (dir / ("s" + std::to_string(++n) + ".mdb")).string();
    dal::sqlite::OpenDatabase({db, true, false, 5000})->Close();
    Session session;
    int step = 0;
    for (const Json& s : scenario.at("steps")) {
      ++step;
      const Json response = session.Handle(WithDatabase(s.at("request"), db));
      std::string where;
      EXPECT_TRUE(Matches(s.at("expect"), response, where))
          << "step " << step << ": " << where << "\n  got " << response.dump();
      if (!s.at("expect").contains("raised")) {
        EXPECT_FALSE(response.contains("raised")) << "step " << step << ": " << response.dump();
      }
    }
  }
  std::filesystem::remove_all(dir);
}

TEST(Session, AMalformedLineIsAnsweredAndTheSessionGoesOn) {
  Session session;
  const Json bad = Json::parse(session.HandleLine("{not json"));
  EXPECT_EQ(bad.at("raised").at("Number"), 5);
  const Json good =
      Json::parse(session.HandleLine(R"({"call":"dbGetDAODesc","args":{"feDAO":10}})"));
  EXPECT_EQ(good.at("result"), "edbText");
}

TEST(Session, ValuesRoundTripThroughJson) {
  HandleTable handles;
  const rt::Variant values[] = {
      rt::Variant(),
      rt::Variant::Null(),
      rt::Variant::Missing(),
      rt::Variant(true),
      rt::Variant(42),
      rt::Variant(2.5),
      rt::Variant("中文"),
      rt::Variant(rt::MakeDate(2004, 8, 30, 13, 5, 9)),
      rt::Variant(rt::SafeArray(rt::VarType::Variant, 1, {rt::Variant("a"), rt::Variant(2)})),
      rt::Variant(rt::SafeArray()),
      rt::Variant(
          rt::Record("Record", {{"FieldName", rt::Variant("A")}, {"FieldVal", rt::Variant(1)}})),
  };
  for (const rt::Variant& v : values) {
    const Json j = ToJson(v, handles);
    EXPECT_EQ(FromJson(j, handles), v) << j.dump();
  }
  // A plain JSON array has lower bound 0.
  EXPECT_EQ(FromJson(Json::array({1}), handles).AsArray().LBound(), 0);
}

}  // namespace
}  // namespace zmdb::automation
