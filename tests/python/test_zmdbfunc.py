"""The Python module over the C interface, run by CTest with ZMDBFUNC_LIBRARY
pointing at the shared library of the build tree."""

import datetime
import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "python"))
import zmdbfunc  # noqa: E402


def echo_object():
    """A host object whose Echo(x) answers x and whose Swap exchanges its two
    by-reference arguments."""
    def call(name, *refs):
        if name == "Echo":
            return refs[0].value
        if name == "Swap":
            refs[0].value, refs[1].value = refs[1].value, refs[0].value
            return True
        raise AttributeError(name)
    return zmdbfunc.host_object("Echo", call=call)


class ValueTest(unittest.TestCase):
    def test_values_come_back_as_they_went(self):
        echo = echo_object()
        cases = [
            ("null", None, None),
            ("empty", zmdbfunc.EMPTY, zmdbfunc.EMPTY),
            ("integer", -42, -42),
            ("float", 2.5, 2.5),
            ("bool", True, True),
            ("text", "表名 Staff", "表名 Staff"),
            ("datetime", datetime.datetime(2004, 8, 30, 13, 45, 10),
             datetime.datetime(2004, 8, 30, 13, 45, 10)),
            ("date", datetime.date(1899, 12, 29), datetime.datetime(1899, 12, 29)),
            ("before the base with a time", datetime.datetime(1899, 12, 29, 6),
             datetime.datetime(1899, 12, 29, 6)),
            ("list", [1, "a", None], [1, "a", None]),
            ("record", {"Number": 3, "Source": "s"}, {"Number": 3, "Source": "s"}),
            ("nested", [[1, [2]], {"k": [3]}], [[1, [2]], {"k": [3]}]),
        ]
        for what, given, expected in cases:
            with self.subTest(what):
                got = echo.Echo(given)
                self.assertEqual(got, expected)
                self.assertIs(type(got), type(expected) if not isinstance(expected, (list, dict))
                              else type(got))

    def test_arrays_keep_their_lower_bound_and_records_their_type(self):
        echo = echo_object()
        got = echo.Echo(zmdbfunc.Array(["x", "y"], lbound=1))
        self.assertIsInstance(got, zmdbfunc.Array)
        self.assertEqual((list(got), got.lbound), (["x", "y"], 1))
        self.assertFalse(echo.Echo(zmdbfunc.Array(allocated=False)).allocated)
        record = echo.Echo(zmdbfunc.Record({"Number": 1}, type_name="ErrStruct"))
        self.assertEqual(record.type_name, "ErrStruct")
        self.assertEqual(echo.Echo(echo), echo)

    def test_by_reference_arguments_of_a_host_object(self):
        echo = echo_object()
        a, b = zmdbfunc.Ref(1), zmdbfunc.Ref("b")
        self.assertTrue(echo.Swap(a, b))
        self.assertEqual((a.value, b.value), ("b", 1))

    def test_errors_carry_number_and_text(self):
        o = zmdbfunc.Component()
        cases = [
            ("unknown method", lambda: o.call("dbNoSuch"), 438),
            ("required argument", lambda: o.dbGetJetConnect(), 449),
            ("too many arguments", lambda: o.dbGetLastError(1), 450),
            ("unknown member of a host object", lambda: echo_object().Nope(), 438),
        ]
        for what, call, number in cases:
            with self.subTest(what):
                with self.assertRaises(zmdbfunc.Error) as raised:
                    call()
                self.assertEqual(raised.exception.number, number)
                self.assertTrue(raised.exception.description)
        with self.assertRaises(TypeError):
            o.dbGetJetConnect(object())


class ComponentTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.path = os.path.join(self.dir.name, "a.mdb")
        zmdbfunc.new_object("Database", Name=self.path, Create=True)
        self.o = zmdbfunc.Component()

    def tearDown(self):
        self.o.close()
        zmdbfunc.set_host()
        self.dir.cleanup()

    def connect(self):
        # A client-side cursor, which counts its rows for dbGetRecord.
        self.assertTrue(self.o.dbSetConnect(self.o.dbGetJetConnect(self.path), False, 3))
        cn = self.o.dbGetConnect(False)
        self.assertEqual(cn.type_name, "Connection")
        for sql in ("CREATE TABLE staff (ID INTEGER, Name TEXT(20), Born DATETIME)",
                    "INSERT INTO staff VALUES (1, '张三', #2004-08-30 13:45:00#)",
                    "INSERT INTO staff VALUES (2, 'Wang', NULL)"):
            cn.Execute(sql)
        return cn

    def test_jet_connection_string(self):
        self.assertIn(self.path, self.o.dbGetJetConnect(self.path))
        self.assertEqual(self.o.call(0x60030025, self.path), self.o.dbGetJetConnect(self.path))
        self.assertEqual(self.o.last_byref, {"fsDatabase": self.path})

    def test_by_reference_results(self):
        self.connect()
        item = zmdbfunc.Ref("unchanged")
        self.assertTrue(self.o.dbGetValue("staff", "Name", "ID=1", item))
        self.assertEqual(item.value, "张三")
        self.assertFalse(self.o.dbGetValue("staff", "Name", "ID=9", "kept"))
        self.assertEqual(self.o.last_byref["fItemData"], "kept")
        rows = self.o.dbGetRecord(fsTblName="staff", fsFldName="Name", flCount=0)
        self.assertEqual(list(rows), ["张三", "Wang"])
        self.assertEqual(self.o.last_byref["flCount"], 2)

    def test_objects_late_bound(self):
        cn = self.connect()
        rs = cn.Execute("SELECT ID, Born FROM staff ORDER BY ID")
        self.assertEqual(rs.type_name, "Recordset")
        self.assertEqual(rs.Fields.Count, 2)
        self.assertEqual(rs.Fields[1].Name, "Born")
        self.assertEqual(rs.Fields["Born"].Value, datetime.datetime(2004, 8, 30, 13, 45))
        rs.MoveNext()
        self.assertIsNone(rs.Fields["Born"].Value)
        bar = zmdbfunc.new_object("ProgressBar")
        bar.Max = 10
        bar.Value = 4
        self.assertEqual(bar.Value, 4)
        with self.assertRaises(zmdbfunc.Error):
            bar.Value = 11

    def test_last_error_and_debug_box_through_the_host(self):
        shown = []
        zmdbfunc.set_host(message_box=lambda p, b, t: shown.append((p, b, t)) or 1)
        self.assertIs(self.o.dbSetDebug(True), zmdbfunc.EMPTY)
        self.assertFalse(self.o.dbSetConnect("Provider=NoSuchProvider;", False))
        error = self.o.dbGetLastError()
        self.assertEqual(error.type_name, "ErrStruct")
        self.assertNotEqual(error["Number"], 0)
        self.assertEqual(len(shown), 1)
        prompt, buttons, title = shown[0]
        self.assertEqual((buttons, title), (0, "DebugMode"))
        self.assertTrue(prompt.startswith("Number:"))
        self.o.dbClearError()
        self.assertEqual(self.o.dbGetLastError(),
                         {"Number": 0, "Description": "", "Source": ""})


class TableTest(unittest.TestCase):
    def test_method_table(self):
        table = zmdbfunc.methods()
        self.assertEqual(len(table), 81)
        self.assertEqual(table[0][:2], ("dbAddCtrl", 0x60030002))
        self.assertEqual(table[-1][0], "dbGetDAODesc")


if __name__ == "__main__":
    unittest.main()
