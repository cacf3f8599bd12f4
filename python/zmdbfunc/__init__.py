"""ZMDBFunc from Python, through the library's C interface and ctypes alone.

    import zmdbfunc
    o = zmdbfunc.Component()
    cs = o.dbGetJetConnect("a.mdb")

Values convert both ways: None <-> Null, bool, int, float, str, datetime
(a date goes in as midnight), lists <-> Array (a list with its lower bound in
``lbound``), dicts <-> Record (a dict with ``type_name``), objects <-> Object.
``EMPTY`` and ``MISSING`` stand for the empty value and an omitted argument.
A call that fails raises ``zmdbfunc.Error`` (number, source, description);
what a guarded method records is read with ``o.dbGetLastError()``.

By-reference arguments: pass a ``Ref`` to get its ``value`` updated, or read
``o.last_byref`` (argument name -> value after the latest call).

The library is loaded from $ZMDBFUNC_LIBRARY, else the one
ctypes.util.find_library("zmdbfunc") finds, else "libzmdbfunc.so.0".
"""

import ctypes
import ctypes.util
import datetime
import os

__all__ = ["Component", "Object", "Array", "Record", "Ref", "Error", "EMPTY", "MISSING",
           "ErrorValue", "new_object", "host_object", "set_host", "methods"]

# ---- the library ----


def _load():
    path = os.environ.get("ZMDBFUNC_LIBRARY") or ctypes.util.find_library("zmdbfunc")
    return ctypes.CDLL(path or "libzmdbfunc.so.0")


_lib = _load()

_EMPTY, _NULL, _MISSING, _INTEGER, _DOUBLE, _BOOLEAN, _TEXT, _DATE, _ARRAY, _RECORD, _OBJECT, \
    _ERROR = range(12)
_ARG_OPTIONAL, _ARG_BYREF = 1, 2


class _Value(ctypes.Structure):
    pass


_Value._fields_ = [
    ("kind", ctypes.c_int),
    ("integer", ctypes.c_long),
    ("number", ctypes.c_double),
    ("text", ctypes.c_void_p),
    ("lbound", ctypes.c_long),
    ("unallocated", ctypes.c_int),
    ("count", ctypes.c_size_t),
    ("items", ctypes.POINTER(_Value)),
    ("names", ctypes.POINTER(ctypes.c_char_p)),
    ("object", ctypes.c_void_p),
]

_P = ctypes.c_void_p
_PV = ctypes.POINTER(_Value)
_GET = ctypes.CFUNCTYPE(ctypes.c_int, _P, ctypes.c_char_p, _PV, ctypes.c_size_t, _PV)
_SET = ctypes.CFUNCTYPE(ctypes.c_int, _P, ctypes.c_char_p, _PV, _PV, ctypes.c_size_t)
_CALL = ctypes.CFUNCTYPE(ctypes.c_int, _P, ctypes.c_char_p, _PV, ctypes.c_size_t, _PV)
_RELEASE = ctypes.CFUNCTYPE(None, _P)
_BOX = ctypes.CFUNCTYPE(ctypes.c_int, _P, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p)
_POINTER = ctypes.CFUNCTYPE(None, _P, ctypes.c_int)
_EVENTS = ctypes.CFUNCTYPE(None, _P)
_UNLOAD = ctypes.CFUNCTYPE(None, _P, _P)


class _ObjectCallbacks(ctypes.Structure):
    _fields_ = [("get", _GET), ("set", _SET), ("call", _CALL), ("release", _RELEASE)]


class _HostCallbacks(ctypes.Structure):
    _fields_ = [("message_box", _BOX), ("set_pointer", _POINTER), ("do_events", _EVENTS),
                ("unload", _UNLOAD)]


def _declare(name, restype, *argtypes):
    f = getattr(_lib, name)
    f.restype = restype
    f.argtypes = list(argtypes)
    return f


_int, _size, _long, _char = ctypes.c_int, ctypes.c_size_t, ctypes.c_long, ctypes.c_char_p
_value_clear = _declare("zmdb_value_clear", None, _PV)
_error_number = _declare("zmdb_error_number", _long)
_error_source = _declare("zmdb_error_source", _char)
_error_description = _declare("zmdb_error_description", _char)
_component_create = _declare("zmdb_component_create", _int, ctypes.POINTER(_P))
_component_release = _declare("zmdb_component_release", None, _P)
_call = _declare("zmdb_call", _int, _P, _char, _PV, _size, _PV, _PV)
_call_dispid = _declare("zmdb_call_dispid", _int, _P, _long, _PV, _size, _PV, _PV)
_method_count = _declare("zmdb_method_count", _size)
_method_find = _declare("zmdb_method_find", _long, _char)
_method_info = _declare("zmdb_method_info", _int, _size, ctypes.POINTER(_char),
                        ctypes.POINTER(_long), ctypes.POINTER(_size))
