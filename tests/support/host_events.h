// Stands in front of the host's locks and posts, so that a test sees who is called when, and can
// act in between. For one file of a program.
#pragma once

#include "ext_buffer.h"
#include "host_function.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

static std::vector<std::string> events;   // calls of the functions below, in order
static std::function<void()> before_lock; // runs once

float *buffer_locksamples(t_buffer_obj *b)
{
    if (before_lock) std::exchange(before_lock, nullptr)();
    events.push_back("lock");
    return host_function<decltype(buffer_locksamples)>("buffer_locksamples")(b);
}

void buffer_unlocksamples(t_buffer_obj *b)
{
    events.push_back("unlock");
    host_function<decltype(buffer_unlocksamples)>("buffer_unlocksamples")(b);
}

void object_post(t_object *x, C74_CONST char *format, ...)
{
    events.push_back("post");
    va_list list;
    va_start(list, format);
    post_on(x, format, list);
    va_end(list);
}
