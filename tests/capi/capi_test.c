/* The C interface from C: values both ways, methods by name and dispatch id,
 * by-reference arguments, arrays, records, errors, objects reached by member
 * name, and the host's callbacks.
 *
 *   capi_tests <group> <work directory>
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zmdb/zmdb.h"

static int failures = 0;
static const char* work_dir = ".";

#define CHECK(cond)                                                            \
  do {                                                                         \
    if (!(cond)) {                                                             \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                              \
    }                                                                          \
  } while (0)

/* ---- building values ---- */

static zmdb_value v_kind(int kind) {
  return (zmdb_value){.kind = kind};
}
static zmdb_value v_int(long i) {
  return (zmdb_value){.kind = ZMDB_INTEGER, .integer = i};
}
static zmdb_value v_bool(long b) {
  return (zmdb_value){.kind = ZMDB_BOOLEAN, .integer = b};
}
static zmdb_value v_num(int kind, double d) {
  return (zmdb_value){.kind = kind, .number = d};
}
static zmdb_value v_text(const char* s) {
  return (zmdb_value){.kind = ZMDB_TEXT, .text = s};
}
static zmdb_value v_array(long lbound, zmdb_value* items, size_t count) {
  return (zmdb_value){.kind = ZMDB_ARRAY, .lbound = lbound, .items = items, .count = count};
}
static zmdb_value v_record(const char* type, const char* const* names, zmdb_value* items,
                           size_t count) {
  return (zmdb_value){
      .kind = ZMDB_RECORD, .text = type, .names = names, .items = items, .count = count};
}
static zmdb_value v_object(zmdb_object* o) {
  return (zmdb_value){.kind = ZMDB_OBJECT, .object = o};
}
/* A value holding exactly this text. */
static int is_text(const zmdb_value* v, const char* s) {
  return v->kind == ZMDB_TEXT && strcmp(v->text, s) == 0;
}

/* Deep equality of two values as the library hands them back. */
static int same(const zmdb_value* a, const zmdb_value* b) {
  size_t i;
  if (a->kind != b->kind) return 0;
  switch (a->kind) {
    case ZMDB_INTEGER:
    case ZMDB_BOOLEAN:
    case ZMDB_ERROR:
      return a->integer == b->integer;
    case ZMDB_DOUBLE:
    case ZMDB_DATE:
      return a->number == b->number;
    case ZMDB_TEXT:
      return strcmp(a->text, b->text) == 0;
    case ZMDB_OBJECT:
      return zmdb_object_same(a->object, b->object);
    case ZMDB_ARRAY:
      if (a->unallocated || b->unallocated) return a->unallocated == b->unallocated;
      if (a->lbound != b->lbound || a->count != b->count) return 0;
      for (i = 0; i < a->count; ++i)
        if (!same(&a->items[i], &b->items[i])) return 0;
      return 1;
    case ZMDB_RECORD:
      if (a->count != b->count || strcmp(a->text ? a->text : "Record", b->text) != 0) return 0;
      for (i = 0; i < a->count; ++i)
        if (strcmp(a->names[i], b->names[i]) != 0 || !same(&a->items[i], &b->items[i])) return 0;
      return 1;
    default:
      return 1;
  }
}

/* ---- a host-side object: Echo(x) answers x; Swap(a, b) exchanges its
 * by-reference arguments; the property Tag is kept; anything else is 438 ---- */

typedef struct echo_state {
  zmdb_value tag_items[1];
  char tag[64];
  int released;
  int calls;
  zmdb_value swapped[2];
} echo_state;

