/* Forced into every source of exempi built for Windows: what its UNIX build expects of the C
   library, in Windows terms. */
#pragma once
#ifdef __cplusplus
#include <cstdlib>
#include <cstring>
#else
#include <stdlib.h>
#include <string.h>
#endif

#include <dirent.h>
#include <errno.h>

static inline char* realpath(const char* path, char* resolved)
{
    return _fullpath(resolved, path, 4096);
}

static inline int readdir_r(DIR* dir, struct dirent* entry, struct dirent** result)
{
    errno = 0;
    struct dirent* next = readdir(dir);
    if (next == NULL) {
        *result = NULL;
        return errno;
    }
    memcpy(entry, next, sizeof *entry);
    *result = entry;
    return 0;
}
