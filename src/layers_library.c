/* The shared library of all layers has no sources of its own: its contents
   are the layers' archives, loaded whole. A target needs one source file. */
typedef int zmdb_layers_library_has_no_sources;