static int echo_call(void* user, const char* name, zmdb_value* args, size_t nargs,
                     zmdb_value* result) {
  echo_state* s = (echo_state*)user;
  ++s->calls;
  if (strcmp(name, "Echo") == 0 && nargs == 1) {
    *result = args[0]; /* the library copies it before the lent args go */
    return 0;
  }
  if (strcmp(name, "Swap") == 0 && nargs == 2) {
    s->swapped[0] = args[1];
    s->swapped[1] = args[0];
    args[0] = s->swapped[0];
    args[1] = s->swapped[1];
    *result = v_bool(1);
    return 0;
  }
  return 438;
}
static int echo_get(void* user, const char* name, const zmdb_value* index, size_t nindex,
                    zmdb_value* result) {
  echo_state* s = (echo_state*)user;
  (void)index;
  if (strcmp(name, "Tag") != 0 || nindex != 0) return 438;
  *result = v_text(s->tag);
  return 0;
}
static int echo_set(void* user, const char* name, const zmdb_value* value, const zmdb_value* index,
                    size_t nindex) {
  echo_state* s = (echo_state*)user;
  (void)index;
  if (strcmp(name, "Tag") != 0 || nindex != 0) return 438;
  if (value->kind != ZMDB_TEXT) return 13;
  strncpy(s->tag, value->text, sizeof s->tag - 1);
  return 0;
}
static void echo_release(void* user) {
  ((echo_state*)user)->released++;
}

static zmdb_object* new_echo(echo_state* state) {
  zmdb_object_callbacks cb;
  zmdb_object* o = NULL;
  memset(state, 0, sizeof *state);
  cb.get = echo_get;
  cb.set = echo_set;
  cb.call = echo_call;
  cb.release = echo_release;
  CHECK(zmdb_object_host("Echo", &cb, state, &o) == ZMDB_OK);
  CHECK(o != NULL && strcmp(zmdb_object_type(o), "Echo") == 0);
  return o;
}

/* Every kind of value goes to a host object and comes back as it went, or as
 * the library normalises it. */
static void test_values(void) {
  echo_state state;
  zmdb_object* echo = new_echo(&state);
  static const char* const names[] = {"Number", "Source"};
  zmdb_value pair[2], record_items[2], inner[1], nested[1], none[1], empty_array;
  struct {
    const char* what;
    zmdb_value in;
    zmdb_value expect;
  } cases[18];
  size_t n = 0, i;

  pair[0] = v_int(7);
  pair[1] = v_text("二");
  record_items[0] = v_int(3);
  record_items[1] = v_text("s");
  inner[0] = v_kind(ZMDB_NULL);
  nested[0] = v_array(0, inner, 1);
  none[0] = v_kind(ZMDB_EMPTY);
  empty_array = v_array(0, none, 0);

#define CASE(w, a, b) cases[n].what = w, cases[n].in = a, cases[n].expect = b, ++n
  CASE("empty", v_kind(ZMDB_EMPTY), v_kind(ZMDB_EMPTY));
  CASE("null", v_kind(ZMDB_NULL), v_kind(ZMDB_NULL));
  CASE("missing", v_kind(ZMDB_MISSING), v_kind(ZMDB_MISSING));
  CASE("negative integer", v_int(-7), v_int(-7));
  CASE("largest Long", v_int(2147483647L), v_int(2147483647L));
  CASE("double", v_num(ZMDB_DOUBLE, 2.5), v_num(ZMDB_DOUBLE, 2.5));
  CASE("True other than 1", v_bool(5), v_bool(1));
  CASE("False", v_bool(0), v_bool(0));
  CASE("UTF-8 text", v_text("表名 Staff"), v_text("表名 Staff"));
  CASE("no text pointer", v_text(NULL), v_text(""));
  CASE("date with time", v_num(ZMDB_DATE, 38229.5), v_num(ZMDB_DATE, 38229.5));
  CASE("date before 1899-12-30", v_num(ZMDB_DATE, -1.25), v_num(ZMDB_DATE, -1.25));
  CASE("array from 1", v_array(1, pair, 2), v_array(1, pair, 2));
  CASE("nested array", v_array(-3, nested, 1), v_array(-3, nested, 1));
  CASE("allocated empty array", empty_array, empty_array);
  cases[n].what = "unallocated array";
  cases[n].in = v_kind(ZMDB_ARRAY);
  cases[n].in.unallocated = 1;
  cases[n].expect = cases[n].in;
  ++n;
  CASE("record", v_record("ErrStruct", names, record_items, 2),
       v_record("ErrStruct", names, record_items, 2));
  CASE("object handle", v_object(echo), v_object(echo));
#undef CASE

  for (i = 0; i < n; ++i) {
    zmdb_value out, after[1];
    int rc = zmdb_object_call(echo, "Echo", &cases[i].in, 1, &out, after);
    if (rc != ZMDB_OK || !same(&out, &cases[i].expect) || !same(&after[0], &cases[i].expect)) {
      fprintf(stderr, "value case '%s': rc %d, kind %d\n", cases[i].what, rc, out.kind);
      ++failures;
    }
    zmdb_value_clear(&out);
    zmdb_value_clear(&after[0]);
    CHECK(out.kind == ZMDB_EMPTY);
  }

  /* A record without a type name comes back as a plain "Record". */
  {
    zmdb_value in = v_record(NULL, names, record_items, 2), out;
    CHECK(zmdb_object_call(echo, "Echo", &in, 1, &out, NULL) == ZMDB_OK);
    CHECK(out.kind == ZMDB_RECORD && strcmp(out.text, "Record") == 0);
    zmdb_value_clear(&out);
  }
  /* A whole number beyond a Long travels as a Double where long is wider. */
  if (sizeof(long) > 4) {
    zmdb_value in = v_int(2147483647L), out;
    in.integer = in.integer * 4;
    CHECK(zmdb_object_call(echo, "Echo", &in, 1, &out, NULL) == ZMDB_OK);
    CHECK(out.kind == ZMDB_DOUBLE && out.number == 4.0 * 2147483647.0);
    zmdb_value_clear(&out);
  }
  zmdb_object_release(echo);
  CHECK(state.released == 1);
}

