// What other systems call to load libraries, here for Windows: as much of it as the host and the
// tests use.
#pragma once

extern "C" {
void *dlopen(const char *file, int mode);
void *dlsym(void *library, const char *name);
int dlclose(void *library);
/// What the last dlopen() was refused for.
const char *dlerror(void);
}

enum { RTLD_LOCAL = 0, RTLD_NOW = 2 };

/// The library of the host, which stands behind the functions that a program puts in front of it.
#define RTLD_NEXT (reinterpret_cast<void *>(-1))
