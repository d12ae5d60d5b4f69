/* dlopen and its kin over LoadLibrary, for exempi's plug-in loader built for Windows (Lumeno
   loads no XMP plug-ins; this only lets that code build and behave sensibly). */
#pragma once
#include <windows.h>
#define RTLD_LAZY 1
#define RTLD_NOW 2
#define RTLD_LOCAL 0
#define RTLD_GLOBAL 0
static inline void* dlopen(const char* file, int mode)
{
    (void)mode;
    return (void*)LoadLibraryA(file);
}
static inline void* dlsym(void* module, const char* name)
{
    return (void*)GetProcAddress((HMODULE)module, name);
}
static inline int dlclose(void* module)
{
    return FreeLibrary((HMODULE)module) ? 0 : -1;
}
static inline const char* dlerror(void)
{
    return "the module could not be loaded";
}