/* Members of a host object: properties kept, by-reference arguments written
 * back, a callback's error number raised, and released once with the last
 * handle. */
static void test_host_object(void) {
  echo_state state;
  zmdb_object *echo = new_echo(&state), *second;
  zmdb_value args[2], after[2], out, tag = v_text("列表");
  args[0] = v_int(1);
  args[1] = v_text("b");

  CHECK(zmdb_object_set(echo, "Tag", &tag, NULL, 0) == ZMDB_OK);
  CHECK(zmdb_object_get(echo, "Tag", NULL, 0, &out) == ZMDB_OK);
  CHECK(is_text(&out, "列表"));
  zmdb_value_clear(&out);

  CHECK(zmdb_object_call(echo, "Swap", args, 2, &out, after) == ZMDB_OK);
  CHECK(is_text(&after[0], "b"));
  CHECK(after[1].kind == ZMDB_INTEGER && after[1].integer == 1);
  CHECK(args[0].kind == ZMDB_INTEGER); /* what the caller gave is not touched */
  zmdb_value_clear(&out);
  zmdb_value_clear(&after[0]);
  zmdb_value_clear(&after[1]);

  /* The callback's error numbers, and a value of the wrong kind. */
  CHECK(zmdb_object_get(echo, "Nope", NULL, 0, &out) == 438);
  CHECK(zmdb_error_number() == 438);
  CHECK(strstr(zmdb_error_description(), "Echo.Nope") != NULL);
  tag = v_int(3);
  CHECK(zmdb_object_set(echo, "Tag", &tag, NULL, 0) == 13);

  second = zmdb_object_retain(echo);
  CHECK(zmdb_object_same(echo, second));
  zmdb_object_release(echo);
  CHECK(state.released == 0);
  zmdb_object_release(second);
  CHECK(state.released == 1);
}

/* Values the library cannot read are refused with a number and a text,
 * before anything runs. */
