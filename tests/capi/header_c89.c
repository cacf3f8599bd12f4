/* The public header compiles as strict C89 too. */
#include "zmdb/zmdb.h"

int zmdb_header_c89_check(void);
int zmdb_header_c89_check(void) {
  zmdb_value v;
  v.kind = ZMDB_EMPTY;
  return v.kind;
}
