/* The GMP status table for readers in C: which memberships are wanted in each VRF, as the table's
 * writer keeps them in a directory. A reader never writes the table, never waits for the writer and
 * is never waited for.
 *
 * To follow a table from an event loop: open it, walk it, and poll gmp_table_descriptor; whenever
 * it is readable call gmp_table_changes, and walk again when that says GMP_WALK_NEEDED. Without an
 * event loop, gmp_table_wait sleeps. A change is either in the walk or in the changes, or in both.
 *
 * Each table that was opened belongs to one thread at a time; only gmp_table_cancel may be called
 * from any. Nothing is written to standard streams, no signal is sent, and no call but
 * gmp_table_wait ever waits for long. Where a call raises an error, gmp_error_text says which. */
#ifndef GMP_TABLE_H
#define GMP_TABLE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define GMP_TABLE_API __attribute__((visibility("default")))
#else
#define GMP_TABLE_API
#endif

/* What calls return. Errors are negative. */
enum {
    GMP_OK = 0,
    GMP_WALK_NEEDED = 1,     /* changes were missed: the table must be walked again */
    GMP_CANCELLED = 2,       /* gmp_table_cancel ended the wait */
    GMP_ERROR_ARGUMENT = -1, /* a pointer is null, or a value is out of its range */
    GMP_ERROR_SYSTEM = -2,   /* the operating system refused; the text names the path */
    GMP_ERROR_DAMAGED = -3,  /* no table of this version, or damaged; the text names the place */
    GMP_ERROR_MEMORY = -4,   /* there is no memory */
    GMP_ERROR_GONE = -5,     /* the table was removed or replaced: close it, and open it anew */
    GMP_ERROR_INTERNAL = -6  /* anything else; a fault of this library */
};

/* Families of addresses. */
enum { GMP_FAMILY_NONE = 0, GMP_FAMILY_IPV4 = 1, GMP_FAMILY_IPV6 = 2 };

/* Filter modes of memberships (RFC 3376, RFC 3810). */
enum { GMP_EXCLUDE = 0, GMP_INCLUDE = 1 };

/* Applications that own statuses; others are carried as they are. */
enum { GMP_APP_NONE = 0, GMP_APP_IRB = 1, GMP_APP_GMP = 2, GMP_APP_STATIC = 3 };

/* A table that is open for reading. */
typedef struct gmp_table gmp_table;

/* An address in network byte order: 4 bytes of IPv4, 16 of IPv6, then zeros. */
typedef struct gmp_address {
    uint8_t family; /* GMP_FAMILY_... */
    uint8_t bytes[16];
} gmp_address;

/* Which status: one VRF's memberships, written by one application. */
typedef struct gmp_status_key {
    char vrf[101];      /* the VRF's name: any bytes, then at least one zero */
    uint8_t vrf_length; /* in bytes, 0..100 */
    uint8_t app;        /* GMP_APP_... */
} gmp_status_key;

/* One membership: traffic of this source and group is wanted on this VLAN. */
typedef struct gmp_membership {
    uint16_t vlan;      /* the number of the VLAN interface; VLAN ids are 1..4094 */
    gmp_address source; /* all zero, with the group's family: any source */
    gmp_address group;
    uint8_t mode; /* GMP_EXCLUDE or GMP_INCLUDE */
} gmp_membership;

/* What happened to a table. */
enum {
    GMP_MEMBERSHIP_ADDED = 1,
    GMP_MEMBERSHIP_CHANGED = 2, /* another filter mode */
    GMP_MEMBERSHIP_REMOVED = 3,
    GMP_STATUS_ADDED = 4,  /* it starts empty */
    GMP_STATUS_REMOVED = 5 /* with all its memberships, of which nothing more is told */
};

/* One change of a table. */
typedef struct gmp_change {
    int kind; /* GMP_MEMBERSHIP_... or GMP_STATUS_... */
    gmp_status_key status;
    gmp_membership membership; /* as it is now, or as it was if removed; zero for a status */
    uint8_t mode_before;       /* of a membership that changed; else its mode */
} gmp_change;

