/* Networks of visualisation modules for foreign-function calls: the same as zam/session.h, which says what holds for life
 * times, threads and what is process-wide.
 *
 * Functions that return int give 1, or 0 with a text in zam_error(). Those that return a pointer give null with such a text.
 * Nothing is thrown. Texts are in UTF-8 and end in a zero byte. */
#ifndef ZAM_ZAM_H
#define ZAM_ZAM_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define ZAM_C_API
#else
#define ZAM_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct zam_session zam_session;
typedef struct zam_network zam_network;
typedef struct zam_object zam_object; /* what an object of a network held; outlives it */

/* Element types. */
enum { ZAM_CHAR = 0, ZAM_BYTE = 1, ZAM_SHORT = 2, ZAM_INT = 3, ZAM_FLOAT = 4, ZAM_DOUBLE = 5, ZAM_LONG = 6 };

/* What went wrong in the latest call on this thread; "" if nothing. It stays until the thread's next call. */
ZAM_C_API const char* zam_error(void);

/* --- Sessions: one at a time --- */

/* plugins: directories of plug-ins, with ":" between them; null: those of ZAM_MODULE_PATH. What is no good there is left out. */
ZAM_C_API zam_session* zam_open(const char* plugins);
/* Its networks end; their handles are still given to zam_end(). Null does nothing, here and below. */
ZAM_C_API void zam_close(zam_session* session);

/* The modules at hand as one JSON text: [{"module", "entry", "summary", "parameters": [{"name", "kind", "direction",
 * "default", "range": [low, high], "choices": [[number, name]], "meaning"}]}]. Lasts as long as the session. */
ZAM_C_API const char* zam_modules(zam_session* session);

/* --- Networks --- */

ZAM_C_API zam_network* zam_new(zam_session* session);
ZAM_C_API zam_network* zam_load(zam_session* session, const char* file);
/* directory: where its relative file names start; null: the current one */
ZAM_C_API zam_network* zam_parse(zam_session* session, const char* text, const char* directory);
ZAM_C_API void zam_end(zam_network* network);

ZAM_C_API int zam_add(zam_network* network, const char* name, const char* module);
/* target: "MODULE.PARAM". json: a value as network files write it: 512, "text", {"preset": "bone"} */
ZAM_C_API int zam_set(zam_network* network, const char* target, const char* json);
/* convert: how a field is converted on the way, as JSON, or null */
ZAM_C_API int zam_connect(zam_network* network, const char* target, const char* source, const char* convert);

/* Calls release(user) when nothing refers to values that were lent, on any thread. May be null. */
typedef void (*zam_release)(void* user);

/* Lends an array to a parameter. It is not copied. When this fails, release has been called. */
ZAM_C_API int zam_lend_array(zam_network* network, const char* target, int type, const void* values, int64_t count,
                             zam_release release, void* user);
/* Lends the values of a uniform field in index space: dims per axis, x first, and veclen values per node. */
ZAM_C_API int zam_lend_field(zam_network* network, const char* target, const int64_t* dims, int ndim, int veclen,
                             int type, const void* values, zam_release release, void* user);

/* --- Runs --- */

/* severity: 0 note, 1 warning, 2 error. module may be "". */
typedef void (*zam_on_report)(void* user, int severity, const char* module, const char* text);
/* Before each module with 0 percent, and as the modules tell. 0 cancels the run. */
typedef int (*zam_on_progress)(void* user, const char* module, int percent, const char* text);
/* Either may be null. They do not call functions of the network, but for zam_cancel(). */
ZAM_C_API int zam_listen(zam_network* network, zam_on_report report, zam_on_progress progress, void* user);

/* How it is run, before the first run. strict: whether a field that a module does not take is an error. log: file for the
 * record of calls of modules, one JSON object per line; null: none. */
ZAM_C_API int zam_prepare(zam_network* network, int strict, const char* log);
/* Runs what has not run and what changes since then affect. 0 if a module reported an error, which is in zam_error(), or the
 * run was cancelled. */
ZAM_C_API int zam_run(zam_network* network);
/* Plays the events of the network's file. directory: where outputs go; null: the current one. 0 as above. */
ZAM_C_API int zam_play(zam_network* network, const char* directory);
/* Keeps the host's timer running in real time, and runs what its events affect. 0 as above. */
ZAM_C_API int zam_loop(zam_network* network, double seconds);
/* Writes the outputs of the network's file. 0 as above. */
ZAM_C_API int zam_write_all(zam_network* network, const char* directory);
/* Writes one object; the kind of file follows from the ending. */
ZAM_C_API int zam_write(zam_network* network, const char* file, const char* reference);
/* The files that the network writes, those of its events first: [{"file", "from", "kind", "at_end"}]. Freed with zam_free(). */
ZAM_C_API char* zam_outputs(zam_network* network);
/* At any time, on any thread. */
ZAM_C_API void zam_cancel(zam_network* network);

/* --- Results --- */

/* What an object holds now: "render.out", with dots to sub-objects and [i] to elements. */
ZAM_C_API zam_object* zam_get(zam_network* network, const char* reference);
ZAM_C_API void zam_let_go(zam_object* object);

/* Dims of a field, x first: gives their number, at most `room` of them in `dims`; -1 if it is no field. */
ZAM_C_API int zam_dims(const zam_object* object, int64_t* dims, int room);
/* Number of a field's components; -1 if it is no field. */
ZAM_C_API int zam_components(const zam_object* object);
/* Values of a field's component, or of an array, which has component 0 only. They last as long as the object. The other
 * pointers may be null. */
ZAM_C_API const void* zam_values(const zam_object* object, int component, int* type, int64_t* count, int* veclen);
/* Label and units of a component; "" if there are none. */
ZAM_C_API const char* zam_label(const zam_object* object, int component);
ZAM_C_API const char* zam_units(const zam_object* object, int component);
ZAM_C_API int zam_number(const zam_object* object, double* number);
/* Null if it holds no text. */
ZAM_C_API const char* zam_text(const zam_object* object);

/* The picture of an image field: red, green, blue, first row on top. Freed with zam_free(). */
ZAM_C_API uint8_t* zam_image(zam_network* network, const char* reference, int64_t* width, int64_t* height);
/* The dump of any object as JSON. Freed with zam_free(). */
ZAM_C_API char* zam_json(zam_network* network, const char* reference);
ZAM_C_API void zam_free(void* result);

/* Results that somebody keeps, and arrays that modules left over. */
ZAM_C_API int64_t zam_arrays_held(void);
ZAM_C_API int64_t zam_arrays_outstanding(void);

#ifdef __cplusplus
}
#endif

#endif
