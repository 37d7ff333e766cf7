// For functions that stand in front of the host's own, so that a test sees who is called when.
#pragma once

#include "ext.h"

#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>

/// The host's function behind the test's own of that name.
template <class F>
F *host_function(const char *name)
{
    return reinterpret_cast<F *>(dlsym(RTLD_NEXT, name));
}

/// Hands a call of object_post on.
inline void post_on(t_object *x, const char *format, va_list list)
{
    char text[300];
    std::vsnprintf(text, sizeof text, format, list);
    host_function<decltype(object_post)>("object_post")(x, "%s", text);
}