static void test_errors(void) {
  zmdb_component* c = NULL;
  zmdb_value bad[1], out, after[4], deep[300];
  static const char* const no_names[1] = {NULL};
  size_t i;
  struct {
    const char* what;
    zmdb_value value;
  } cases[4];

  CHECK(zmdb_component_create(&c) == ZMDB_OK);
  bad[0] = v_int(1);
  cases[0].what = "unknown kind", cases[0].value = v_kind(99);
  cases[1].what = "items missing", cases[1].value = v_array(0, NULL, 2);
  cases[2].what = "names missing", cases[2].value = v_record("R", NULL, bad, 1);
  cases[3].what = "member without a name", cases[3].value = v_record("R", no_names, bad, 1);
  for (i = 0; i < 4; ++i) {
    int rc = zmdb_call(c, "dbGetJetConnect", &cases[i].value, 1, &out, NULL);
    if (rc != 5 || zmdb_error_number() != 5) {
      fprintf(stderr, "error case '%s': rc %d\n", cases[i].what, rc);
      ++failures;
    }
    CHECK(out.kind == ZMDB_EMPTY);
  }
  /* Arrays nested beyond the limit: Out of stack space, not a crash. */
  for (i = 0; i < 300; ++i) deep[i] = v_array(0, i + 1 < 300 ? &deep[i + 1] : NULL, i + 1 < 300);
  CHECK(zmdb_call(c, "dbGetJetConnect", deep, 1, &out, NULL) == 28);

  CHECK(zmdb_call(c, "dbNoSuchMethod", NULL, 0, &out, NULL) == 438);
  CHECK(strstr(zmdb_error_description(), "dbNoSuchMethod") != NULL);
  CHECK(zmdb_call(c, NULL, NULL, 0, &out, NULL) == 438);
  CHECK(zmdb_call(NULL, "dbClearError", NULL, 0, &out, NULL) == 5);
  CHECK(zmdb_call(c, "dbGetJetConnect", NULL, 0, &out, NULL) == 449);
  CHECK(strstr(zmdb_error_description(), "fsDatabase") != NULL);
  bad[0] = v_text("x");
  CHECK(zmdb_call(c, "dbGetLastError", bad, 1, &out, after) == 450);
  CHECK(zmdb_call_dispid(c, 0x60030001L, NULL, 0, &out, NULL) == 438);
  /* Unguarded methods let a conversion error out as a failed call. */
  bad[0] = v_text("not a flag");
  CHECK(zmdb_call(c, "dbSetDebug", bad, 1, &out, NULL) == 13);
  CHECK(zmdb_object_new("Teapot", NULL, NULL, 0, (zmdb_object**)&after[0].object) == 438);
  CHECK(after[0].object == NULL);
  zmdb_component_release(c);
}

/* ---- methods on a file database ---- */

static char db_path[512];
static char conn_str[1024];

static int exec_sql(zmdb_object* cn, const char* sql) {
  zmdb_value arg = v_text(sql), out;
  int rc = zmdb_object_call(cn, "Execute", &arg, 1, &out, NULL);
  zmdb_value_clear(&out);
  return rc;
}

/* A component connected to a new file database holding a table staff with
 * three rows; returns its default connection. */
