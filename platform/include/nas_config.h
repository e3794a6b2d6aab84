/* The NAS's sectioned settings files, read in place. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Puts the value of `key` in `section` of `file` into `buf` (`size` bytes with the terminating NUL; longer values are
 * cut), or `def` when file, section or key is missing. The count of characters put there. Section "" holds the keys
 * before the first section. */
int Get_Private_Profile_String(const char* section, const char* key, const char* def, char* buf, int size,
                               const char* file);

#ifdef __cplusplus
}
#endif
