/* The NAS's system event log. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Texts end with a NUL. `type`: 0 information, 1 warning, 2 error. A caller that leaves the other members zero lets
 * the event log fill in time, user and address. */
struct naslog_event {
    int event_id;
    int type;
    char event_datetime[44];
    char event_user[65];
    char event_ip[65];
    char event_comp[65];
    char event_desc[2049];
};

/* Appends the event. 0, or -1. */
int naslog_event_add(struct naslog_event*);

#ifdef __cplusplus
}
#endif
