/*
 * An application of the installed library in C, through zmdb/zmdb.h only:
 * it makes a file database, fills a table through the component's default
 * connection, calls a few methods by name and prints what they answered,
 * one line each. The install test builds it with pkg-config's flags.
 *
 *   orders_c DIRECTORY
 */
#include <stdio.h>
#include <string.h>
#include <zmdb/zmdb.h>

static zmdb_value text(const char* s) {
  zmdb_value v;
  memset(&v, 0, sizeof v);
  v.kind = ZMDB_TEXT;
  v.text = s;
  return v;
}

static zmdb_value boolean(int b) {
  zmdb_value v;
  memset(&v, 0, sizeof v);
  v.kind = ZMDB_BOOLEAN;
  v.integer = b;
  return v;
}

/* Calls a method and prints "name: result" for an integer or Boolean result. */
static int print_call(zmdb_component* c, const char* method, const zmdb_value* args, size_t n) {
  zmdb_value result;
  int rc;
  memset(&result, 0, sizeof result);
  rc = zmdb_call(c, method, args, n, &result, NULL);
  if (rc != ZMDB_OK) {
    printf("%s: error %d %s\n", method, rc, zmdb_error_description());
  } else {
    printf("%s: %ld\n", method, result.integer);
  }
  zmdb_value_clear(&result);
  return rc;
}

int main(int argc, char** argv) {
  char path[4096];
  zmdb_component* c = NULL;
  zmdb_value result, args[4], after[4], cn;
  const char* statements[] = {"CREATE TABLE Orders (ID COUNTER PRIMARY KEY, Item TEXT(20))",
                              "INSERT INTO Orders (Item) VALUES ('Paper')",
                              "INSERT INTO Orders (Item) VALUES ('墨水')"};
  size_t i;
  FILE* f;
  if (argc != 2) {
    fprintf(stderr, "usage: orders_c DIRECTORY\n");
    return 2;
  }
  snprintf(path, sizeof path, "%s/orders_c.mdb", argv[1]);
  /* An empty file is an empty database of the file store. */
  f = fopen(path, "wb");
  if (f == NULL) return 1;
  fclose(f);

  if (zmdb_component_create(&c) != ZMDB_OK) return 1;
  memset(&result, 0, sizeof result);
  args[0] = text(path);
  if (zmdb_call(c, "dbGetJetConnect", args, 1, &result, NULL) != ZMDB_OK) return 1;
  printf("names the file: %s\n",
         result.kind == ZMDB_TEXT && strstr(result.text, path) ? "yes" : "no");
  args[0] = text(result.text);
  args[1] = boolean(0);
  print_call(c, "dbSetConnect", args, 2);
  zmdb_value_clear(&result);

  args[0] = boolean(0);
  memset(&cn, 0, sizeof cn);
  if (zmdb_call(c, "dbGetConnect", args, 1, &cn, NULL) != ZMDB_OK || cn.kind != ZMDB_OBJECT)
    return 1;
  printf("a %s\n", zmdb_object_type(cn.object));
  for (i = 0; i < sizeof statements / sizeof statements[0]; ++i) {
    args[0] = text(statements[i]);
    memset(&result, 0, sizeof result);
    if (zmdb_object_call(cn.object, "Execute", args, 1, &result, NULL) != ZMDB_OK) return 1;
    zmdb_value_clear(&result);
  }

  args[0] = text("Orders");
  args[1] = cn;
  print_call(c, "dbTableExists", args, 2);

  /* dbGetValue writes the value into its fourth, by-reference argument. */
  args[0] = text("Orders");
  args[1] = text("Item");
  args[2] = text("ID=2");
  args[3] = text("");
  memset(after, 0, sizeof after);
  memset(&result, 0, sizeof result);
  if (zmdb_call(c, "dbGetValue", args, 4, &result, after) != ZMDB_OK) return 1;
  printf("dbGetValue: %ld %s\n", result.integer, after[3].kind == ZMDB_TEXT ? after[3].text : "?");
  for (i = 0; i < 4; ++i) zmdb_value_clear(&after[i]);
  zmdb_value_clear(&result);

  /* A failing late-bound call is a returned number with its text. */
  args[0] = text("SELECT * FROM Missing");
  memset(&result, 0, sizeof result);
  printf("raised: %s\n",
         zmdb_object_call(cn.object, "Execute", args, 1, &result, NULL) != ZMDB_OK &&
                 zmdb_error_description()[0]
             ? "a numbered error with its text"
             : "nothing");
  zmdb_value_clear(&cn);
  args[0] = boolean(0);
  print_call(c, "dbCloseConnect", args, 1);
  zmdb_component_release(c);
  return 0;
}
