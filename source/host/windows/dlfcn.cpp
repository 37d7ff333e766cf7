// Loading libraries on Windows, under the names that other systems have for it.
#include "dlfcn.h"

#include "x87.h"

#include <string>
#include <windows.h>

static std::string refusal;

void *dlopen(const char *file, int)
{
    set_x87(x87_53_bits); // whoever loads an external is a host
    // Or a missing library would be told in a window.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    const HMODULE library = LoadLibraryA(file);
    if (const DWORD error = library ? 0 : GetLastError())
        refusal = std::string(file) + ": cannot be loaded, error " + std::to_string(error);
    return library;
}

void *dlsym(void *library, const char *name)
{
    const auto from =
        library == RTLD_NEXT ? GetModuleHandleA("MaxAPI.dll") : static_cast<HMODULE>(library);
    return reinterpret_cast<void *>(GetProcAddress(from, name));
}

int dlclose(void *library) { return FreeLibrary(static_cast<HMODULE>(library)) ? 0 : -1; }

const char *dlerror() { return refusal.c_str(); }
