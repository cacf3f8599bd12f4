// Saved queries of the file store: every query keeps its Jet text in the
// system table, and a select query is also a view, so that other statements
// can use it by name.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "jetsql_p.h"
#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite::detail {

namespace {

// True for a character of a bare Jet name.
bool IsNameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// `sql` with every use of the name `from` as a whole name (bare or in
// brackets, not after a ".") changed to `to`; literals, dates and other
// names are left alone.
std::string RenameInSql(std::string_view sql, std::string_view from, std::string_view to) {
  bool bare = !to.empty() && !std::isdigit(static_cast<unsigned char>(to.front()));
  for (char c : to) bare = bare && IsNameChar(c);
  const std::string replacement = bare ? std::string(to) : "[" + std::string(to) + "]";
  std::string out;
  std::size_t i = 0;
  const auto afterDot = [&] {
    const auto last = out.find_last_not_of(" \t\r\n");
    return last != std::string::npos && out[last] == '.';
  };
  while (i < sql.size()) {
    const char c = sql[i];
    if (c == '\'' || c == '"' || c == '#') {
      // A literal runs to its closing mark; a doubled mark stays inside it.
      std::size_t end = i + 1;
      while (end < sql.size() && sql[end] != c) ++end;
      out += sql.substr(i, end + 1 - i);
      i = end + 1;
    } else if (c == '[') {
      const std::size_t end = std::min(sql.find(']', i), sql.size());
      const std::string_view inner = sql.substr(i + 1, end - i - 1);
      out += rt::NameEquals(inner, from) && !afterDot() ? replacement
                                                        : std::string(sql.substr(i, end + 1 - i));
      i = end + 1;
    } else if (IsNameChar(c)) {
      std::size_t end = i;
      while (end < sql.size() && IsNameChar(sql[end])) ++end;
      const std::string_view word = sql.substr(i, end - i);
      out += rt::NameEquals(word, from) && !afterDot() ? replacement : std::string(word);
      i = end;
    } else {
      out += c;
      ++i;
    }
  }
  return out;
}

}  // namespace

// Every saved query: the views SQLite holds and the texts the system table
// records (an action query has no view), with their own properties.
std::vector<schema::QueryDef> FileSchemaStore::Queries() {
  std::vector<schema::QueryDef> out;
  const auto rows = props_.Rows(kQueryRow);
  Result r =
      b_.ExecuteNative("SELECT name, sql FROM sqlite_master WHERE type = 'view' ORDER BY name", {});
  while (r.cursor && r.cursor->Step()) {
    schema::QueryDef q;
    q.name = Text(*r.cursor, 0);
    q.sql = ViewBody(Text(*r.cursor, 1));
    out.push_back(std::move(q));
  }
  for (const SysRow& row : rows) {
    if (row.name != "~SQL") continue;
    auto it = std::find_if(out.begin(), out.end(),
                           [&](const auto& q) { return rt::NameEquals(q.name, row.owner); });
    if (it == out.end()) {
      out.push_back(schema::QueryDef{row.owner, {}, 0, {}});
      it = out.end() - 1;
    }
    it->sql = rt::TextOf(row.value);
  }
  for (auto& q : out) {
    q.type = schema::QueryTypeOf(q.sql);
    for (const SysRow& row : rows) {
      if (rt::NameEquals(row.owner, q.name) && !row.name.starts_with("~")) {
        q.props.push_back(Prop{row.name, row.type, row.value});
      }
    }
  }
  std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) {
    return rt::AsciiUpper(a.name) < rt::AsciiUpper(b.name);
  });
  return out;
}

// Saves a query; a name in use by a table or query is error 3012.
void FileSchemaStore::CreateQuery(const schema::QueryDef& q) {
  RequireFreeName(q.name, true);
  Transaction([&] { WriteQuery(q.name, q.sql); });
}

// Drops a saved query; 3265 when there is none.
void FileSchemaStore::DropQuery(std::string_view name) {
  const auto q = RequireQuery(name);
  Transaction([&] {
    b_.ExecuteNative("DROP VIEW IF EXISTS main." + SqlIdentifier(q.name), {});
    props_.DeleteOwner(kQueryRow, q.name);
  });
}

// Renames a saved query (a view is made again under the new name).
void FileSchemaStore::RenameQuery(std::string_view from, std::string_view to) {
  const auto q = RequireQuery(from);
  if (!rt::NameEquals(from, to)) RequireFreeName(to, true);
  Transaction([&] {
    b_.ExecuteNative("DROP VIEW IF EXISTS main." + SqlIdentifier(q.name), {});
    props_.RenameOwner(kQueryRow, q.name, to);
    WriteQuery(std::string(to), q.sql);
  });
}