_method_arg = _declare("zmdb_method_arg", _int, _size, _size, ctypes.POINTER(_char),
                       ctypes.POINTER(_int))
_object_new = _declare("zmdb_object_new", _int, _char, ctypes.POINTER(_char), _PV, _size,
                       ctypes.POINTER(_P))
_object_retain = _declare("zmdb_object_retain", _P, _P)
_object_release = _declare("zmdb_object_release", None, _P)
_object_type = _declare("zmdb_object_type", _char, _P)
_object_same = _declare("zmdb_object_same", _int, _P, _P)
_object_get = _declare("zmdb_object_get", _int, _P, _char, _PV, _size, _PV)
_object_set = _declare("zmdb_object_set", _int, _P, _char, _PV, _PV, _size)
_object_call = _declare("zmdb_object_call", _int, _P, _char, _PV, _size, _PV, _PV)
_object_host = _declare("zmdb_object_host", _int, _char, ctypes.POINTER(_ObjectCallbacks), _P,
                        ctypes.POINTER(_P))
_set_host = _declare("zmdb_set_host", _int, ctypes.POINTER(_HostCallbacks), _P)

# ---- values ----


class Error(Exception):
    """A failed call: the library's error number, source and text."""

    def __init__(self, number, source, description):
        super().__init__("%s (%d, %s)" % (description, number, source))
        self.number, self.source, self.description = number, source, description


def _check(rc):
    if rc != 0:
        raise Error(_error_number(), _error_source().decode("utf-8", "replace"),
                    _error_description().decode("utf-8", "replace"))


class _Sentinel:
    def __init__(self, name):
        self._name = name

    def __repr__(self):
        return "zmdbfunc." + self._name

    def __bool__(self):
        return False


EMPTY = _Sentinel("EMPTY")
MISSING = _Sentinel("MISSING")


class ErrorValue(int):
    """An error code held as a value (not a raised error)."""


class Array(list):
    """An array: its items and lower bound; an unallocated one has no items."""

    def __init__(self, items=(), lbound=0, allocated=True):
        super().__init__(items)
        self.lbound = lbound
        self.allocated = allocated

    def __repr__(self):
        if not self.allocated:
            return "Array(allocated=False)"
        return "Array(%s, lbound=%d)" % (list.__repr__(self), self.lbound)


class Record(dict):
    """A record of the type library (ErrStruct, ...): members by name in order."""

    def __init__(self, members=(), type_name="Record"):
        super().__init__(members)
        self.type_name = type_name


class Ref:
    """A by-reference argument: ``value`` holds what the method left in it."""

    def __init__(self, value=EMPTY):
        self.value = value

    def __repr__(self):
        return "Ref(%r)" % (self.value,)


_BASE = datetime.datetime(1899, 12, 30)
_DAY_US = 86400 * 1000000


def _date_to_serial(d):
    if not isinstance(d, datetime.datetime):
        d = datetime.datetime(d.year, d.month, d.day)
    delta = d.replace(tzinfo=None) - _BASE
    fraction = (delta.seconds * 1000000 + delta.microseconds) / _DAY_US
    # Days before the base count down; the time of day is added to their size.
    return delta.days + fraction if delta.days >= 0 else delta.days - fraction


def _serial_to_date(serial):
    days = int(serial)
    micro = round(abs(serial - days) * _DAY_US)
    return _BASE + datetime.timedelta(days=days, microseconds=micro)


_LONG_MIN, _LONG_MAX = -(1 << (8 * ctypes.sizeof(ctypes.c_long) - 1)), \
    (1 << (8 * ctypes.sizeof(ctypes.c_long) - 1)) - 1


