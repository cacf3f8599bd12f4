/*
 * The C interface of ZMDBFunc, for programs in C and for other languages
 * (through their foreign-function interfaces). Plain C89: no C++ type crosses
 * it, and nothing thrown inside the library ever leaves it.
 *
 * Errors. Every function that can fail returns an int: ZMDB_OK (0) on
 * success, otherwise the number of the error (the run time's numbering: 5
 * invalid procedure call, 13 type mismatch, 438 no such member, 449 argument
 * not optional, ...). The number, source and text of the latest failure on the
 * calling thread are read with zmdb_error_number, zmdb_error_source and
 * zmdb_error_description; a success does not clear them. This is the failure
 * of the call itself: what a guarded method records (its "last error") is read
 * by calling dbGetLastError like any other method.
 *
 * Values. A zmdb_value is a tagged value. Values passed IN (arguments, a
 * property's new value) belong to the caller: the library reads them during
 * the call and keeps no pointer into them. Values passed OUT (results,
 * arguments after a call, property values) are filled by the library with
 * memory it allocated: every such value must be freed with zmdb_value_clear,
 * which frees its text, elements, member names and releases its object
 * handle, and leaves the value EMPTY. Clearing a zero-filled or EMPTY value
 * does nothing, so out-values may be cleared unconditionally. Never call
 * zmdb_value_clear on a value you built yourself.
 *
 * Handles. zmdb_component and zmdb_object are opaque. Each handle returned
 * to you (by a create function, zmdb_object_retain, or inside an out-value)
 * holds one reference and is released exactly once: a component with
 * zmdb_component_release, an object handle with zmdb_object_release, or by
 * zmdb_value_clear when it sits inside an out-value (zmdb_object_retain it
 * first to keep it longer). The object lives while any handle or the library
 * still refers to it.
 *
 * Strings returned as const char * (error texts, method and argument names,
 * type names) belong to the library; do not free them. Method and argument
 * names live as long as the process; the others as the text says.
 *
 * Threads. A component and the objects it hands out are used on the thread
 * that created the component; library-wide state (the default database) is
 * one copy per thread. The host callbacks are process-wide.
 */
#ifndef ZMDB_ZMDB_H
#define ZMDB_ZMDB_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ZMDB_OK 0

/* The kinds of a zmdb_value, and the members each kind uses. */
#define ZMDB_EMPTY 0   /* no value (an uninitialised Variant) */
#define ZMDB_NULL 1    /* the database Null */
#define ZMDB_MISSING 2 /* an omitted optional argument */
#define ZMDB_INTEGER 3 /* integer: a 32-bit signed value (Byte, Integer, Long) */
#define ZMDB_DOUBLE 4  /* number (Single, Double; Currency comes out as a Double) */
#define ZMDB_BOOLEAN 5 /* integer: 0 for False, any other value True (out: 1) */
#define ZMDB_TEXT 6    /* text: NUL-terminated UTF-8 */
#define ZMDB_DATE 7    /* number: days since 1899-12-30, the time as the fraction */
#define ZMDB_ARRAY 8   /* lbound, count elements in items; unallocated when set */
#define ZMDB_RECORD 9  /* text: type name (may be NULL); count members: names, items */
#define ZMDB_OBJECT 10 /* object: an object handle; NULL is Nothing */
#define ZMDB_ERROR 11  /* integer: an error code held as a value */

typedef struct zmdb_component zmdb_component;
typedef struct zmdb_object zmdb_object;

typedef struct zmdb_value {
  int kind;
  long integer;
  double number;
  const char* text;
  long lbound;
  int unallocated;
  size_t count;
  struct zmdb_value* items;
  const char* const* names;
  zmdb_object* object;
} zmdb_value;

/* Frees what an out-value owns (see above) and leaves it EMPTY. */
void zmdb_value_clear(zmdb_value* value);

/* ---- Errors of the latest failed call on this thread ---- */

/* The number, or 0 when no call on this thread has failed yet. */
long zmdb_error_number(void);
/* Source and text; valid until the next failing call on this thread. */
const char* zmdb_error_source(void);
const char* zmdb_error_description(void);

/* ---- The component object (clsZMDBFunc) and its methods ---- */

int zmdb_component_create(zmdb_component** out);
/* Runs the object's teardown. NULL is ignored. */
void zmdb_component_release(zmdb_component* component);

/*
 * Call a method by name (any case) or by dispatch id, with its arguments by
 * position. Fewer than the declared arguments may be given; the rest, and any
 * given as ZMDB_MISSING, are omitted (optional arguments take their defaults).
 * `result` (may be NULL) receives the result (EMPTY for a method without
 * one). `after` (may be NULL) is room for `nargs` values that receive every
 * argument as the method left it: by-reference arguments carry what the method
 * wrote back. `after` is filled also when the method raised an error.
 * Out-values: clear `result` and each of `after` with zmdb_value_clear.
 */
int zmdb_call(zmdb_component* component, const char* method, const zmdb_value* args, size_t nargs,
              zmdb_value* result, zmdb_value* after);
