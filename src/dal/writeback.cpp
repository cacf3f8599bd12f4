#include "zmdb/dal/writeback.h"

#include "zmdb/dal/ado.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal {

std::string QuoteName(std::string_view name, const Quirks& quirks) {
  std::string out(quirks.quoteOpen);
  for (char c : name) {
    out += c;
    // A closing quote inside the name is doubled.
    if (quirks.quoteClose.size() == 1 && c == quirks.quoteClose[0]) out += c;
  }
  out += quirks.quoteClose;
  return out;
}

std::string TableSource(std::string_view name, const Quirks& quirks) {
  // A bare name stays bare: quoting would make it case-sensitive on stores
  // that fold unquoted names.
  if (name.size() < 2 || name.front() != '[' || name.back() != ']') return std::string(name);
  return QuoteName(name.substr(1, name.size() - 2), quirks);
}

namespace {
// " WHERE a = ? AND b IS NULL": a Null original value matches with IS NULL.
void AppendMatch(Statement& st, const std::vector<ColumnValue>& match, const Quirks& quirks) {
  for (std::size_t i = 0; i < match.size(); ++i) {
    st.sql += i == 0 ? " WHERE " : " AND ";
    st.sql += QuoteName(match[i].column, quirks);
    if (match[i].value.IsNull() || match[i].value.IsEmpty()) {
      st.sql += " IS NULL";
    } else {
      st.sql += " = ?";
      st.params.push_back(match[i].value);
    }
  }
}
}  // namespace

Statement BuildInsert(std::string_view table, const std::vector<ColumnValue>& values,
                      const Quirks& quirks) {
  Statement st;
  st.sql = "INSERT INTO " + QuoteName(table, quirks);
  if (values.empty()) {
    st.sql += " DEFAULT VALUES";
    return st;
  }
  std::string names, marks;
  for (const ColumnValue& v : values) {
    if (!names.empty()) {
      names += ", ";
      marks += ", ";
    }
    names += QuoteName(v.column, quirks);
    marks += "?";
    st.params.push_back(v.value);
  }
  st.sql += " (" + names + ") VALUES (" + marks + ")";
  return st;
}

Statement BuildUpdate(std::string_view table, const std::vector<ColumnValue>& values,
                      const std::vector<ColumnValue>& match, const Quirks& quirks) {
  Statement st;
  st.sql = "UPDATE " + QuoteName(table, quirks) + " SET ";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i) st.sql += ", ";
    st.sql += QuoteName(values[i].column, quirks) + " = ?";
    st.params.push_back(values[i].value);
  }
  AppendMatch(st, match, quirks);
  return st;
}

Statement BuildDelete(std::string_view table, const std::vector<ColumnValue>& match,
                      const Quirks& quirks) {
  Statement st;
  st.sql = "DELETE FROM " + QuoteName(table, quirks);
  AppendMatch(st, match, quirks);
  return st;
}

bool ComparableForMatch(std::int32_t adoType, std::int32_t precision) {
  switch (adoType) {
    case 14:
    case 131:  // Decimal, Numeric
      return precision <= 15;
    case 4:
    case 5:  // Single, Double
    case 201:
    case 203:  // long text
    case 128:
    case 204:
    case 205:  // binary
      return false;
    default:
      return true;
  }
}

std::string BaseTableOf(const std::vector<ColumnInfo>& columns) {
  std::string table;
  for (const ColumnInfo& c : columns) {
    if (c.baseTable.empty()) continue;
    if (table.empty()) {
      table = c.baseTable;
    } else if (!rt::NameEquals(table, c.baseTable)) {
      table.clear();
      break;
    }
  }
  if (table.empty()) {
    rt::Raise(rt::err::kUnspecified,
              "Insufficient base table information for updating or refreshing.", kAdoSource);
  }
  return table;
}

std::vector<ColumnValue> RowMatch(const std::vector<ColumnInfo>& columns,
                                  const std::vector<rt::Variant>& original,
                                  const std::vector<std::string>& keys, std::string_view table,
                                  const std::vector<bool>& changed) {
  std::vector<ColumnValue> match;
  bool allKeys = !keys.empty();
  for (const std::string& k : keys) {
    bool found = false;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (rt::NameEquals(columns[i].baseColumn, k) && rt::NameEquals(columns[i].baseTable, table)) {
        match.push_back({columns[i].baseColumn, original[i]});
        found = true;
        break;
      }
    }
    allKeys = allKeys && found;
  }
  if (allKeys) {
    for (std::size_t i = 0; i < changed.size(); ++i) {
      if (!changed[i] || columns[i].key ||
          !ComparableForMatch(columns[i].adoType, columns[i].precision))
        continue;
      match.push_back({columns[i].baseColumn, original[i]});
    }
    return match;
  }
  match.clear();
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].baseTable.empty() ||
        !ComparableForMatch(columns[i].adoType, columns[i].precision))
      continue;
    match.push_back({columns[i].baseColumn, original[i]});
  }
  return match;
}

}  // namespace zmdb::dal