def _to_c(value, out, keep):
    """Fill the _Value `out` from a Python value; `keep` holds its buffers."""
    if isinstance(value, Ref):
        value = value.value
    if value is EMPTY:
        out.kind = _EMPTY
    elif value is None:
        out.kind = _NULL
    elif value is MISSING:
        out.kind = _MISSING
    elif isinstance(value, bool):
        out.kind, out.integer = _BOOLEAN, int(value)
    elif isinstance(value, ErrorValue):
        out.kind, out.integer = _ERROR, int(value)
    elif isinstance(value, int):
        if _LONG_MIN <= value <= _LONG_MAX:
            out.kind, out.integer = _INTEGER, value
        else:
            out.kind, out.number = _DOUBLE, float(value)
    elif isinstance(value, float):
        out.kind, out.number = _DOUBLE, value
    elif isinstance(value, (str, bytes)):
        buf = ctypes.create_string_buffer(value.encode("utf-8") if isinstance(value, str)
                                          else value)
        keep.append(buf)
        out.kind, out.text = _TEXT, ctypes.addressof(buf)
    elif isinstance(value, (datetime.datetime, datetime.date)):
        out.kind, out.number = _DATE, _date_to_serial(value)
    elif isinstance(value, Object):
        out.kind, out.object = _OBJECT, value._handle
        keep.append(value)  # its handle must outlive the call
    elif isinstance(value, dict):
        out.kind, out.count = _RECORD, len(value)
        type_name = getattr(value, "type_name", "Record").encode("utf-8")
        names = (ctypes.c_char_p * max(len(value), 1))(*[str(k).encode("utf-8") for k in value])
        items = (_Value * max(len(value), 1))()
        name_buf = ctypes.create_string_buffer(type_name)
        keep.extend((names, items, name_buf))
        for i, member in enumerate(value.values()):
            _to_c(member, items[i], keep)
        out.text, out.names, out.items = ctypes.addressof(name_buf), names, items
    elif isinstance(value, (list, tuple)):
        out.kind = _ARRAY
        if isinstance(value, Array) and not value.allocated:
            out.unallocated = 1
            return
        out.lbound = getattr(value, "lbound", 0)
        items = (_Value * max(len(value), 1))()
        keep.append(items)
        for i, item in enumerate(value):
            _to_c(item, items[i], keep)
        out.count, out.items = len(value), items
    else:
        raise TypeError("zmdbfunc cannot pass a %s" % type(value).__name__)


def _values(args, keep):
    array = (_Value * max(len(args), 1))()
    for i, a in enumerate(args):
        _to_c(a, array[i], keep)
    return array


def _from_c(v):
    """A Python value from a _Value (which stays the caller's to clear)."""
    kind = v.kind
    if kind == _EMPTY:
        return EMPTY
    if kind == _NULL:
        return None
    if kind == _MISSING:
        return MISSING
    if kind == _INTEGER:
        return v.integer
    if kind == _BOOLEAN:
        return v.integer != 0
    if kind == _ERROR:
        return ErrorValue(v.integer)
    if kind == _DOUBLE:
        return v.number
    if kind == _TEXT:
        return ctypes.string_at(v.text).decode("utf-8", "replace") if v.text else ""
    if kind == _DATE:
        return _serial_to_date(v.number)
    if kind == _OBJECT:
        return Object(_object_retain(v.object)) if v.object else None
    if kind == _ARRAY:
        if v.unallocated:
            return Array(allocated=False)
        return Array([_from_c(v.items[i]) for i in range(v.count)], lbound=v.lbound)
    if kind == _RECORD:
        type_name = ctypes.string_at(v.text).decode("utf-8") if v.text else "Record"
        return Record(((v.names[i].decode("utf-8"), _from_c(v.items[i])) for i in range(v.count)),
                      type_name=type_name)
    raise Error(5, "zmdbfunc", "unknown value kind %d" % kind)


def _take(v):
    """A Python value from a library-owned _Value, which is then cleared."""
    try:
        return _from_c(v)
    finally:
        _value_clear(ctypes.byref(v))


def _finish(rc, result, after, args):
    """Hands back by-reference values into Refs, then raises or answers."""
    values = [_take(after[i]) for i in range(len(args))]
    for given, value in zip(args, values):
        if isinstance(given, Ref):
            given.value = value
    value = _take(result)
    _check(rc)
    return value, values


# ---- objects ----


