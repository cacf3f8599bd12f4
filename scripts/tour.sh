#!/usr/bin/env bash
# A short tour of the component object through `zmdb session`: each request
# is printed, then the response the library gave.
set -euo pipefail
zmdb=${1:-build/default/tools/zmdb/zmdb}

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
)

# One session serves every request, so state carries from call to call.
mapfile -t responses < <(printf '%s\n' "${requests[@]}" | "$zmdb" session)
for i in "${!requests[@]}"; do
  printf '> %s\n< %s\n\n' "${requests[$i]}" "${responses[$i]}"
done