// Replaces a saved query's text (and its view).
void FileSchemaStore::ChangeQuerySql(std::string_view name, const std::string& sql) {
  const auto q = RequireQuery(name);
  Transaction([&] {
    b_.ExecuteNative("DROP VIEW IF EXISTS main." + SqlIdentifier(q.name), {});
    WriteQuery(q.name, sql);
  });
}

// The statement that makes the view of a select query; empty for a query
// of another kind, which has no view.
std::string FileSchemaStore::ViewSql(const std::string& name, const std::string& sql) {
  if (sql.empty() || schema::QueryTypeOf(sql) != schema::kQSelect) return {};
  const Rewritten r = RewriteJet(sql);
  if (r.statements.size() != 1) {
    rt::RaiseStandard(rt::err::kInvalidSqlStatement);
  }
  return fmt::format("CREATE VIEW {} AS {}", SqlIdentifier(name), r.statements.front());
}

// A select query becomes a view (usable by name in FROM); every query keeps
// its Jet text in the system table.
void FileSchemaStore::WriteQuery(const std::string& name, const std::string& sql) {
  if (const std::string view = ViewSql(name, sql); !view.empty()) b_.ExecuteNative(view, {});
  props_.Put(kQueryRow, name, "", "~SQL", kDbMemo, rt::Variant(sql));
}

// Takes out the views SQLite cannot read now and returns them with their
// statements. A query may name a table that is not there, as in the engine,
// but SQLite's table rename checks every view and refuses while one is
// broken, so a rename runs without them and makes them again (MakeViews).
std::vector<std::pair<std::string, std::string>> FileSchemaStore::DropBrokenViews() {
  std::vector<std::pair<std::string, std::string>> views;
  {
    Result r = b_.ExecuteNative("SELECT name, sql FROM sqlite_master WHERE type = 'view'", {});
    while (r.cursor && r.cursor->Step()) views.emplace_back(Text(*r.cursor, 0), Text(*r.cursor, 1));
  }
  std::erase_if(views, [&](const auto& v) {
    try {
      b_.ExecuteNative("SELECT 1 FROM main." + SqlIdentifier(v.first) + " LIMIT 0", {});
      return true;
    } catch (const rt::PlatformError&) {
      return false;
    }
  });
  for (const auto& v : views) b_.ExecuteNative("DROP VIEW main." + SqlIdentifier(v.first), {});
  return views;
}

// Makes the views taken out again, a saved query's from its current text (a
// rename has followed it), another from its own statement; each then reads
// the tables by the names it gives.
void FileSchemaStore::MakeViews(const std::vector<std::pair<std::string, std::string>>& views) {
  const auto rows = props_.Rows(kQueryRow);
  for (const auto& [name, sql] : views) {
    const auto text = std::find_if(rows.begin(), rows.end(), [&view = name](const SysRow& row) {
      return row.name == "~SQL" && rt::NameEquals(row.owner, view);
    });
    b_.ExecuteNative(text == rows.end() ? sql : ViewSql(name, rt::TextOf(text->value)), {});
  }
}

// A saved query by name, or 3265.
schema::QueryDef FileSchemaStore::RequireQuery(std::string_view name) {
  for (auto& q : Queries()) {
    if (rt::NameEquals(q.name, name)) return q;
  }
  engerr::ItemNotFound("DAO.QueryDefs");
}

// The SELECT of a CREATE VIEW text.
std::string FileSchemaStore::ViewBody(const std::string& sql) {
  const std::string upper = rt::AsciiUpper(sql);
  const auto as = upper.find(" AS ");
  return as == std::string::npos ? sql : sql.substr(as + 4);
}

// Follows a table rename in the recorded texts of the saved queries, as
// SQLite's rename does in the views it holds for them.
void FileSchemaStore::RenameInQueries(std::string_view from, std::string_view to) {
  for (const SysRow& row : props_.Rows(kQueryRow)) {
    if (row.name != "~SQL") continue;
    const std::string text = rt::TextOf(row.value);
    const std::string renamed = RenameInSql(text, from, to);
    if (renamed != text)
      props_.Put(kQueryRow, row.owner, "", "~SQL", kDbMemo, rt::Variant(renamed));
  }
}

}  // namespace zmdb::dal::sqlite::detail
