/* The NAS's service bus: byte streams, calls to a service, a service's own loop, and a process runner on streams.
 * Every function may be called from any thread; one stream belongs to one thread at a time. */
#pragma once

#include <stddef.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct bs_io bs_io;
typedef struct bs_service bs_service;

/* Called once a request, from one of the service's threads, and from several at once. `io` holds the request's body.
 * The callback owns `io` and `fd`: it answers with bs_reply, while `fd` is open, or not at all, frees `io` with
 * bs_io_free and closes `fd`. */
typedef void (*bs_callback)(const char* method, bs_io* io, int fd);

/* Takes the name `name` on the bus for `workers` threads (at least 1). `flags` is passed through unused. NULL when a
 * live service has the name or no socket can be made (errno says why). Freed with bs_free. */
bs_service* bs_create(const char* name, int workers, int flags, bs_callback cb);
/* Serves until bs_stop; returns after the calls in flight have ended. 0, or -1 when the loop cannot start. */
int bs_start(bs_service*);
/* Ends bs_start. Async-signal-safe. NULL is remembered and stops the next bs_start of this process at once. */
void bs_stop(bs_service*);
/* Gives the name back. NULL is allowed. */
void bs_free(bs_service*);
/* Holds `signo` back from now on and delivers it to `cb` inside bs_start. May precede bs_create. 0, or -1. */
int bs_signal(int signo, void (*cb)(int));

/* Sends the stream's bytes to the caller of the request that came with this stream. 0: handed over; -1 otherwise. */
int bs_reply(bs_io*);

/* The failures of bs_call. */
enum bs_call_result {
    BS_CALL_OK = 0,
    BS_CALL_NO_SERVICE = 1, /* nobody has that name */
    BS_CALL_REFUSED = 2,    /* the name is there, nobody answers behind it */
    BS_CALL_CLOSED = 3,     /* the connection ended without a whole reply */
    BS_CALL_TOO_LARGE = 4,  /* request or reply above the bus's limit of 1 MiB */
    BS_CALL_TIMEOUT = 5,    /* no whole reply within the time-out */
    BS_CALL_ERROR = 6       /* bad argument, no memory or descriptor left */
};

/* Calls `method` of `service` with the stream's bytes as the request. Blocks for at most `timeout_s` seconds, from
 * connect to the last byte of the reply. 0: the stream holds the reply instead of the request. Otherwise one of
 * bs_call_result, and the stream still holds the request. `last` is passed through unused; callers pass -1. */
int bs_call(const char* service, const char* method, bs_io*, int timeout_s, int last);

/* An empty stream; NULL when memory is short. */
bs_io* bs_io_create(void);
/* All bytes of the stream, not consumed, a NUL behind them, valid until the stream changes; NULL when it is empty.
 * `len` takes their count and may be NULL. */
char* bs_io_read(bs_io*, size_t* len);
/* Appends. The count of bytes appended, always all, or -1 with the stream as it was. */
ssize_t bs_io_write(bs_io*, const void*, size_t);
/* Cuts the stream to `size` bytes, or lengthens it with zeros; 0 empties it. 0, or -1. */
int bs_io_realloc(bs_io*, size_t size);
void bs_io_free(bs_io*); /* NULL is allowed */
/* Appends formatted text without its NUL. The count of bytes appended, or -1 with the stream as it was. */
int bs_io_printf(bs_io*, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

/* Runs argv[0] (a path; no shell, no search) and collects its standard output and standard error into `out` and
 * `err`, either of which may be NULL (discarded). Standard input is /dev/null. Blocks until the program has ended,
 * not until its pipes have closed: a script may leave a daemon behind. `options` is passed through unused. 0: it ran
 * and exited with 0. Otherwise its exit status, 127 when it could not be started, 128 + signal, or -1. */
int bs_io_execv(int options, bs_io* out, bs_io* err, char* const argv[]);

#ifdef __cplusplus
}
#endif