static zmdb_object* connect_staff(zmdb_component* c, const char* file) {
  static const char* const db_names[] = {"Name", "Create"};
  zmdb_value db_args[2], out, arg[3];
  zmdb_object *db = NULL, *cn = NULL;

  sprintf(db_path, "%s/%s", work_dir, file);
  remove(db_path);
  db_args[0] = v_text(db_path);
  db_args[1] = v_bool(1);
  CHECK(zmdb_object_new("Database", db_names, db_args, 2, &db) == ZMDB_OK);
  CHECK(db && strcmp(zmdb_object_type(db), "Database") == 0);
  zmdb_object_release(db);

  arg[0] = v_text(db_path);
  CHECK(zmdb_call(c, "dbGetJetConnect", arg, 1, &out, NULL) == ZMDB_OK);
  CHECK(out.kind == ZMDB_TEXT && strstr(out.text, db_path) != NULL);
  strncpy(conn_str, out.text, sizeof conn_str - 1);
  zmdb_value_clear(&out);

  arg[0] = v_text(conn_str);
  arg[1] = v_bool(0);
  arg[2] = v_int(3); /* a client-side cursor, which counts its rows */
  CHECK(zmdb_call(c, "dbSetConnect", arg, 3, &out, NULL) == ZMDB_OK);
  CHECK(out.kind == ZMDB_BOOLEAN && out.integer == 1);
  arg[0] = v_bool(0);
  CHECK(zmdb_call(c, "dbGetConnect", arg, 1, &out, NULL) == ZMDB_OK);
  CHECK(out.kind == ZMDB_OBJECT && out.object != NULL);
  if (out.kind != ZMDB_OBJECT || !out.object) return NULL;
  cn = zmdb_object_retain(out.object);
  zmdb_value_clear(&out);
  CHECK(exec_sql(cn, "CREATE TABLE staff (ID INTEGER, Name TEXT(20))") == ZMDB_OK);
  CHECK(exec_sql(cn, "INSERT INTO staff VALUES (1, '张三')") == ZMDB_OK);
  CHECK(exec_sql(cn, "INSERT INTO staff VALUES (2, '李四')") == ZMDB_OK);
  CHECK(exec_sql(cn, "INSERT INTO staff VALUES (3, 'Wang')") == ZMDB_OK);
  return cn;
}

/* By-reference arguments and arrays: dbGetValue writes its fItemData, and
 * dbGetRecord answers an array and writes its count. */
static void test_byref_and_arrays(void) {
  zmdb_component* c = NULL;
  zmdb_object* cn;
  zmdb_value args[4], after[4], out;
  size_t i;
  CHECK(zmdb_component_create(&c) == ZMDB_OK);
  cn = connect_staff(c, "byref.mdb");

  args[0] = v_text("staff");
  args[1] = v_text("Name");
  args[2] = v_text("ID=2");
  args[3] = v_text("unchanged");
  CHECK(zmdb_call(c, "dbGetValue", args, 4, &out, after) == ZMDB_OK);
  CHECK(out.kind == ZMDB_BOOLEAN && out.integer == 1);
  CHECK(is_text(&after[3], "李四"));
  CHECK(is_text(&after[0], "staff"));
  CHECK(strcmp(args[3].text, "unchanged") == 0);
  for (i = 0; i < 4; ++i) zmdb_value_clear(&after[i]);
  zmdb_value_clear(&out);

  /* The same method by its dispatch id; no row leaves fItemData as it was. */
  args[2] = v_text("ID=9");
  CHECK(zmdb_call_dispid(c, 0x6003001aL, args, 4, &out, after) == ZMDB_OK);
  CHECK(out.kind == ZMDB_BOOLEAN && out.integer == 0);
  CHECK(is_text(&after[3], "unchanged"));
  for (i = 0; i < 4; ++i) zmdb_value_clear(&after[i]);
  zmdb_value_clear(&out);

  args[2] = v_int(0);
  CHECK(zmdb_call(c, "dbGetRecord", args, 3, &out, after) == ZMDB_OK);
  CHECK(out.kind == ZMDB_ARRAY && !out.unallocated && out.lbound == 1 && out.count == 3);
  if (out.kind == ZMDB_ARRAY && out.count == 3) {
    CHECK(is_text(&out.items[out.count - 1], "Wang"));
  }
  CHECK(after[2].kind == ZMDB_INTEGER && after[2].integer == 3);
  for (i = 0; i < 3; ++i) zmdb_value_clear(&after[i]);
  zmdb_value_clear(&out);

  zmdb_object_release(cn);
  zmdb_component_release(c);
  remove(db_path);
}

/* Field-structure records making a fabricated recordset, whose members are
 * then read by name. */
