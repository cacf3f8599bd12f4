#!/usr/bin/env bash
# Register the ODBC drivers the library and its tests use, under the names
# connection strings give them, in an odbcinst.ini of a directory of your
# choice (point ODBCSYSINI at it), or system-wide with /etc.
#
#   "SQL Server"          FreeTDS, so that strings with "DRIVER=SQL SERVER" work
#   "FreeTDS"             the same driver under its own name
#   "PostgreSQL Unicode"  psqlODBC, wide entry points
#   "PostgreSQL"          the same driver
#   "SQLite3"             the SQLite ODBC driver
#
# The driver manager matches driver names without regard to case and with
# or without braces, but does not trim them: "DRIVER= SQL Server" finds nothing.
# Drivers whose library is not installed are left out.
#
# With --test-stand-ins, the project's tests also get
#   "SQL Server SQLite stand-in"  the SQLite ODBC driver under a name that the
#                                 library's SQL Server test recognises, so that
#                                 the statements the library writes for SQL
#                                 Server are run for real without a server
set -euo pipefail

target=${1:?usage: register-odbc-drivers.sh TARGET_DIRECTORY [--test-stand-ins]}
standins=${2:-}
mkdir -p "$target"
ini="$target/odbcinst.ini"

# The directory the driver libraries are installed in (multiarch on Debian).
find_driver() {
  local name=$1 dir
  for dir in /usr/lib/*/odbc /usr/lib/odbc /usr/lib64 /usr/lib; do
    if [ -e "$dir/$name" ]; then
      echo "$dir/$name"
      return 0
    fi
  done
  return 1
}

entry() {
  local name=$1 description=$2 library=$3 path
  if path=$(find_driver "$library"); then
    printf '[%s]\nDescription=%s\nDriver=%s\nUsageCount=1\n\n' "$name" "$description" "$path"
  else
    echo "register-odbc-drivers: $library not found, \"$name\" left out" >&2
  fi
}

tmp=$(mktemp)
trap 'rm -f "$tmp"' EXIT
{
  entry "SQL Server" "SQL Server through FreeTDS" libtdsodbc.so
  entry "FreeTDS" "SQL Server and Sybase through FreeTDS" libtdsodbc.so
  entry "PostgreSQL Unicode" "PostgreSQL (psqlODBC, Unicode)" psqlodbcw.so
  entry "PostgreSQL" "PostgreSQL (psqlODBC, Unicode)" psqlodbcw.so
  entry "SQLite3" "SQLite 3 files" libsqlite3odbc.so
  if [ "$standins" = "--test-stand-ins" ]; then
    entry "SQL Server SQLite stand-in" "SQLite 3 files, named for the SQL Server test" \
      libsqlite3odbc.so
  fi
} >"$tmp"

# odbcinst (unixODBC's own tool) writes the entries into $ODBCSYSINI/odbcinst.ini;
# an entry of the same name is removed first, so that its library path is ours.
export ODBCSYSINI=$target
[ -f "$ini" ] || : >"$ini"
grep -o '^\[[^]]*\]' "$tmp" | tr -d '[]' | while read -r name; do
  odbcinst -u -d -n "$name" >/dev/null 2>&1 || true
done
odbcinst -i -d -f "$tmp" >/dev/null
[ -f "$target/odbc.ini" ] || : >"$target/odbc.ini"  # no data sources of its own
echo "registered ODBC drivers in $ini"