class Object:
    """An object of the library or the host, reached by member name.

    ``obj.Name`` reads a property and ``obj.Name = v`` writes one; a name that
    is no property is a method: ``rs.MoveNext()``. ``obj[i]`` reads the
    indexed default collection member (``Item``); ``get``, ``set`` and
    ``call`` take indexes and arguments explicitly.
    """

    def __init__(self, handle):
        object.__setattr__(self, "_handle", handle)

    def __del__(self):
        handle = self.__dict__.get("_handle")
        if handle and _object_release is not None:
            _object_release(handle)

    @property
    def type_name(self):
        return _object_type(self._handle).decode("utf-8")

    def get(self, name, *index):
        keep = []
        result = _Value()
        rc = _object_get(self._handle, name.encode("utf-8"), _values(index, keep), len(index),
                         ctypes.byref(result))
        value = _take(result)
        _check(rc)
        return value

    def set(self, name, value, *index):
        keep = []
        v = _Value()
        _to_c(value, v, keep)
        _check(_object_set(self._handle, name.encode("utf-8"), ctypes.byref(v),
                           _values(index, keep), len(index)))

    def call(self, name, *args):
        keep = []
        result, after = _Value(), (_Value * max(len(args), 1))()
        rc = _object_call(self._handle, name.encode("utf-8"), _values(args, keep), len(args),
                          ctypes.byref(result), after)
        return _finish(rc, result, after, args)[0]

    def __getattr__(self, name):
        if name.startswith("_"):
            raise AttributeError(name)
        try:
            return self.get(name)
        except Error as e:
            if e.number != 438:
                raise
        return lambda *args: self.call(name, *args)

    def __setattr__(self, name, value):
        if name.startswith("_"):
            object.__setattr__(self, name, value)
        else:
            self.set(name, value)

    def __getitem__(self, key):
        return self.get("Item", key)

    def __eq__(self, other):
        return isinstance(other, Object) and bool(_object_same(self._handle, other._handle))

    def __hash__(self):
        return hash(self.type_name)

    def __repr__(self):
        return "<zmdbfunc.Object %s>" % self.type_name


def new_object(type_name, **args):
    """A new Connection, Recordset, Database, Parameter or headless control."""
    keep = []
    names = (ctypes.c_char_p * max(len(args), 1))(*[k.encode("utf-8") for k in args])
    handle = _P()
    _check(_object_new(type_name.encode("utf-8"), names, _values(list(args.values()), keep),
                       len(args), ctypes.byref(handle)))
    return Object(handle.value)


class _HostObject:
    """The callbacks of a host object, kept alive while the library holds it."""

    _alive = set()

    def __init__(self, get, set_, call):
        self.get, self.set, self.call = get, set_, call
        self.keep = []  # what the latest callback handed back
        self.callbacks = _ObjectCallbacks(_GET(self._get), _SET(self._set), _CALL(self._call),
                                          _RELEASE(self._release))
        _HostObject._alive.add(self)

    def _answer(self, work):
        try:
            work()
            return 0
        except Error as e:
            return e.number or 5
        except AttributeError:
            return 438
        except Exception:  # anything else the host raises: invalid call
            return 5

    def _get(self, _user, name, index, nindex, result):
        def work():
            if self.get is None:
                raise AttributeError(name)
            value = self.get(name.decode("utf-8"), *[_from_c(index[i]) for i in range(nindex)])
            self.keep = []
            _to_c(value, result[0], self.keep)
        return self._answer(work)

    def _set(self, _user, name, value, index, nindex):
        def work():
            if self.set is None:
                raise AttributeError(name)
            self.set(name.decode("utf-8"), _from_c(value[0]),
                     *[_from_c(index[i]) for i in range(nindex)])
        return self._answer(work)

    def _call(self, _user, name, args, nargs, result):
        def work():
            if self.call is None:
                raise AttributeError(name)
            refs = [Ref(_from_c(args[i])) for i in range(nargs)]
            before = [r.value for r in refs]
            value = self.call(name.decode("utf-8"), *refs)
            self.keep = []
            for i, r in enumerate(refs):
                if r.value is not before[i]:
                    _to_c(r.value, args[i], self.keep)
            _to_c(value, result[0], self.keep)
        return self._answer(work)

    def _release(self, _user):
        _HostObject._alive.discard(self)


def host_object(type_name, get=None, set=None, call=None):
    """An object of the host whose members are Python functions:
    get(name, *index) -> value, set(name, value, *index), and
    call(name, *refs) -> value, where each argument is a Ref whose ``value``
    may be replaced to write it back. Raise AttributeError for an unknown
    member (error 438) or zmdbfunc.Error for another error."""
    served = _HostObject(get, set, call)
    handle = _P()
    _check(_object_host(type_name.encode("utf-8"), ctypes.byref(served.callbacks), None,
                        ctypes.byref(handle)))
    return Object(handle.value)