static void test_records(void) {
  static const char* const field_names[] = {"Name", "Type", "DefinedSize"};
  zmdb_component* c = NULL;
  zmdb_value f1[3], f2[3], fields[2], array, out, count, index, name;
  zmdb_object *rs, *fs, *field;
  CHECK(zmdb_component_create(&c) == ZMDB_OK);

  f1[0] = v_text("ID");
  f1[1] = v_int(3);
  f1[2] = v_int(4);
  f2[0] = v_text("名称");
  f2[1] = v_int(202);
  f2[2] = v_int(50);
  fields[0] = v_record("FieldStruct", field_names, f1, 3);
  fields[1] = v_record("FieldStruct", field_names, f2, 3);
  array = v_array(1, fields, 2);
  CHECK(zmdb_call(c, "dbCreateVRecord", &array, 1, &out, NULL) == ZMDB_OK);
  CHECK(out.kind == ZMDB_OBJECT && out.object != NULL);
  if (out.kind == ZMDB_OBJECT && out.object) {
    rs = zmdb_object_retain(out.object);
    zmdb_value_clear(&out);
    CHECK(strcmp(zmdb_object_type(rs), "Recordset") == 0);
    CHECK(zmdb_object_get(rs, "Fields", NULL, 0, &out) == ZMDB_OK);
    fs = zmdb_object_retain(out.object);
    zmdb_value_clear(&out);
    CHECK(zmdb_object_get(fs, "Count", NULL, 0, &count) == ZMDB_OK);
    CHECK(count.kind == ZMDB_INTEGER && count.integer == 2);
    index = v_int(1);
    CHECK(zmdb_object_get(fs, "Item", &index, 1, &out) == ZMDB_OK);
    field = out.kind == ZMDB_OBJECT ? out.object : NULL;
    CHECK(field && zmdb_object_get(field, "Name", NULL, 0, &name) == ZMDB_OK);
    CHECK(is_text(&name, "名称"));
    zmdb_value_clear(&name);
    zmdb_value_clear(&out);
    CHECK(zmdb_object_get(rs, "NoSuchMember", NULL, 0, &out) == 438);
    zmdb_object_release(fs);
    zmdb_object_release(rs);
  }
  zmdb_component_release(c);
}

/* An object the caller makes, reached by member name in any case. */
static void test_objects(void) {
  zmdb_object* bar = NULL;
  zmdb_value v, out;

  CHECK(zmdb_object_new("ProgressBar", NULL, NULL, 0, &bar) == ZMDB_OK);
  v = v_int(10);
  CHECK(zmdb_object_set(bar, "Max", &v, NULL, 0) == ZMDB_OK);
  v = v_int(4);
  CHECK(zmdb_object_set(bar, "value", &v, NULL, 0) == ZMDB_OK);
  CHECK(zmdb_object_get(bar, "Value", NULL, 0, &out) == ZMDB_OK);
  CHECK(out.kind != ZMDB_EMPTY && (out.kind == ZMDB_INTEGER ? out.integer == 4 : out.number == 4));
  zmdb_value_clear(&out);
  v = v_int(11); /* beyond Max: the control refuses it */
  CHECK(zmdb_object_set(bar, "Value", &v, NULL, 0) != ZMDB_OK);
  CHECK(zmdb_error_number() != 0 && zmdb_error_description()[0] != '\0');
  zmdb_object_release(bar);
}

/* ---- the host's message box ---- */

typedef struct box_log {
  int count;
  int buttons;
  char title[64];
  char prompt[512];
  int pointer_changes;
} box_log;

static int answer_box(void* user, const char* prompt, int buttons, const char* title) {
  box_log* log = (box_log*)user;
  ++log->count;
  log->buttons = buttons;
  strncpy(log->title, title, sizeof log->title - 1);
  strncpy(log->prompt, prompt, sizeof log->prompt - 1);
  return 1;
}
static void note_pointer(void* user, int pointer) {
  (void)pointer;
  ((box_log*)user)->pointer_changes++;
}

