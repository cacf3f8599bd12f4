#!/usr/bin/env bash
# A short tour of the component object through `zmdb session`: each request
# is printed, then the response the library gave.
set -euo pipefail
zmdb=${1:-build/default/tools/zmdb/zmdb}

# A fresh, empty file-store database (an empty file is an empty database).
workdir=$(mktemp -d)
trap 'rm -rf "$workdir"' EXIT
db="$workdir/staff.mdb"
: > "$db"

requests=(
  '{"call": "dbSetAppTitle", "args": {"fsAppTitle": "Staff Manager"}}'
  '{"call": "dbGetJetConnect", "args": {"fsDatabase": "/data/staff.mdb"}}'
  '{"call": "dbGetJetConnect", "args": {"fsDatabase": "/data/staff.mdb", "fsPasswd": "pw", "fbIsShape": true, "fsJetVersion": "4.0"}}'
  '{"call": "dbGetSQLConnect", "args": {"fsUser": "sa", "fsDatabase": "db1", "fsServer": "srv"}}'
  '{"call": "dbGetSQLConnect", "args": {"fsUser": "sa", "fsDatabase": "", "fsDSN": "dsn1", "fiType": 2}}'
  '{"call": "dbCSql", "args": {"fsSQL": "select iif(a>0,1,2) from t"}}'
  '{"call": "dbCSql", "args": {"fsSQL": "DELETE * FROM Staff WHERE Hired<#2004-08-30# AND Name & Dept = '"'"'LiSales'"'"'"}}'
  '{"call": "dbCSql", "args": {"fsSQL": "SELECT MAX(FORMAT(ID,'"'"'000000'"'"')) AS MaxID FROM Staff"}}'
  '{"call": "dbGetFldTypeDesc", "args": {"iType": 4, "bIsADO": false}}'
  '{"call": "dbDao2AdoType", "args": {"flType": 10}}'
  '{"call": "dbDao2AdoType", "args": {"flType": 18}}'
  '{"call": "dbGetHXType", "args": {"flType": 203, "fbIsDAO": false}}'
  '{"call": "dbGetConnString", "args": {"IsDAO": false}}'
  '{"call": "dbCSql", "args": {"fsSQL": "SELECT FORMAT(D) FROM T"}}'
  '{"call": "dbGetLastError"}'
  '{"new": "ListBox"}'
  '{"new": "Connection", "args": {"CursorLocation": 3, "ConnectionString": "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source='"$db"';Jet OLEDB:Database Password =;"}}'
  '{"exec": "CREATE TABLE Staff (ID COUNTER PRIMARY KEY, Name TEXT(20), Dept TEXT(10), Hired DATETIME, Pay CURRENCY, Active YESNO)", "conn": {"handle": "h2"}}'
  '{"exec": "INSERT INTO Staff (Name, Dept, Hired, Pay, Active) VALUES ('"'"'李明'"'"', '"'"'Sales'"'"', #8/30/2004#, 4200.5, True)", "conn": {"handle": "h2"}}'
  '{"exec": "INSERT INTO Staff (Name, Dept, Hired, Pay, Active) VALUES ('"'"'Wang'"'"', '"'"'IT'"'"', #2010-03-01#, 5100, False)", "conn": {"handle": "h2"}}'
  '{"exec": "INSERT INTO Staff (Name, Dept, Pay, Active) VALUES ('"'"'Zhang'"'"', '"'"'IT'"'"', 3900, True)", "conn": {"handle": "h2"}}'
  '{"exec": "SELECT TOP 2 ID, Name & '"'"' ('"'"' & Dept & '"'"')'"'"' AS Who, FORMAT(ID, '"'"'000000'"'"') AS Code, IIF(Active, '"'"'yes'"'"', '"'"'no'"'"') AS Working, Hired FROM Staff WHERE Name LIKE '"'"'*a*'"'"' OR Dept = '"'"'sales'"'"' ORDER BY ID", "conn": {"handle": "h2"}}'
  '{"exec": "DELETE * FROM Staff WHERE Hired IS NULL", "conn": {"handle": "h2"}}'
  '{"exec": "SELEC * FROM Staff", "conn": {"handle": "h2"}}'
  '{"inspect": {"handle": "h2"}}'
)

# One session serves every request, so state carries from call to call.
mapfile -t responses < <(printf '%s\n' "${requests[@]}" | "$zmdb" session)
for i in "${!requests[@]}"; do
  printf '> %s\n< %s\n\n' "${requests[$i]}" "${responses[$i]}"
done