/* Whom a walk or the changes tell. What the pointers name is valid during the call only; the
 * context is the caller's. A result that is not 0 ends the walk or the telling, and is what the
 * function that was called returns: give a positive one. */
typedef int (*gmp_visit_status)(void* context, const gmp_status_key* status);
typedef int (*gmp_visit_membership)(void* context, const gmp_status_key* status,
                                    const gmp_membership* membership);
typedef int (*gmp_visit_change)(void* context, const gmp_change* change);

/* Opens the table of a directory, and stores it in *table; the caller closes it. *table is null
 * where that fails. Changes are counted from here on.
 * GMP_ERROR_ARGUMENT for null pointers, GMP_ERROR_SYSTEM if there is no table or it may not be
 * read, GMP_ERROR_DAMAGED if the file there is no table of this version, GMP_ERROR_MEMORY. */
GMP_TABLE_API int gmp_table_open(const char* directory, gmp_table** table);

/* Closes a table, and its descriptor with it. Null does nothing. No other call with that table may
 * be under way. */
GMP_TABLE_API void gmp_table_close(gmp_table* table);

/* Visits the key of every status that there is.
 * GMP_OK; what `visit` returned, if not 0; GMP_ERROR_DAMAGED after all that are sound were visited,
 * if others are damaged: the text names the first of them; or another error. */
GMP_TABLE_API int gmp_table_statuses(gmp_table* table, gmp_visit_status visit, void* context);

/* Visits every membership of one status, or of all if `status` is null, in the table's own order.
 * Each that is there all along is met once, whole; one that comes, goes or changes meanwhile as
 * before or as after, or not at all if it was not always there. A status that is not there holds
 * nothing. Results as for gmp_table_statuses. */
GMP_TABLE_API int gmp_table_walk(gmp_table* table, const gmp_status_key* status,
                                 gmp_visit_membership visit, void* context);

/* Looks one membership up, by the VLAN, source and group that *membership holds.
 * 1 if it is there, and its mode is stored in *membership; GMP_OK if not; GMP_ERROR_DAMAGED if it
 * may be there, but is damaged; or another error. *membership stays as it was then. */
GMP_TABLE_API int gmp_table_lookup(gmp_table* table, const gmp_status_key* status,
                                   gmp_membership* membership);

/* Visits, in the order in which they happened, the changes since this was called last, or since the
 * table was opened. What was told counts as asked for, even if `visit` ended the telling.
 * GMP_OK; GMP_WALK_NEEDED, and nothing is visited, if changes were missed: too many happened,
 * another writer took over, or something is damaged; what `visit` returned, if not 0;
 * GMP_ERROR_GONE within a second after the table was removed or replaced; or another error. */
GMP_TABLE_API int gmp_table_changes(gmp_table* table, gmp_visit_change visit, void* context);

/* A descriptor for poll and its like: readable once something changed since gmp_table_changes was
 * called last, and when that has an error to return; gmp_table_changes makes it unreadable. It
 * belongs to the table: it is neither to be read nor to be closed. The first call starts a thread
 * that waits for changes; it takes no signals, and does not live on in a forked process. The
 * descriptor, which is never negative, or an error. */
GMP_TABLE_API int gmp_table_descriptor(gmp_table* table);

/* Sleeps until something changed since gmp_table_changes was called last.
 * timeout_ms: how long at most, in milliseconds; negative for ever.
 * 1 if something changed, GMP_OK if the time is over, GMP_CANCELLED after gmp_table_cancel; or an
 * error. */
GMP_TABLE_API int gmp_table_wait(gmp_table* table, int timeout_ms);

/* Ends a wait that is under way, and every later one. May be called by any thread until the table
 * is closed. Null does nothing. */
GMP_TABLE_API void gmp_table_cancel(gmp_table* table);

/* The text of the error that this thread's last call returned, in English, without a line end;
 * empty if it returned none. Valid until the thread's next call. Never null. */
GMP_TABLE_API const char* gmp_error_text(void);

#ifdef __cplusplus
}
#endif

#endif
