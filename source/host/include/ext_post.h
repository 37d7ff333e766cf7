// Lines for the host's console; the object may be null.
#pragma once

#if defined(_WIN32) && !defined(__clang__) // not in the manner of the system's own printf
#define HOST_PRINTF __attribute__((format(gnu_printf, 2, 3)))
#else
#define HOST_PRINTF __attribute__((format(printf, 2, 3)))
#endif

extern "C" {
HOST_PRINTF void object_post(t_object *x, C74_CONST char *s, ...);
HOST_PRINTF void object_error(t_object *x, C74_CONST char *s, ...);
}

#undef HOST_PRINTF
