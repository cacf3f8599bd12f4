/* Reads a Paradox table with pxlib and prints it as JSON lines: the header,
 * one line per field, then one line per record with every value. Text is
 * turned into UTF-8 from the character set named on the command line; binary
 * values are printed in hex. Used by the Paradox writer's tests as a reader
 * independent of the writer. Usage: px_dump table.db charset [table.mb]
 *
 * Two faults of the pxlib release the distribution ships are worked around:
 * its number readers test 8 bytes for Null where the field has 4, so Null
 * (all zero bytes) is tested here first; and opening a .mb file overruns a
 * buffer on the stack, so a value that is not in the record is read from the
 * .mb file here, from the block the record points to. */
#include <iconv.h>
#include <paradox.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static iconv_t cd;
static FILE* mb;

static int is_null(const char* p, int len) {
  for (int i = 0; i < len; ++i)
    if (p[i]) return 0;
  return 1;
}

static unsigned long le(const char* p, int n) {
  unsigned long v = 0;
  for (int i = n - 1; i >= 0; --i) v = (v << 8) | (unsigned char)p[i];
  return v;
}

/* A value in a block of its own in the .mb file: the record's last ten bytes
 * hold the block's offset (low byte 0xff), the length and a modification
 * number; the block starts with its type (2), its length in 4 KB blocks, the
 * value's length and the modification number. */
static char* read_mb(const char* p, int len, int* size) {
  const char* tail = p + len - 10;
  unsigned long where = le(tail, 4);
  *size = (int)le(tail + 4, 4);
  char head[9];
  if (!mb || (where & 0xff) != 0xff || fseek(mb, (long)(where & ~0xfful), SEEK_SET) != 0 ||
      fread(head, 1, 9, mb) != 9 || head[0] != 2 || le(head + 3, 4) != (unsigned long)*size)
    return NULL;
  char* data = malloc((size_t)*size);
  if (fread(data, 1, (size_t)*size, mb) != (size_t)*size) {
    free(data);
    return NULL;
  }
  return data;
}

static void print_text(const char* bytes, size_t len) {
  char out[262144];
  char *in = (char*)bytes, *o = out;
  size_t inLeft = len, outLeft = sizeof out;
  iconv(cd, NULL, NULL, NULL, NULL);
  if (iconv(cd, &in, &inLeft, &o, &outLeft) == (size_t)-1) {
    printf("\"<bad text>\"");
    return;
  }
  putchar('"');
  for (char* p = out; p < o; ++p) {
    unsigned char c = (unsigned char)*p;
    if (c == '"' || c == '\\')
      printf("\\%c", c);
    else if (c < 0x20)
      printf("\\u%04x", c);
    else
      putchar(c);
  }
  putchar('"');
}

static void print_hex(const char* bytes, int len) {
  putchar('"');
  for (int i = 0; i < len; ++i) printf("%02x", (unsigned char)bytes[i]);
  putchar('"');
}

static void print_param(pxdoc_t* doc, const char* name, int last) {
  float v = 0;
  PX_get_value(doc, name, &v);
  printf("\"%s\":%.0f%s", name, (double)v, last ? "" : ",");
}

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  cd = iconv_open("UTF-8", argv[2]);
  if (cd == (iconv_t)-1) return 2;
  pxdoc_t* doc = PX_new();
  if (!doc || PX_open_file(doc, argv[1]) < 0) {
    printf("{\"error\":\"open\"}\n");
    return 1;
  }
  if (argc > 3 && (mb = fopen(argv[3], "rb")) == NULL) {
    printf("{\"error\":\"blob file\"}\n");
    return 1;
  }
  printf("{");
  print_param(doc, "fileversion", 0);
  print_param(doc, "filetype", 0);
  print_param(doc, "numrecords", 0);
  print_param(doc, "numfields", 0);
  print_param(doc, "recordsize", 0);
  print_param(doc, "headersize", 0);
  print_param(doc, "maxtablesize", 0);
  print_param(doc, "numblocks", 0);
  print_param(doc, "firstblock", 0);
  print_param(doc, "lastblock", 0);
  print_param(doc, "codepage", 0);
  print_param(doc, "sortorder", 1);
  printf("}\n");
  int nfields = PX_get_num_fields(doc);
  pxfield_t* fields = PX_get_fields(doc);
  for (int i = 0; i < nfields; ++i) {
    printf("{\"name\":");
    print_text(fields[i].px_fname, strlen(fields[i].px_fname));
    printf(",\"type\":%d,\"size\":%d}\n", fields[i].px_ftype, fields[i].px_flen);
  }
  int nrecords = PX_get_num_records(doc);
  char* data = malloc((size_t)PX_get_recordsize(doc));
  for (int r = 0; r < nrecords; ++r) {
    if (!PX_get_record(doc, r, data)) {
      printf("{\"error\":\"record %d\"}\n", r);
      return 1;
    }
    printf("[");
    int offset = 0;
    for (int i = 0; i < nfields; ++i) {
      char* p = data + offset;
      int len = fields[i].px_flen;
      if (i) putchar(',');
      if (is_null(p, len)) {
        printf("null");
        offset += len;
        continue;
      }
      switch (fields[i].px_ftype) {
        case pxfAlpha: {
          char* s = NULL;
          if (PX_get_data_alpha(doc, p, len, &s) > 0) {
            print_text(s, strlen(s));
            doc->free(doc, s);
          } else {
            printf("null");
          }
          break;
        }
        case pxfShort: {
          short v;
          if (PX_get_data_short(doc, p, len, &v) > 0)
            printf("%d", v);
          else
            printf("null");
          break;
        }
        case pxfDate: {
          long v;
          if (PX_get_data_long(doc, p, len, &v) > 0) {
            int y, m, d;
            PX_SdnToGregorian(v + 1721425, &y, &m, &d);
            printf("\"%04d-%02d-%02d\"", y, m, d);
          } else {
            printf("null");
          }
          break;
        }
        case pxfNumber:
        case pxfCurrency: {
          double v;
          if (PX_get_data_double(doc, p, len, &v) > 0)
            printf("%.17g", v);
          else
            printf("null");
          break;
        }
        case pxfMemoBLOb:
        case pxfBLOb: {
          int mod = 0, size = 0;
          char* blob = NULL;
          int got = PX_get_data_blob(doc, p, len, &mod, &size, &blob);
          if (got < 0) {
            blob = read_mb(p, len, &size);
            got = blob ? 2 : -1;
          }
          if (got > 0 && blob) {
            if (fields[i].px_ftype == pxfMemoBLOb)
              print_text(blob, (size_t)size);
            else
              print_hex(blob, size);
            if (got == 2)
              free(blob);
            else
              doc->free(doc, blob);
          } else if (got == 0) {
            printf("null");
          } else {
            printf("\"<blob error>\"");
          }
          break;
        }
        default:
          printf("\"<type %d>\"", fields[i].px_ftype);
      }
      offset += len;
    }
    printf("]\n");
  }
  free(data);
  PX_close(doc);
  PX_delete(doc);
  iconv_close(cd);
  if (mb) fclose(mb);
  return 0;
}