_host = None


def set_host(message_box=None, set_pointer=None, do_events=None, unload=None):
    """Serve the host contracts with Python functions: message_box(prompt,
    buttons, title) -> answer (1 OK, 2 Cancel, 6 Yes, 7 No, ...),
    set_pointer(pointer), do_events(), unload(form). With no functions at all
    the headless host comes back."""
    global _host
    if not any((message_box, set_pointer, do_events, unload)):
        _check(_set_host(None, None))
        _host = None
        return

    def box(_user, prompt, buttons, title):
        return int(message_box(prompt.decode("utf-8"), buttons, title.decode("utf-8")))

    callbacks = _HostCallbacks(
        _BOX(box) if message_box else _BOX(),
        _POINTER(lambda _u, p: set_pointer(p)) if set_pointer else _POINTER(),
        _EVENTS(lambda _u: do_events()) if do_events else _EVENTS(),
        _UNLOAD(lambda _u, f: unload(Object(_object_retain(f)))) if unload else _UNLOAD())
    _check(_set_host(ctypes.byref(callbacks), None))
    _host = callbacks  # the library calls these for as long as they are installed


# ---- the component ----


def methods():
    """Every method: (name, dispatch id, [(argument, optional, by reference)])."""
    out = []
    for i in range(_method_count()):
        name, dispid, nargs = _char(), _long(), _size()
        _check(_method_info(i, ctypes.byref(name), ctypes.byref(dispid), ctypes.byref(nargs)))
        args = []
        for a in range(nargs.value):
            arg, flags = _char(), _int()
            _check(_method_arg(i, a, ctypes.byref(arg), ctypes.byref(flags)))
            args.append((arg.value.decode(), bool(flags.value & _ARG_OPTIONAL),
                         bool(flags.value & _ARG_BYREF)))
        out.append((name.value.decode(), dispid.value, args))
    return out


_METHODS = {name.lower(): (name, dispid, args) for name, dispid, args in methods()}


class Component:
    """A clsZMDBFunc object. Its methods are attributes: ``o.dbGetValue(...)``,
    arguments by position or by name (any case)."""

    def __init__(self):
        handle = _P()
        _check(_component_create(ctypes.byref(handle)))
        self._handle = handle.value
        self.last_byref = {}

    def close(self):
        """Runs the object's teardown now rather than when it is collected."""
        if self._handle:
            _component_release(self._handle)
            self._handle = None

    def __del__(self):
        if getattr(self, "_handle", None) and _component_release is not None:
            self.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def call(self, method, *args, **kwargs):
        """Call a method by name or (an int) by dispatch id."""
        entry = None
        if isinstance(method, int):
            entry = next((m for m in _METHODS.values() if m[1] == method), None)
        else:
            entry = _METHODS.get(method.lower())
        args = list(args)
        if kwargs:
            if entry is None:
                raise TypeError("arguments by name need a known method")
            names = [a[0].lower() for a in entry[2]]
            for key, value in kwargs.items():
                if key.lower() not in names:
                    raise TypeError("%s has no argument named %r" % (entry[0], key))
                place = names.index(key.lower())
                args.extend([MISSING] * (place + 1 - len(args)))
                args[place] = value
        keep = []
        result, after = _Value(), (_Value * max(len(args), 1))()
        if self._handle is None:
            raise Error(5, "zmdbfunc", "the component was closed")
        if isinstance(method, int):
            rc = _call_dispid(self._handle, method, _values(args, keep), len(args),
                              ctypes.byref(result), after)
        else:
            rc = _call(self._handle, method.encode("utf-8"), _values(args, keep), len(args),
                       ctypes.byref(result), after)
        try:
            value, values = _finish(rc, result, after, args)
        finally:
            self.last_byref = {}
        if entry is not None:
            self.last_byref = {entry[2][i][0]: values[i] for i in range(len(values))
                               if entry[2][i][2] and args[i] is not MISSING}
        return value

    def __getattr__(self, name):
        if name.startswith("_") or name.lower() not in _METHODS:
            raise AttributeError(name)
        return lambda *args, **kwargs: self.call(name, *args, **kwargs)
