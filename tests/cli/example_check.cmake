# Runs the staff example in a fresh directory and checks the answers a new
# user reads first.
set(dir "${WORKDIR}/staff_example_check")
file(REMOVE_RECURSE "${dir}")
execute_process(COMMAND ${EXAMPLE} "${dir}" OUTPUT_VARIABLE out RESULT_VARIABLE rc)
file(REMOVE_RECURSE "${dir}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the example failed (rc=${rc}):\n${out}")
endif()
foreach(line
    "dbOpenDateBase(\"staff.mdb\", \"\")                            -> True"
    "-> True, v = \"李明\""
    "-> False, v = \"(unchanged)\""
    "ran: Update Staff SET Salary=5300 WHERE ID=2"
    "ran: DELETE * FROM Staff WHERE Dept='Accounts' AND Salary IS NULL"
    "dbGetMaxID(\"Staff\", \"Code\", , True, 6)                     -> \"000117\""
    "-> \"00000000\""
    "dbBackupRecordset(rs, \"staff.txt\", , , , \"yyyy-mm-dd\")     -> True"
    "file: ;ID,Code,Name,Dept,Salary,Hired"
    "file: 1,000101,李明,Sales,4800,2019-03-01"
    "-> a recordset of 3 rows"
    "dbCopyRecordset(restored, \"StaffCopy\")"
    "dbGetValue(\"StaffCopy\", \"Name\", \"ID=1\", v)"
    "dbGetLastError()                                           -> 0")
  string(FIND "${out}" "${line}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the example's output lacks:\n  ${line}\n\nit printed:\n${out}")
  endif()
endforeach()