int zmdb_call_dispid(zmdb_component* component, long dispid, const zmdb_value* args, size_t nargs,
                     zmdb_value* result, zmdb_value* after);

/* ---- The method table (81 methods in type-library order) ---- */

#define ZMDB_ARG_OPTIONAL 1
#define ZMDB_ARG_BYREF 2

size_t zmdb_method_count(void);
/* The place of a method by name (any case), or -1. */
long zmdb_method_find(const char* name);
/* Name, dispatch id and number of arguments of the method at `index`. Any out
   pointer may be NULL. */
int zmdb_method_info(size_t index, const char** name, long* dispid, size_t* nargs);
/* Name and ZMDB_ARG_* flags of argument `arg` of the method at `index`. */
int zmdb_method_arg(size_t index, size_t arg, const char** name, int* flags);

/* ---- Objects (Connection, Recordset, Database, Field, controls, ...) ---- */

/*
 * A new object of `type`: "Connection" (properties by name, then
 * "ConnectionString", which opens it), "Recordset" (unopened), "Database"
 * ("Name", "Connect", "ReadOnly", "Create"), "Parameter" ("Name", "Type",
 * "Direction", "Size", "Value"), or a headless "ListBox", "ComboBox",
 * "ProgressBar", "Label". Arguments by name: names[i] goes with values[i].
 */
int zmdb_object_new(const char* type, const char* const* names, const zmdb_value* values,
                    size_t nargs, zmdb_object** out);
/* A second handle to the same object; release each handle on its own. */
zmdb_object* zmdb_object_retain(zmdb_object* object);
/* NULL is ignored. */
void zmdb_object_release(zmdb_object* object);
/* The object's type name ("Recordset"); valid while the handle lives. */
const char* zmdb_object_type(zmdb_object* object);
/* 1 when both handles reach the same object, else 0. */
int zmdb_object_same(const zmdb_object* a, const zmdb_object* b);

/* Late-bound member access by name (any case). `index` holds the arguments of
   an indexed property (ItemData(i)); it may be NULL when `nindex` is 0. */
int zmdb_object_get(zmdb_object* object, const char* name, const zmdb_value* index, size_t nindex,
                    zmdb_value* result);
int zmdb_object_set(zmdb_object* object, const char* name, const zmdb_value* value,
                    const zmdb_value* index, size_t nindex);
/* A method; `result` and `after` as for zmdb_call. */
int zmdb_object_call(zmdb_object* object, const char* name, const zmdb_value* args, size_t nargs,
                     zmdb_value* result, zmdb_value* after);

/* ---- Objects served by the host ----
 *
 * A host-side object (a list box, a progress bar of the host's own screen)
 * whose members are served by callbacks. Each callback returns 0, or an error
 * number that the library raises as its error (438 for an unknown member).
 * Values given to a callback belong to the library and live until the
 * callback returns (retain an object handle in them to keep it). Values the
 * callback writes (`result`, or replacing args[i] of a by-reference argument)
 * belong to the host and must stay valid until the next callback on the same
 * object or until `release`; the library copies them as soon as the callback
 * returns. A NULL callback answers error 438.
 */
typedef struct zmdb_object_callbacks {
  int (*get)(void* user, const char* name, const zmdb_value* index, size_t nindex,
             zmdb_value* result);
  int (*set)(void* user, const char* name, const zmdb_value* value, const zmdb_value* index,
             size_t nindex);
  int (*call)(void* user, const char* name, zmdb_value* args, size_t nargs, zmdb_value* result);
  /* Called once, when the library and every handle have let the object go. */
  void (*release)(void* user);
} zmdb_object_callbacks;

/* `callbacks` is copied; `type` is the object's type name ("ListBox"). */
int zmdb_object_host(const char* type, const zmdb_object_callbacks* callbacks, void* user,
                     zmdb_object** out);

/* ---- The host's contracts: message boxes, the mouse pointer, the message
 * loop, unloading a form ----
 *
 * message_box returns the answer (1 OK, 2 Cancel, 3 Abort, 4 Retry, 5 Ignore,
 * 6 Yes, 7 No); an answer the box's buttons do not offer counts as its default
 * button. `title` is already resolved (the application title when the library
 * gives none). `form` is lent for the callback only. A NULL callback keeps the
 * headless behaviour: boxes answered with their default button, the rest
 * ignored. The library has no dialog of its own to serve yet.
 */
typedef struct zmdb_host_callbacks {
  int (*message_box)(void* user, const char* prompt, int buttons, const char* title);
  void (*set_pointer)(void* user, int pointer);
  void (*do_events)(void* user);
  void (*unload)(void* user, zmdb_object* form);
} zmdb_host_callbacks;

/* Installs the host for the whole process; `callbacks` is copied. NULL
   restores the headless host (boxes answered with their default button and
   not shown anywhere). */
int zmdb_set_host(const zmdb_host_callbacks* callbacks, void* user);

#ifdef __cplusplus
}
#endif

#endif /* ZMDB_ZMDB_H */
