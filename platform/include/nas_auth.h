/* The NAS's web sessions and user groups. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct auth_session {
    char user[65];
};

/* Looks a web session up; `flag` 1 asks for live sessions only. 0 with `session` filled, non-zero for no such
 * session. */
int auth_get_session(const char* id, int flag, struct auth_session* session);

/* Non-zero: `user` is a member of `group`. */
int User_Belongs_To_Group(const char* user, const char* group);

#ifdef __cplusplus
}
#endif