/* A guarded method that fails returns its failure value, not an error, and
 * records the last error, which comes back as an ErrStruct record; with the
 * debug flag the host's message box shows it. */
static void test_host_message_box(void) {
  zmdb_host_callbacks host;
  box_log log;
  zmdb_component* c = NULL;
  zmdb_value arg[2], out;
  memset(&host, 0, sizeof host);
  memset(&log, 0, sizeof log);
  host.message_box = answer_box;
  host.set_pointer = note_pointer;
  CHECK(zmdb_set_host(&host, &log) == ZMDB_OK);
  CHECK(zmdb_component_create(&c) == ZMDB_OK);

  /* Without the debug flag a failing guarded method shows nothing. */
  arg[0] = v_text("Provider=NoSuchProvider;");
  arg[1] = v_bool(0);
  CHECK(zmdb_call(c, "dbSetConnect", arg, 2, &out, NULL) == ZMDB_OK);
  CHECK(log.count == 0);
  arg[0] = v_bool(1);
  CHECK(zmdb_call(c, "dbSetDebug", arg, 1, &out, NULL) == ZMDB_OK);
  CHECK(out.kind == ZMDB_EMPTY);
  arg[0] = v_text("Provider=NoSuchProvider;");
  arg[1] = v_bool(0);
  CHECK(zmdb_call(c, "dbSetConnect", arg, 2, &out, NULL) == ZMDB_OK);
  CHECK(out.kind == ZMDB_BOOLEAN && out.integer == 0);
  CHECK(log.count == 1);
  CHECK(strcmp(log.title, "DebugMode") == 0 && log.buttons == 0);
  CHECK(strncmp(log.prompt, "Number:", 7) == 0 && strstr(log.prompt, "\r\nSource:") != NULL &&
        strstr(log.prompt, "\r\nText:") != NULL);

  CHECK(zmdb_call(c, "dbGetLastError", NULL, 0, &out, NULL) == ZMDB_OK);
  CHECK(out.kind == ZMDB_RECORD && strcmp(out.text, "ErrStruct") == 0 && out.count == 3);
  if (out.kind == ZMDB_RECORD && out.count == 3) {
    CHECK(strcmp(out.names[0], "Number") == 0 && out.items[0].integer != 0);
    CHECK(strcmp(out.names[1], "Description") == 0 && out.items[1].kind == ZMDB_TEXT);
    CHECK(strcmp(out.names[2], "Source") == 0);
  }
  zmdb_value_clear(&out);
  CHECK(zmdb_call(c, "dbClearError", NULL, 0, &out, NULL) == ZMDB_OK);
  CHECK(zmdb_call(c, "dbGetLastError", NULL, 0, &out, NULL) == ZMDB_OK);
  CHECK(out.kind == ZMDB_RECORD && out.count == 3 && out.items[0].integer == 0);
  zmdb_value_clear(&out);

  zmdb_component_release(c);
  CHECK(zmdb_set_host(NULL, NULL) == ZMDB_OK);
}

int main(int argc, char** argv) {
  struct {
    const char* name;
    void (*run)(void);
  } groups[] = {{"values", test_values},
                {"host_object", test_host_object},
                {"errors", test_errors},
                {"byref_and_arrays", test_byref_and_arrays},
                {"records", test_records},
                {"objects", test_objects},
                {"host_message_box", test_host_message_box}};
  size_t i, ran = 0;
  if (argc > 2) work_dir = argv[2];
  zmdb_set_host(NULL, NULL);
  for (i = 0; i < sizeof groups / sizeof groups[0]; ++i) {
    if (argc < 2 || strcmp(argv[1], groups[i].name) == 0) {
      groups[i].run();
      ++ran;
    }
  }
  if (ran == 0) {
    fprintf(stderr, "no test group named %s\n", argv[1]);
    return 2;
  }
  if (failures) fprintf(stderr, "%d check(s) failed\n", failures);
  return failures ? 1 : 0;
}
